// vantrel-trace's command line and recorder: what the monitor sees becomes
// trace lines that the replay tool reads back, 60 a second, in time order.
#include "trace/TraceRecorder.h"

#include "input/EventMonitor.h"
#include "platform/displays/DisplayList.h"
#include "platform/input/InputEvents.h"
#include "render/Trace.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace vantrel;
using namespace vantrel::tools;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

TraceOptions parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "vantrel-trace");
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    return parseTraceOptions(static_cast<int>(argv.size()), argv.data());
}

} // namespace

TEST(TraceOptions, SecondsAndOutputAreRead) {
    const TraceOptions options = parse({"--seconds", "2.5", "--out", "/tmp/x.jsonl"});
    EXPECT_EQ(options.seconds, 2.5);
    EXPECT_EQ(options.outPath, "/tmp/x.jsonl");
    EXPECT_THROW(parse({"--seconds", "2"}), std::invalid_argument);
    EXPECT_THROW(parse({"--seconds", "0", "--out", "f"}), std::invalid_argument);
    EXPECT_THROW(parse({"--seconds", "2x", "--out", "f"}), std::invalid_argument);
    EXPECT_THROW(parse({"--out"}), std::invalid_argument);
    EXPECT_THROW(parse({"--out", "f", "--fast"}), std::invalid_argument);
}

TEST(TraceRecorder, WritesWhatTheMonitorSeesSixtyTimesASecond) {
    qtApp();
    auto displays = std::make_shared<DisplayListFake>();
    displays->setMonitors({{"DP-1", "", CGRect(0, 0, 1920, 1080), true}});
    DisplayList::setShared(displays);
    auto events = std::make_shared<InputEventsFake>();
    InputEvents::setShared(events);

    auto monitor = std::make_shared<EventMonitor>();
    monitor->startMonitoring();
    std::ostringstream output;
    TraceRecorder recorder(monitor, output);
    bool done = false;
    recorder.start(0.5, [&] { done = true; });
    runMainLoopFor(200ms);
    events->location = {640, 360};
    NSEvent move;
    move.type = NSEventType::mouseMoved;
    events->send(move);
    ASSERT_TRUE(waitUntil([&] { return done; }, 2s));
    monitor->stopMonitoring();

    std::istringstream input(output.str());
    const auto frames = readTrace(input, "recorded");
    EXPECT_EQ(static_cast<int>(frames.size()), recorder.framesWritten());
    EXPECT_GE(frames.size(), 20u);
    EXPECT_LE(frames.size(), 32u);
    EXPECT_EQ(frames.front().presentationTime.value, 0);
    for (size_t i = 1; i < frames.size(); ++i) {
        EXPECT_GT(frames[i].presentationTime, frames[i - 1].presentationTime);
        EXPECT_GE(frames[i].wallSeconds, frames[i - 1].wallSeconds);
    }
    EXPECT_LT(frames.back().presentationTime.seconds(), 0.5);
    EXPECT_EQ(frames.front().state.mouseLocation, (CGPoint{0, 0}));
    EXPECT_EQ(frames.back().state.mouseLocation, (CGPoint{640, 360}));

    InputEvents::setShared(nullptr);
    DisplayList::setShared(nullptr);
}
