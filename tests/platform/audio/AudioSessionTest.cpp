// The microphone session: configuration, delivery on the output's queue and
// the notifications, over a scripted source and over real daemons that lose
// their source or die.

#include "platform/audio/AudioCaptureSession.h"
#include "platform/runtime/NotificationCenter.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <optional>
#include <mutex>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

AVCaptureDevice microphone(const std::string& sourceName) {
    AVCaptureDevice device;
    device.uniqueID = sourceName;
    device.localizedName = "Microphone " + sourceName;
    device.mediaType = AVMediaType::audio;
    device.node = sourceName;
    return device;
}

// What the test does to the source the session opened, and what the session did to it.
struct Script {
    std::mutex mutex;
    bool refuseStart = false;
    std::string startError;
    std::vector<std::string> openedNodes;
    int starts = 0;
    int stops = 0;
    AudioSampleSource::SampleHandler onSample;
    AudioSampleSource::EndHandler onEnd;
};

class ScriptedSource final : public AudioSampleSource {
public:
    explicit ScriptedSource(std::shared_ptr<Script> script) : script_(std::move(script)) {}
    bool start(SampleHandler onSample, EndHandler onEnd, NSError& error) override {
        std::lock_guard guard(script_->mutex);
        ++script_->starts;
        if (script_->refuseStart) {
            error.localizedDescription = script_->startError;
            return false;
        }
        script_->onSample = std::move(onSample);
        script_->onEnd = std::move(onEnd);
        return true;
    }
    void stop() override {
        std::lock_guard guard(script_->mutex);
        ++script_->stops;
        script_->onSample = nullptr;
        script_->onEnd = nullptr;
    }

private:
    std::shared_ptr<Script> script_;
};

CMSampleBufferRef tonePacket(int64_t index) {
    return CMSampleBuffer::makeAudio({48000, 1}, std::vector<float>(480, 0.25f),
                                     {{CMTime(480, 48000), CMTime(index * 480, 48000), CMTime::invalid()}});
}

struct Observed {
    std::vector<NSNotification> seen;
    NSNotificationCenter::Token token;
    Observed(const std::string& name, const void* object) {
        token = NSNotificationCenter::defaultCenter().addObserverForName(
            name, object, [this](const NSNotification& n) { seen.push_back(n); });
    }
    ~Observed() { NSNotificationCenter::defaultCenter().removeObserver(token); }
};

// A session wired to an output whose delegate counts on its own queue.
struct Rig {
    DispatchQueue queue{"com.vantrel.test.audio", DispatchQoS::userInitiated};
    std::shared_ptr<AVCaptureAudioDataOutput> output = std::make_shared<AVCaptureAudioDataOutput>();
    AVCaptureAudioSession session;
    std::mutex mutex;
    std::vector<CMSampleBufferRef> delivered;
    std::vector<std::thread::id> deliveredOn;
    std::atomic<bool> sessionStopped{false};
    std::atomic<int> afterStop{0};

    explicit Rig(std::shared_ptr<AVCaptureAudioDeviceInput> input) {
        output->setSampleBufferDelegate(
            [this](const CMSampleBufferRef& sample) {
                if (sessionStopped.load()) ++afterStop;
                std::lock_guard guard(mutex);
                delivered.push_back(sample);
                deliveredOn.push_back(std::this_thread::get_id());
            },
            &queue);
        session.addInput(std::move(input));
        session.addOutput(output);
    }
    size_t count() {
        std::lock_guard guard(mutex);
        return delivered.size();
    }
    // Stops, lets what was already queued arrive, then watches for stragglers.
    void stopAndDrain() {
        session.stopRunning();
        queue.sync([] {});
        sessionStopped.store(true);
    }
};

class AudioSessionScripted : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        AVCaptureAudioSession::setSourceFactory([script = script_](const AVCaptureDevice& device) {
            {
                std::lock_guard guard(script->mutex);
                script->openedNodes.push_back(device.node);
            }
            return std::make_unique<ScriptedSource>(script);
        });
    }
    void TearDown() override { AVCaptureAudioSession::setSourceFactory(nullptr); }

    // The scripted source needs no server, so the input is made directly.
    std::shared_ptr<AVCaptureAudioDeviceInput> input_ =
        std::make_shared<AVCaptureAudioDeviceInput>(microphone("usb_mic"));
    std::shared_ptr<Script> script_ = std::make_shared<Script>();
};

} // namespace

