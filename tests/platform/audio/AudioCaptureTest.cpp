// Record streams and the microphone session against real PulseAudio daemons:
// the shared test daemon for what only listens, daemons of the test's own
// for what unloads devices or kills the server.

#include "platform/audio/AudioCaptureSession.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numbers>
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
    size_t count() const {
        std::lock_guard guard(mutex_);
        return samples_.size();
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

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<CMSampleBufferRef> samples_;
};

struct EndLog {
    std::mutex mutex;
    std::condition_variable ended;
    int count = 0;
    std::string error;
    bool deviceGone = false;

    AudioSampleSource::EndHandler handler() {
        return [this](const NSError& e, bool gone) {
            std::lock_guard guard(mutex);
            ++count;
            error = e.localizedDescription;
            deviceGone = gone;
            ended.notify_all();
        };
    }
    bool wait(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex);
        return ended.wait_for(lock, timeout, [this] { return count > 0; });
    }
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

// The first channel of every packet, in order.
std::vector<float> firstChannel(const std::vector<CMSampleBufferRef>& samples) {
    std::vector<float> mono;
    for (const auto& s : samples) {
        const auto channels = static_cast<size_t>(s->audioFormat()->channelsPerFrame);
        for (size_t i = 0; i < s->pcm().size(); i += channels)
            mono.push_back(s->pcm()[i]);
    }
    return mono;
}

// How much of the signal is a tone of `frequency`: the largest share, over
// 100 ms blocks, of a block's power that Goertzel finds at that frequency
// (1 for a pure tone, near 0 for silence or other tones).
double toneShare(const std::vector<float>& signal, double sampleRate, double frequency) {
    const auto block = static_cast<size_t>(sampleRate / 10);
    const double coefficient = 2 * std::cos(2 * std::numbers::pi * frequency / sampleRate);
    double best = 0;
    for (size_t start = 0; start + block <= signal.size(); start += block) {
        double s1 = 0, s2 = 0, energy = 0;
        for (size_t i = start; i < start + block; ++i) {
            const double s0 = signal[i] + coefficient * s1 - s2;
            s2 = s1;
            s1 = s0;
            energy += double(signal[i]) * signal[i];
        }
        const double power = s1 * s1 + s2 * s2 - coefficient * s1 * s2;
        // Ignore blocks of near silence, whose share means nothing.
        if (energy / double(block) < 1e-4) continue;
        best = std::max(best, power / (energy * double(block) / 2));
    }
    return best;
}

// Plays a second of a sine into a sink, in the background.
class TonePlayer {
public:
    TonePlayer(const std::string& sink, double frequency) {
        path_ = std::filesystem::temp_directory_path() /
                ("vantrel-tone-" + std::to_string(int(frequency)) + "-" + std::to_string(getpid()) + ".raw");
        constexpr int kRate = 48000;
        std::vector<float> pcm;
        for (int i = 0; i < kRate; ++i) {
            const float value = 0.5f * float(std::sin(2 * std::numbers::pi * frequency * i / kRate));
            pcm.push_back(value);
            pcm.push_back(value);
        }
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(pcm.data()), std::streamsize(pcm.size() * sizeof(float)));
        const std::string command =
            "pacat --device=" + sink + " --format=float32le --rate=48000 --channels=2 < " + path_.string();
        player_ = std::thread([command] { test::runCommand(command); });
    }
    ~TonePlayer() {
        player_.join();
        std::filesystem::remove(path_);
    }

private:
    std::filesystem::path path_;
    std::thread player_;
};

std::string moduleIndexOf(const std::string& module) {
    return test::commandOutput("pactl list short modules | awk '$2 == \"" + module + "\" {print $1}'").value_or("");
}

AVCaptureDevice microphone(const std::string& sourceName) {
    AVCaptureDevice device;
    device.uniqueID = sourceName;
    device.localizedName = sourceName;
    device.mediaType = AVMediaType::audio;
    device.node = sourceName;
    return device;
}

} // namespace

