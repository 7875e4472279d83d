#include "platform/audio/PulseServerQuery.h"

#include "platform/audio/PulseContextConnect.h"

#include <pulse/pulseaudio.h>

namespace vantrel {

namespace {

// A private, non-threaded main loop: the caller's thread turns it until the
// answer is in or the time is up, so a server that hangs cannot hold us.
class OneShotConnection {
public:
    OneShotConnection() : loop_(pa_mainloop_new()) {
        context_ = pa_context_new(pa_mainloop_get_api(loop_), "Vantrel");
        deadline_ = std::chrono::steady_clock::now() + kPulseQueryTimeout;
    }
    ~OneShotConnection() {
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        pa_mainloop_free(loop_);
    }
    OneShotConnection(const OneShotConnection&) = delete;
    OneShotConnection& operator=(const OneShotConnection&) = delete;

    pa_context* context() const { return context_; }

    bool connect(NSError& error) {
        return connectPulseContext(
            context_, [this](const std::function<bool()>& done) { return turnUntil(done); }, error);
    }

    /// Runs the operation's callbacks until it is done; false on timeout or a lost server.
    bool finish(pa_operation* operation, NSError& error) {
        if (!operation) {
            error.localizedDescription = failure("The sound server refused the question");
            return false;
        }
        const bool done =
            turnUntil([operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
        pa_operation_unref(operation);
        if (!done) error.localizedDescription = "The sound server did not answer";
        return done;
    }

private:
    template <class Done> bool turnUntil(Done done) {
        while (!done()) {
            const auto left = deadline_ - std::chrono::steady_clock::now();
            if (left <= std::chrono::steady_clock::duration::zero()) return false;
            const auto leftUs = std::chrono::duration_cast<std::chrono::microseconds>(left).count();
            if (pa_mainloop_prepare(loop_, static_cast<int>(leftUs)) < 0 || pa_mainloop_poll(loop_) < 0 ||
                pa_mainloop_dispatch(loop_) < 0)
                return false;
        }
        return true;
    }

    std::string failure(const std::string& what) const {
        return pulseContextError(context_, what);
    }

    pa_mainloop* loop_;
    pa_context* context_;
    std::chrono::steady_clock::time_point deadline_;
};

struct SourceAnswer {
    std::optional<PulseSourceInfo> info;
};

void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata) {
    if (eol != 0 || !info) return;
    auto& answer = *static_cast<SourceAnswer*>(userdata);
    answer.info = PulseSourceInfo{info->index, info->name, static_cast<int>(info->sample_spec.rate),
                                  static_cast<int>(info->sample_spec.channels),
                                  info->monitor_of_sink != PA_INVALID_INDEX};
}

} // namespace

std::optional<PulseSourceInfo> pulseFindSource(const std::string& name, NSError& error) {
    OneShotConnection connection;
    if (!connection.connect(error)) return std::nullopt;
    SourceAnswer answer;
    // An unknown name ends the operation with an error and no entry; that is
    // the "no such source" answer, not a failure to ask.
    if (!connection.finish(
            pa_context_get_source_info_by_name(connection.context(), name.c_str(), &onSourceInfo, &answer),
            error))
        return std::nullopt;
    if (!answer.info)
        error.localizedDescription = "No audio source named \"" + name + "\" on the sound server";
    return answer.info;
}

} // namespace vantrel