// --- Configuration ----------------------------------------------------------

TEST(AudioSessionConfiguration, TakesOneInputAndOneOutput) {
    AVCaptureAudioSession session;
    const AVCaptureAudioDeviceInput input(microphone("a"));
    const AVCaptureAudioDataOutput output;
    ASSERT_TRUE(session.canAddInput(input));
    ASSERT_TRUE(session.canAddOutput(output));
    session.addInput(std::make_shared<AVCaptureAudioDeviceInput>(microphone("a")));
    session.addOutput(std::make_shared<AVCaptureAudioDataOutput>());
    EXPECT_FALSE(session.canAddInput(input));
    EXPECT_FALSE(session.canAddOutput(output));
}

TEST(AudioSessionConfiguration, InputOpensOnlySourcesTheServerHas) {
    NSError error;
    auto input = AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error);
    ASSERT_TRUE(input) << error.localizedDescription;
    EXPECT_EQ(input->device().node, "virtual_mic");
    EXPECT_FALSE(AVCaptureAudioDeviceInput::initWithDevice(microphone("unplugged_mic"), &error));
    EXPECT_NE(error.localizedDescription.find("unplugged_mic"), std::string::npos)
        << error.localizedDescription;
}

TEST(AudioSessionConfiguration, WithoutInputOrOutputNothingStarts) {
    test::qtApp();
    AVCaptureAudioSession session;
    session.addOutput(std::make_shared<AVCaptureAudioDataOutput>());
    session.startRunning();
    EXPECT_FALSE(session.isRunning());
}

// --- Delivery -----------------------------------------------------------------

TEST_F(AudioSessionScripted, SamplesReachTheDelegateInOrderOnTheOutputsQueue) {
    Rig rig(input_);
    rig.session.startRunning();
    ASSERT_TRUE(rig.session.isRunning());
    ASSERT_EQ(script_->openedNodes, std::vector<std::string>{"usb_mic"});
    std::thread::id queueThread;
    rig.queue.sync([&] { queueThread = std::this_thread::get_id(); });

    // The source's own thread, as a record stream has.
    std::thread([this] {
        for (int i = 0; i < 20; ++i)
            script_->onSample(tonePacket(i));
    }).join();
    rig.stopAndDrain();

    ASSERT_EQ(rig.count(), 20u);
    for (size_t i = 0; i < rig.delivered.size(); ++i) {
        EXPECT_EQ(rig.delivered[i]->presentationTimeStamp(), CMTime(int64_t(i) * 480, 48000));
        EXPECT_EQ(rig.deliveredOn[i], queueThread);
    }
    EXPECT_EQ(script_->stops, 1);
    EXPECT_FALSE(rig.session.isRunning());
}

TEST_F(AudioSessionScripted, RunsAgainAfterAStopWithAFreshSource) {
    Rig rig(input_);
    rig.session.startRunning();
    rig.session.stopRunning();
    rig.session.startRunning();
    EXPECT_TRUE(rig.session.isRunning());
    EXPECT_EQ(script_->starts, 2);
    EXPECT_EQ(script_->stops, 1);
    rig.session.stopRunning();
    EXPECT_EQ(script_->stops, 2);
}

// --- Notifications --------------------------------------------------------------

TEST_F(AudioSessionScripted, SourceThatCannotStartPostsARuntimeError) {
    script_->refuseStart = true;
    script_->startError = "Device or resource busy";
    Rig rig(input_);
    Observed errors(AVCaptureSessionRuntimeErrorNotification, &rig.session);
    rig.session.startRunning();
    EXPECT_FALSE(rig.session.isRunning());
    ASSERT_TRUE(test::waitUntil([&] { return !errors.seen.empty(); }, 2s));
    EXPECT_EQ(errors.seen.front().object, &rig.session);
    EXPECT_EQ(errors.seen.front().userInfo.at(AVCaptureSessionErrorKey), "Device or resource busy");
}

