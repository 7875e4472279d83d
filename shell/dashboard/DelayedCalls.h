#pragma once
// Work for later on the main thread, cancellable: the dashboard's demo panel
// and the onboarding's page steps wait through it. The real one is a Qt
// single-shot timer; tests run the calls when they choose.

#include <chrono>
#include <functional>
#include <memory>

namespace vantrel {

class DelayedCalls {
public:
    /// Dropping or resetting the handle does not cancel; cancel() does.
    class Handle {
    public:
        virtual ~Handle() = default;
        virtual void cancel() = 0;
    };

    virtual ~DelayedCalls() = default;
    virtual std::shared_ptr<Handle> after(std::chrono::milliseconds delay, std::function<void()> work) = 0;

    /// QTimer on the calling thread's event loop.
    static std::shared_ptr<DelayedCalls> mainThread();
};

} // namespace vantrel
