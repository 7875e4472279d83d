#pragma once
// Records what the real EventMonitor sees into the trace format that
// vantrel-render replays: one line per frame, 60 frames a second, stamped
// with the host clock from the start of the recording and the wall clock.

#include "render/Trace.h"

#include <QObject>
#include <QTimer>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

namespace vantrel {
class EventMonitor;
}

namespace vantrel::tools {

struct TraceOptions {
    double seconds = 10;
    std::filesystem::path outPath;
};

inline constexpr std::string_view traceUsage = "usage: vantrel-trace --seconds N --out FILE\n";

/// Throws std::invalid_argument with a one-line reason on a bad command line.
TraceOptions parseTraceOptions(int argc, char** argv);

class TraceRecorder {
public:
    static constexpr int kFramesPerSecond = 60;

    /// Writes to `output`; the monitor must be started by the caller.
    TraceRecorder(std::shared_ptr<EventMonitor> monitor, std::ostream& output);

    /// Samples the monitor every 1/60 s until `seconds` have passed, then calls `done`. Main thread.
    void start(double seconds, std::function<void()> done);
    int framesWritten() const { return frames_; }

private:
    void sample(int64_t hostNanoseconds);

    std::shared_ptr<EventMonitor> monitor_;
    std::ostream& output_;
    QTimer timer_;
    int64_t startNanoseconds_ = 0;
    int64_t endNanoseconds_ = 0;
    int frames_ = 0;
    std::function<void()> done_;
};

} // namespace vantrel::tools
