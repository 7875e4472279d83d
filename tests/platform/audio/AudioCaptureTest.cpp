// Record streams against the shared test daemon: a source or server that is
// not there, and the end of a stream racing its handlers. (Which tone reaches
// which track, and system audio following the default output when it is
// unplugged, are tested end to end with vantrel-record.)

#include "platform/audio/AudioCaptureSession.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

// A record stream held open on a null sink's monitor. An idle null sink
// renders ahead in blocks of seconds, so a stream that joins it waits for the
// next block; one stream already listening keeps the blocks small.
class ListeningSink {
public:
    explicit ListeningSink(const std::string& monitor) : source_(makePulseRecordSource(monitor, 0, 0)) {
        NSError error;
        ready_ = source_->start([this](const CMSampleBufferRef&) { heard_ = true; },
                                [](const NSError&, bool) {}, error) &&
                 test::waitUntil([this] { return heard_.load(); }, 4s);
    }
    bool ready() const { return ready_; }

private:
    std::atomic<bool> heard_{false};
    std::unique_ptr<AudioSampleSource> source_;
    bool ready_ = false;
};

AVCaptureDevice microphone(const std::string& sourceName) {
    AVCaptureDevice device;
    device.uniqueID = sourceName;
    device.localizedName = sourceName;
    device.mediaType = AVMediaType::audio;
    device.node = sourceName;
    return device;
}

auto ignoreEnd() {
    return [](const NSError&, bool) {};
}

} // namespace

TEST(AudioCapture, MissingSourceOrServerFailsToStartWithAReason) {
    NSError error;
    auto missing = makePulseRecordSource("no_such_source", 0, 0);
    EXPECT_FALSE(missing->start([](const CMSampleBufferRef&) {}, ignoreEnd(), error));
    EXPECT_NE(error.localizedDescription.find("no_such_source"), std::string::npos)
        << error.localizedDescription;
    EXPECT_FALSE(AVCaptureAudioDeviceInput::initWithDevice(microphone("no_such_source"), &error));
    EXPECT_NE(error.localizedDescription.find("no_such_source"), std::string::npos);

    const test::ScopedEnv nowhere("PULSE_SERVER", "unix:/nonexistent/pulse.sock");
    for (const std::string name : {"virtual_mic", ""}) {
        error = {};
        EXPECT_FALSE(makePulseRecordSource(name, 0, 0)->start([](const CMSampleBufferRef&) {}, ignoreEnd(), error));
        EXPECT_FALSE(error.localizedDescription.empty());
    }
}

TEST(AudioCaptureEnd, NoHandlerRunsAfterStopReturns) {
    ListeningSink listening("rec_sink.monitor");
    ASSERT_TRUE(listening.ready());
    for (int round = 0; round < 5; ++round) {
        auto source = makePulseRecordSource("rec_sink.monitor", 48000, 2);
        std::atomic<bool> stopped{false};
        std::atomic<int> late{0};
        std::atomic<int> seen{0};
        NSError error;
        ASSERT_TRUE(source->start(
            [&](const CMSampleBufferRef&) {
                // Slow handler, so that stop() very likely meets one running.
                std::this_thread::sleep_for(2ms);
                if (stopped.load()) ++late;
                ++seen;
            },
            [&](const NSError&, bool) {
                if (stopped.load()) ++late;
            },
            error));
        while (seen.load() < 2)
            std::this_thread::sleep_for(1ms);
        source->stop();
        stopped.store(true);
        std::this_thread::sleep_for(30ms);
        source->stop(); // a second stop is harmless
        EXPECT_EQ(late.load(), 0);
    }
}

TEST(AudioCaptureEnd, StopFromInsideAHandlerSilencesTheSource) {
    ListeningSink listening("rec_sink.monitor");
    ASSERT_TRUE(listening.ready());
    auto source = makePulseRecordSource("rec_sink.monitor", 48000, 2);
    std::atomic<int> calls{0};
    NSError error;
    ASSERT_TRUE(source->start(
        [&](const CMSampleBufferRef&) {
            ++calls;
            source->stop();
        },
        [](const NSError&, bool) {}, error));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(calls.load(), 1);
    source.reset(); // must finish the stop without hanging
}
