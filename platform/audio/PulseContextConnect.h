#pragma once
// Connecting a PulseAudio context and waiting until it is ready or has
// failed, for whichever main loop the caller runs (threaded or one-shot).
// A recording never waits for a server that is not there: no NOFAIL.

#include "platform/core/NSError.h"

#include <functional>
#include <pulse/context.h>
#include <pulse/error.h>
#include <string>

namespace vantrel {

/// `what` and the context's last error, for the user.
inline std::string pulseContextError(pa_context* context, const std::string& what) {
    return what + ": " + pa_strerror(pa_context_errno(context));
}

/// `waitUntil` runs the caller's loop until its condition holds; false when it gave up waiting.
inline bool connectPulseContext(pa_context* context,
                                const std::function<bool(const std::function<bool()>&)>& waitUntil,
                                NSError& error) {
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOFLAGS, nullptr) < 0) {
        error.localizedDescription = pulseContextError(context, "Cannot reach the sound server");
        return false;
    }
    const bool settled = waitUntil([context] {
        const auto state = pa_context_get_state(context);
        return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
    });
    if (!settled) {
        error.localizedDescription = "The sound server did not answer";
        return false;
    }
    if (pa_context_get_state(context) != PA_CONTEXT_READY) {
        error.localizedDescription = pulseContextError(context, "Cannot reach the sound server");
        return false;
    }
    return true;
}

} // namespace vantrel