// --- What reaches the samples ---------------------------------------------

TEST(AudioCaptureSignal, EachToneReachesOnlyItsOwnSource) {
    test::qtApp();
    ScreenCaptureServiceLinux service;
    NSError error;
    auto system = service.makeSystemAudioSource(SCStreamConfiguration{}, error);
    ASSERT_TRUE(system) << error.localizedDescription;
    SampleLog systemLog, micLog;
    EndLog systemEnd;
    ASSERT_TRUE(
        system->start([&](const CMSampleBufferRef& s) { systemLog.add(s); }, systemEnd.handler(), error))
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

    {
        TonePlayer systemTone("rec_sink", 440);
        TonePlayer micTone("mic_feed", 1000);
    }
    // pacat returns once played; give the last packets time to arrive.
    std::this_thread::sleep_for(200ms);
    system->stop();
    session.stopRunning();

    const auto systemSamples = systemLog.samples();
    const auto micSamples = micLog.samples();
    ASSERT_FALSE(systemSamples.empty());
    ASSERT_FALSE(micSamples.empty());
    EXPECT_EQ(systemSamples.front()->audioFormat()->sampleRate, 48000);
    EXPECT_EQ(systemSamples.front()->audioFormat()->channelsPerFrame, 2);

    const double micRate = micSamples.front()->audioFormat()->sampleRate;
    const auto systemSignal = firstChannel(systemSamples);
    const auto micSignal = firstChannel(micSamples);
    EXPECT_GT(toneShare(systemSignal, 48000, 440), 0.8);
    EXPECT_LT(toneShare(systemSignal, 48000, 1000), 0.05);
    EXPECT_GT(toneShare(micSignal, micRate, 1000), 0.8);
    EXPECT_LT(toneShare(micSignal, micRate, 440), 0.05);
    EXPECT_EQ(systemEnd.count, 0);
}

TEST(AudioCaptureSignal, TimestampsStartAtTheHostClockAndFollowEachOtherExactly) {
    ListeningSink listening("rec_sink.monitor");
    ASSERT_TRUE(listening.ready());
    auto source = makePulseRecordSource("rec_sink.monitor", 48000, 2);
    SampleLog log;
    EndLog end;
    NSError error;
    const CMTime startedAt = CMClockGetHostTime();
    ASSERT_TRUE(source->start([&](const CMSampleBufferRef& s) { log.add(s); }, end.handler(), error))
        << error.localizedDescription;
    ASSERT_TRUE(log.waitForFrames(48000 / 2, 3s));
    source->stop();

    const auto samples = log.samples();
    ASSERT_GE(samples.size(), 10u) << "packets should be small, not one big block";
    EXPECT_LT(std::abs((samples.front()->presentationTimeStamp() - startedAt).seconds()), 0.1);
    for (size_t i = 0; i < samples.size(); ++i) {
        const auto& s = samples[i];
        ASSERT_TRUE(s->isValid());
        EXPECT_EQ(s->duration(), CMTime(int64_t(s->numSamples()), 48000));
        if (i > 0) {
            const auto& previous = samples[i - 1];
            ASSERT_EQ(s->presentationTimeStamp(), previous->presentationTimeStamp() + previous->duration())
                << "packet " << i;
        }
    }
    // The last packet cannot lie in the future.
    EXPECT_LE(samples.back()->presentationTimeStamp(), CMClockGetHostTime());
}

TEST(AudioCaptureSignal, SourceOwnFormatIsKeptWhenNoneIsAsked) {
    // mic_feed runs at the daemon's default rate, not 48 kHz.
    const std::string rate =
        test::commandOutput("pactl list short sources | awk '$2 == \"virtual_mic\" {print $6}' | tr -dc 0-9").value_or("");
    ASSERT_FALSE(rate.empty());
    auto source = makePulseRecordSource("virtual_mic", 0, 0);
    SampleLog log;
    EndLog end;
    NSError error;
    ASSERT_TRUE(source->start([&](const CMSampleBufferRef& s) { log.add(s); }, end.handler(), error));
    ASSERT_TRUE(log.waitForFrames(1, 2s));
    source->stop();
    EXPECT_EQ(log.samples().front()->audioFormat()->sampleRate, std::stod(rate));
}

