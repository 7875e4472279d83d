#include "TraceRecorder.h"

#include "input/EventMonitor.h"
#include "platform/core/WallClock.h"

#include <chrono>
#include <stdexcept>
#include <string>

namespace vantrel::tools {

namespace {

int64_t hostNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

constexpr int32_t kNanosecondTimescale = 1'000'000'000;

} // namespace

TraceOptions parseTraceOptions(int argc, char** argv) {
    TraceOptions options;
    bool haveOut = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) throw std::invalid_argument(argument + " needs a value");
            return argv[++i];
        };
        if (argument == "--seconds") {
            const std::string text = value();
            size_t used = 0;
            try {
                options.seconds = std::stod(text, &used);
            } catch (const std::exception&) {
                used = 0;
            }
            if (used != text.size() || !(options.seconds > 0))
                throw std::invalid_argument("--seconds needs a positive number, not \"" + text + "\"");
        } else if (argument == "--out") {
            options.outPath = value();
            haveOut = true;
        } else {
            throw std::invalid_argument("unknown argument " + argument);
        }
    }
    if (!haveOut) throw std::invalid_argument("--out FILE is required");
    return options;
}

TraceRecorder::TraceRecorder(std::shared_ptr<EventMonitor> monitor, std::ostream& output)
    : monitor_(std::move(monitor)), output_(output) {
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(1000 / kFramesPerSecond);
    QObject::connect(&timer_, &QTimer::timeout, [this] { sample(hostNanoseconds()); });
}

void TraceRecorder::start(double seconds, std::function<void()> done) {
    done_ = std::move(done);
    startNanoseconds_ = hostNanoseconds();
    endNanoseconds_ = startNanoseconds_ + static_cast<int64_t>(seconds * 1e9);
    timer_.start();
    sample(startNanoseconds_);
}

void TraceRecorder::sample(int64_t now) {
    if (now >= endNanoseconds_) {
        timer_.stop();
        output_.flush();
        if (done_) done_();
        return;
    }
    TraceFrame frame;
    frame.presentationTime = CMTime(now - startNanoseconds_, kNanosecondTimescale);
    frame.wallSeconds = WallClock::system()->now();
    frame.state = monitor_->currentState();
    output_ << traceLine(frame) << '\n';
    ++frames_;
}

} // namespace vantrel::tools
