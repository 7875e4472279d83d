#pragma once
// Input traces: what the user did, one frame a line (JSON Lines), replayed
// through the frame engine at the trace's own times.
//
// {"pts": {"value": INT, "timescale": INT}, "wall": SECONDS, "state": {...}}

#include "engine/FrameInputs.h"
#include "platform/core/CMTime.h"

#include <filesystem>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantrel::tools {

struct TraceFrame {
    CMTime presentationTime;
    /// The wall clock at this frame, in seconds since 1970.
    double wallSeconds = 0;
    EventState state;
};

/// A trace that cannot be read; the message names the file and line.
class TraceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Every frame of a trace, in order. Blank lines are skipped.
std::vector<TraceFrame> readTrace(std::istream& input, const std::string& sourceName);
std::vector<TraceFrame> readTraceFile(const std::filesystem::path& path);

/// One line of the trace format for `frame` (no newline).
std::string traceLine(const TraceFrame& frame);

} // namespace vantrel::tools