// --- Finding the devices -------------------------------------------------

TEST(AudioCaptureDevices, SystemAudioIsTheDefaultSinksMonitor) {
    NSError error;
    EXPECT_EQ(pulseDefaultSinkMonitor(error), "rec_sink.monitor") << error.localizedDescription;
    // A new default, on a daemon of our own so that tests beside us keep theirs.
    test::PrivateSoundServer server;
    ASSERT_TRUE(test::runCommand("pactl set-default-sink mic_feed"));
    EXPECT_EQ(pulseDefaultSinkMonitor(error), "mic_feed.monitor") << error.localizedDescription;
}

TEST(AudioCaptureDevices, MissingSourceOrServerFailsToStartWithAReason) {
    NSError error;
    auto missing = makePulseRecordSource("no_such_source", 0, 0);
    EXPECT_FALSE(missing->start([](const CMSampleBufferRef&) {}, [](const NSError&, bool) {}, error));
    EXPECT_NE(error.localizedDescription.find("no_such_source"), std::string::npos)
        << error.localizedDescription;
    missing->stop();

    EXPECT_FALSE(AVCaptureAudioDeviceInput::initWithDevice(microphone("no_such_source"), &error));
    EXPECT_NE(error.localizedDescription.find("no_such_source"), std::string::npos);

    const test::ScopedEnv nowhere("PULSE_SERVER", "unix:/nonexistent/pulse.sock");
    error = {};
    auto unreachable = makePulseRecordSource("virtual_mic", 0, 0);
    EXPECT_FALSE(unreachable->start([](const CMSampleBufferRef&) {}, [](const NSError&, bool) {}, error));
    EXPECT_FALSE(error.localizedDescription.empty());
    error = {};
    EXPECT_EQ(pulseDefaultSinkMonitor(error), "");
    EXPECT_FALSE(error.localizedDescription.empty());
    error = {};
    EXPECT_FALSE(AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error));
    EXPECT_FALSE(error.localizedDescription.empty());
}

// --- Ends and stops ---------------------------------------------------------

TEST(AudioCaptureEnd, UnloadedSourceEndsWithDeviceGone) {
    test::PrivateSoundServer server;
    auto source = makePulseRecordSource("virtual_mic", 0, 0);
    SampleLog log;
    EndLog end;
    NSError error;
    ASSERT_TRUE(source->start([&](const CMSampleBufferRef& s) { log.add(s); }, end.handler(), error));
    const std::string module = moduleIndexOf("module-remap-source");
    ASSERT_FALSE(module.empty());
    ASSERT_TRUE(test::runCommand("pactl unload-module " + module));
    ASSERT_TRUE(end.wait(3s));
    EXPECT_TRUE(end.deviceGone);
    source->stop();
    EXPECT_EQ(end.count, 1);
}

TEST(AudioCaptureEnd, KilledServerEndsWithAnErrorAndStopDoesNotHang) {
    test::PrivateSoundServer server;
    auto source = makePulseRecordSource("rec_sink.monitor", 48000, 2);
    SampleLog log;
    EndLog end;
    NSError error;
    ASSERT_TRUE(source->start([&](const CMSampleBufferRef& s) { log.add(s); }, end.handler(), error));
    // A fresh null sink may sleep out a long block before it renders for us.
    ASSERT_TRUE(log.waitForFrames(1, 4s));
    server.kill();
    ASSERT_TRUE(end.wait(3s));
    EXPECT_FALSE(end.deviceGone);
    EXPECT_FALSE(end.error.empty());
    const auto before = std::chrono::steady_clock::now();
    source->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
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
