// Record streams and the microphone session against real PulseAudio daemons:
// the shared test daemon for what only listens, daemons of the test's own
// for what unloads devices or kills the server.

#include "platform/audio/AudioCaptureSession.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/MediaProbe.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

// Collects what a source or session delivers, from whichever thread.
class SampleLog {
public:
    void add(const CMSampleBufferRef& sample) {
        std::lock_guard guard(mutex_);
        samples_.push_back(sample);
        arrived_.notify_all();
    }
    std::vector<CMSampleBufferRef> samples() const {
        std::lock_guard guard(mutex_);
        return samples_;
    }
    bool waitForFrames(size_t frames, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, timeout, [&] {
            size_t total = 0;
            for (const auto& s : samples_)
                total += s->numSamples();
            return total >= frames;
        });
    }
    /// The first channel of every packet from `from` on, in order.
    std::vector<float> firstChannel(size_t from = 0) const {
        std::lock_guard guard(mutex_);
        std::vector<float> mono;
        for (size_t p = from; p < samples_.size(); ++p) {
            const auto channels = static_cast<size_t>(samples_[p]->audioFormat()->channelsPerFrame);
            for (size_t i = 0; i < samples_[p]->pcm().size(); i += channels)
                mono.push_back(samples_[p]->pcm()[i]);
        }
        return mono;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<CMSampleBufferRef> samples_;
};

// A record stream held open on a null sink's monitor. An idle null sink
// renders ahead in blocks of seconds, so a stream that joins it waits for the
// next block; one stream already listening keeps the blocks small.
class ListeningSink {
public:
    explicit ListeningSink(const std::string& monitor) : source_(makePulseRecordSource(monitor, 0, 0)) {
        NSError error;
        ready_ = source_->start([this](const CMSampleBufferRef& s) { log_.add(s); },
                                [](const NSError&, bool) {}, error) &&
                 log_.waitForFrames(1, 4s);
    }
    bool ready() const { return ready_; }

private:
    SampleLog log_;
    std::unique_ptr<AudioSampleSource> source_;
    bool ready_ = false;
};

// Plays a second of a sine into a sink; returns when it is played.
void playTone(const std::string& sink, double frequency) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("vantrel-tone-" + sink + "-" + std::to_string(getpid()) + ".raw");
    test::writeRawFloat(path, test::sineStereo(frequency, 1));
    test::runCommand("pacat --device=" + sink + " --format=float32le --rate=48000 --channels=2 < " + path.string());
    std::filesystem::remove(path);
}

AVCaptureDevice microphone(const std::string& sourceName) {
    AVCaptureDevice device;
    device.uniqueID = sourceName;
    device.localizedName = sourceName;
    device.mediaType = AVMediaType::audio;
    device.node = sourceName;
    return device;
}

// The tone's share of the sound in its strongest 100 ms block (a block
// across the start or end of the tone says little).
double toneShare(const std::vector<float>& signal, double frequency, int rate) {
    double best = 0;
    for (size_t at = 0; at + size_t(rate / 10) <= signal.size(); at += size_t(rate / 10))
        best = std::max(best, test::toneShare({signal.begin() + long(at), signal.begin() + long(at) + rate / 10},
                                              frequency, rate));
    return best;
}

auto ignoreEnd() {
    return [](const NSError&, bool) {};
}

} // namespace

TEST(AudioCapture, EachToneReachesOnlyItsOwnSourceInContiguousPackets) {
    test::qtApp();
    ScreenCaptureServiceLinux service;
    NSError error;
    auto system = service.makeSystemAudioSource(SCStreamConfiguration{}, error);
    ASSERT_TRUE(system);
    SampleLog systemLog, micLog;
    ASSERT_TRUE(system->start([&](const CMSampleBufferRef& s) { systemLog.add(s); }, ignoreEnd(), error))
        << error.localizedDescription;

    auto input = AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error);
    ASSERT_TRUE(input) << error.localizedDescription;
    DispatchQueue queue("com.vantrel.test.mic", DispatchQoS::userInitiated);
    auto output = std::make_shared<AVCaptureAudioDataOutput>();
    output->setSampleBufferDelegate([&](const CMSampleBufferRef& s) { micLog.add(s); }, &queue);
    AVCaptureAudioSession session;
    session.addInput(input);
    session.addOutput(output);
    session.startRunning();
    ASSERT_TRUE(session.isRunning());

    std::thread micTone([] { playTone("mic_feed", 1000); });
    playTone("rec_sink", 440);
    micTone.join();
    // pacat returns once played; give the last packets time to arrive.
    std::this_thread::sleep_for(200ms);
    system->stop();
    session.stopRunning();

    const auto systemSamples = systemLog.samples();
    const auto micSamples = micLog.samples();
    ASSERT_GE(systemSamples.size(), 10u) << "packets should be small, not one big block";
    ASSERT_FALSE(micSamples.empty());
    EXPECT_EQ(systemSamples.front()->audioFormat()->sampleRate, 48000);
    EXPECT_EQ(systemSamples.front()->audioFormat()->channelsPerFrame, 2);
    // The microphone keeps its source's own rate (mic_feed runs at the daemon's default).
    const std::string micRate =
        test::commandOutput("pactl list short sources | awk '$2 == \"virtual_mic\" {print $6}' | tr -dc 0-9")
            .value_or("");
    EXPECT_EQ(micSamples.front()->audioFormat()->sampleRate, std::stod(micRate));

    EXPECT_GT(toneShare(systemLog.firstChannel(), 440, 48000), 0.8);
    EXPECT_LT(toneShare(systemLog.firstChannel(), 1000, 48000), 0.05);
    const int rate = int(micSamples.front()->audioFormat()->sampleRate);
    EXPECT_GT(toneShare(micLog.firstChannel(), 1000, rate), 0.8);
    EXPECT_LT(toneShare(micLog.firstChannel(), 440, rate), 0.05);
    // Each packet starts where the one before ended: no jitter reaches the
    // stamps. Only while the server's timing settles may the clock move once
    // or twice.
    int moves = 0;
    for (size_t i = 1; i < systemSamples.size(); ++i)
        moves += systemSamples[i]->presentationTimeStamp() !=
                 systemSamples[i - 1]->presentationTimeStamp() + systemSamples[i - 1]->duration();
    EXPECT_LE(moves, 3) << "of " << systemSamples.size() << " packets";
}

TEST(AudioCapture, SystemAudioFollowsTheDefaultOutputAndOutlivesIt) {
    test::PrivateSoundServer server; // its defaults are ours to change
    test::qtApp();
    ScreenCaptureServiceLinux service;
    NSError error;
    auto system = service.makeSystemAudioSource(SCStreamConfiguration{}, error);
    SampleLog log;
    int ends = 0;
    ASSERT_TRUE(system->start([&](const CMSampleBufferRef& s) { log.add(s); },
                              [&](const NSError&, bool) { ++ends; }, error))
        << error.localizedDescription;
    const std::string module =
        test::commandOutput("pactl list short modules | awk '/module-null-sink/ && /sink_name=rec_sink/ {print $1}'")
            .value_or("");
    ASSERT_FALSE(module.empty());
    // The output device goes away; the server makes mic_feed the default.
    ASSERT_TRUE(test::runCommand("pactl unload-module " + module));
    std::this_thread::sleep_for(300ms);
    const size_t before = log.samples().size();
    playTone("mic_feed", 1000);
    std::this_thread::sleep_for(200ms);
    system->stop();
    EXPECT_GT(toneShare(log.firstChannel(before), 1000, 48000), 0.8);
    EXPECT_EQ(ends, 0);
}

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
