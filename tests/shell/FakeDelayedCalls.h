#pragma once
// Delayed calls that run when the test says so, with the delays they asked for.

#include "shell/dashboard/DelayedCalls.h"

#include <vector>

namespace vantrel::test {

class FakeDelayedCalls final : public DelayedCalls {
public:
    struct Call : Handle {
        std::chrono::milliseconds delay{};
        std::function<void()> work;
        bool cancelled = false;
        bool ran = false;
        void cancel() override { cancelled = true; }
    };

    std::shared_ptr<Handle> after(std::chrono::milliseconds delay, std::function<void()> work) override {
        auto call = std::make_shared<Call>();
        call->delay = delay;
        call->work = std::move(work);
        calls.push_back(call);
        return call;
    }
    /// Runs every call due now (not run, not cancelled), in order; calls they add wait for the next turn.
    void runPending() {
        const size_t due = calls.size();
        for (size_t i = 0; i < due; ++i) {
            auto call = calls[i];
            if (call->ran || call->cancelled) continue;
            call->ran = true;
            call->work();
        }
    }
    std::vector<std::chrono::milliseconds> pendingDelays() const {
        std::vector<std::chrono::milliseconds> delays;
        for (const auto& call : calls)
            if (!call->ran && !call->cancelled) delays.push_back(call->delay);
        return delays;
    }

    std::vector<std::shared_ptr<Call>> calls;
};

} // namespace vantrel::test
