#pragma once
// Short questions to the PulseAudio server (of $PULSE_SERVER, or the user's)
// on a connection opened for the question and closed after it. They block
// the caller for at most kPulseQueryTimeout; use them while setting up, never
// on a sample path.

#include "platform/core/NSError.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vantrel {

inline constexpr std::chrono::milliseconds kPulseQueryTimeout{3000};

struct PulseSourceInfo {
    uint32_t index = 0;
    std::string name;
    int sampleRate = 0;
    int channelCount = 0;
    /// Set for the monitor of a sink.
    bool isMonitor = false;
};

/// The source of that name; none with `error` saying why (no such source,
/// or no server to ask).
std::optional<PulseSourceInfo> pulseFindSource(const std::string& name, NSError& error);


} // namespace vantrel