TEST_F(AudioSessionScripted, SourceGoneInterruptsAndAFailureIsARuntimeError) {
    Rig rig(input_);
    Observed interruptions(AVCaptureSessionWasInterruptedNotification, &rig.session);
    Observed errors(AVCaptureSessionRuntimeErrorNotification, &rig.session);

    rig.session.startRunning();
    script_->onEnd(NSError{"The audio source went away"}, true);
    EXPECT_FALSE(rig.session.isRunning());
    ASSERT_TRUE(test::waitUntil([&] { return !interruptions.seen.empty(); }, 2s));
    EXPECT_EQ(interruptions.seen.front().object, &rig.session);

    rig.session.startRunning();
    ASSERT_TRUE(rig.session.isRunning());
    script_->onEnd(NSError{"Connection terminated"}, false);
    EXPECT_FALSE(rig.session.isRunning());
    ASSERT_TRUE(test::waitUntil([&] { return !errors.seen.empty(); }, 2s));
    EXPECT_EQ(errors.seen.front().userInfo.at(AVCaptureSessionErrorKey), "Connection terminated");
    test::runMainLoopFor(50ms);
    EXPECT_EQ(interruptions.seen.size(), 1u);
    EXPECT_EQ(errors.seen.size(), 1u);
}

// --- Real daemons ------------------------------------------------------------------

namespace {

/// A daemon of the test's own and a session on its virtual microphone.
class AudioSessionOnOwnServer : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        NSError error;
        auto input = AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error);
        ASSERT_TRUE(input) << error.localizedDescription;
        rigHolder.emplace(input);
    }
    test::PrivateSoundServer server;
    std::optional<Rig> rigHolder;
};

} // namespace

TEST_F(AudioSessionOnOwnServer, UnloadedMicrophoneInterruptsTheSession) {
    Rig& rig = *rigHolder;
    Observed interruptions(AVCaptureSessionWasInterruptedNotification, &rig.session);
    Observed errors(AVCaptureSessionRuntimeErrorNotification, &rig.session);
    rig.session.startRunning();
    ASSERT_TRUE(rig.session.isRunning());

    const std::string module =
        test::commandOutput("pactl list short modules | awk '$2 == \"module-remap-source\" {print $1}'").value_or("");
    ASSERT_FALSE(module.empty());
    ASSERT_TRUE(test::runCommand("pactl unload-module " + module));
    ASSERT_TRUE(test::waitUntil([&] { return !interruptions.seen.empty(); }, 3s));
    EXPECT_FALSE(rig.session.isRunning());
    test::runMainLoopFor(50ms);
    EXPECT_TRUE(errors.seen.empty());
    rig.stopAndDrain();
}

TEST_F(AudioSessionOnOwnServer, KilledServerIsARuntimeErrorAndNothingArrivesAfterStop) {
    Rig& rig = *rigHolder;
    Observed errors(AVCaptureSessionRuntimeErrorNotification, &rig.session);
    rig.session.startRunning();
    ASSERT_TRUE(rig.session.isRunning());
    // A fresh null sink can take a couple of seconds before its first block.
    ASSERT_TRUE(test::waitUntil([&] { return rig.count() > 0; }, 4s));

    server.kill();
    ASSERT_TRUE(test::waitUntil([&] { return !errors.seen.empty(); }, 3s));
    EXPECT_FALSE(errors.seen.front().userInfo.at(AVCaptureSessionErrorKey).empty());
    EXPECT_FALSE(rig.session.isRunning());

    const auto before = std::chrono::steady_clock::now();
    rig.stopAndDrain();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    test::runMainLoopFor(50ms);
    EXPECT_EQ(rig.afterStop.load(), 0);
}

TEST(AudioSessionPulse, StopWhileDeliveringLeavesNothingBehind) {
    test::qtApp();
    NSError error;
    auto input = AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error);
    ASSERT_TRUE(input) << error.localizedDescription;
    Rig rig(input);
    rig.session.startRunning();
    ASSERT_TRUE(test::waitUntil([&] { return rig.count() >= 3; }, 4s));
    rig.stopAndDrain();
    std::this_thread::sleep_for(100ms);
    rig.queue.sync([] {});
    EXPECT_EQ(rig.afterStop.load(), 0);
}
