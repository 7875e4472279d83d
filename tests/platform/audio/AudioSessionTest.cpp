// The microphone session over a real daemon: delivery on the output's queue,
// and the runtime error when the server dies. (A microphone unplugged
// mid-recording is tested end to end with vantrel-record.)

#include "platform/audio/AudioCaptureSession.h"
#include "platform/runtime/NotificationCenter.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
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

struct Observed {
    std::vector<NSNotification> seen;
    NSNotificationCenter::Token token;
    Observed(const std::string& name, const void* object) {
        token = NSNotificationCenter::defaultCenter().addObserverForName(
            name, object, [this](const NSNotification& n) { seen.push_back(n); });
    }
    ~Observed() { NSNotificationCenter::defaultCenter().removeObserver(token); }
};

/// A daemon of the test's own and a session on its virtual microphone, wired
/// to an output whose delegate counts on its own queue.
class AudioSessionOnOwnServer : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        NSError error;
        auto input = AVCaptureAudioDeviceInput::initWithDevice(microphone("virtual_mic"), &error);
        ASSERT_TRUE(input) << error.localizedDescription;
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

    test::PrivateSoundServer server;
    // What the delegate writes outlives the queue and the session it runs from.
    std::mutex mutex;
    std::vector<CMSampleBufferRef> delivered;
    std::vector<std::thread::id> deliveredOn;
    std::atomic<bool> sessionStopped{false};
    std::atomic<int> afterStop{0};
    DispatchQueue queue{"com.vantrel.test.audio", DispatchQoS::userInitiated};
    std::shared_ptr<AVCaptureAudioDataOutput> output = std::make_shared<AVCaptureAudioDataOutput>();
    AVCaptureAudioSession session;
};

} // namespace

TEST_F(AudioSessionOnOwnServer, KilledServerIsARuntimeErrorAndNothingArrivesAfterStop) {
    Observed errors(AVCaptureSessionRuntimeErrorNotification, &session);
    session.startRunning();
    ASSERT_TRUE(session.isRunning());
    // A fresh null sink can take a couple of seconds before its first block.
    ASSERT_TRUE(test::waitUntil([&] { return count() > 2; }, 4s));
    std::thread::id queueThread;
    queue.sync([&] { queueThread = std::this_thread::get_id(); });
    {
        // Delivered on the output's queue, in order, each packet where the last one ended.
        std::lock_guard guard(mutex);
        for (size_t i = 0; i < delivered.size(); ++i) {
            EXPECT_EQ(deliveredOn[i], queueThread);
            if (i > 0) {
                EXPECT_EQ(delivered[i]->presentationTimeStamp(),
                          delivered[i - 1]->presentationTimeStamp() + delivered[i - 1]->duration());
            }
        }
    }

    server.kill();
    ASSERT_TRUE(test::waitUntil([&] { return !errors.seen.empty(); }, 3s));
    EXPECT_FALSE(errors.seen.front().userInfo.at(AVCaptureSessionErrorKey).empty());
    EXPECT_FALSE(session.isRunning());

    stopAndDrain();
    test::runMainLoopFor(50ms);
    EXPECT_EQ(afterStop.load(), 0);
}
