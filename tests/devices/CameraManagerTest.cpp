// CameraManager with the fake camera (a frame counter in the top edge, a red
// patch top-left): the newest picture only, mirrored, absent after a stop,
// start twice, stop while starting, cameras that are missing or fail mid-run.
// Waits only bound how long a loaded machine may take.
#include "devices/CameraManager.h"

#include "platform/camera/FakeCamera.h"
#include "tests/support/TestServices.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

constexpr int kWidth = 320, kHeight = 240;

class CameraManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        FakeCamera::injectFault(FakeCameraFault::none);
        cameras->setDevices(
            {FakeCamera::device({kWidth, kHeight, 30}, 0), FakeCamera::device({160, 120, 30}, 1)});
    }

    CVPixelBufferRef picture(CameraManager& manager) {
        return manager.frameLock.withLock(
            [](const CameraFrameState& state) { return state.latestPixelBuffer; });
    }
    bool waitForPicture(CameraManager& manager) {
        return test::waitUntil([&] { return picture(manager) != nullptr; }, 10s);
    }
    /// The fake camera's counter, read from a mirrored picture: its blocks
    /// run from the right edge leftwards, the highest bit first.
    static uint32_t counter(const CVPixelBuffer& buffer) {
        uint32_t value = 0;
        for (int bit = 0; bit < FakeCamera::kCounterBits; ++bit) {
            const int x =
                buffer.width() - 1 - (bit * FakeCamera::kCounterBlock + FakeCamera::kCounterBlock / 2);
            value = (value << 1) | (buffer.row(FakeCamera::kCounterBlock / 2)[x * 4 + 1] > 128 ? 1 : 0);
        }
        return value;
    }
    static bool isRed(const CVPixelBuffer& buffer, int x, int y) {
        const uint8_t* p = buffer.row(y) + x * 4;
        return p[2] > 200 && p[1] < 60 && p[0] < 60;
    }
    void stopAndWait(CameraManager& manager) {
        manager.stopCapture();
        ASSERT_TRUE(test::waitUntil([&] { return !manager.isCapturing(); }, 10s));
    }

    std::shared_ptr<CaptureDeviceListFake> cameras = std::make_shared<CaptureDeviceListFake>();
};

} // namespace

TEST_F(CameraManagerTest, RunningGivesTheNewestPictureMirroredAndABusyConsumerDropsFrames) {
    CameraManager manager(cameras);
    EXPECT_FALSE(manager.latestFrame());
    int capturingChanges = 0;
    QObject::connect(&manager, &CameraManager::isCapturingChanged, [&] { ++capturingChanges; });

    manager.startCapture(FakeCamera::device({kWidth, kHeight, 30}, 0).uniqueID);
    ASSERT_TRUE(manager.captureSession());
    ASSERT_TRUE(test::waitUntil([&] { return manager.isCapturing(); }, 10s));
    EXPECT_EQ(capturingChanges, 1);
    ASSERT_TRUE(waitForPicture(manager));

    ASSERT_TRUE(manager.latestFrame());
    EXPECT_EQ(manager.latestFrame()->extent().size.width, kWidth);
    // The patch the camera draws top-left shows top-right, as in a mirror.
    const auto first = picture(manager);
    EXPECT_TRUE(isRed(*first, kWidth - 10, kHeight / 8));
    EXPECT_FALSE(isRed(*first, 10, kHeight / 8));

    // Pictures keep coming, each replacing the last.
    const uint32_t before = counter(*first);
    EXPECT_TRUE(test::waitUntil([&] { return counter(*picture(manager)) >= before + 4; }, 10s));

    // Hold captureQueue for a while, as a slow delegate would.
    // The picture is read on the queue itself, behind whatever reached it
    // during the hold, so a main thread that a loaded machine holds up
    // cannot let later frames into the count.
    uint32_t whenBlocked = 0;
    std::atomic<uint32_t> afterBlock{0};
    manager.captureQueue().async([&] {
        whenBlocked = counter(*picture(manager));
        std::this_thread::sleep_for(400ms);
        manager.captureQueue().async([&] { afterBlock = counter(*picture(manager)); });
    });
    ASSERT_TRUE(test::waitUntil([&] { return afterBlock.load() != 0; }, 10s));
    // Of the dozen frames made meanwhile, only the first waited; the rest were dropped.
    EXPECT_LE(afterBlock.load(), whenBlocked + 2);
    // And then the newest comes again.
    ASSERT_TRUE(test::waitUntil([&] { return counter(*picture(manager)) >= afterBlock.load() + 6; }, 10s));
    stopAndWait(manager);
}

TEST_F(CameraManagerTest, AStopWhileStartingEndsTheSessionAndAStopClearsThePictureAtOnceAndTheSessionAfterwards) {
    {
        CameraManager manager(cameras);
        manager.startCapture(FakeCamera::device({kWidth, kHeight, 30}, 0).uniqueID);
        const auto starting = manager.captureSession();
        // Not capturing yet: the stop queues behind the start, and the camera does not stay on.
        manager.stopCapture();
        ASSERT_TRUE(test::waitUntil([&] { return !manager.captureSession(); }, 10s));
        EXPECT_FALSE(starting->isRunning());
        EXPECT_FALSE(manager.isCapturing());
    }
    CameraManager manager(cameras);
    manager.startCapture(FakeCamera::device({kWidth, kHeight, 30}, 0).uniqueID);
    const auto session = manager.captureSession();
    ASSERT_TRUE(test::waitUntil([&] { return manager.isCapturing(); }, 10s));
    ASSERT_TRUE(waitForPicture(manager));
    // A second start changes nothing.
    manager.startCapture(FakeCamera::device({160, 120}, 1).uniqueID);
    EXPECT_EQ(manager.captureSession(), session);
    EXPECT_EQ(session->activeFormat().width, kWidth);

    // Hold captureQueue, so that neither a sample nor the stop itself can run
    // there while we look.
    std::promise<void> release;
    std::promise<void> held;
    manager.captureQueue().async([&] {
        held.set_value();
        release.get_future().wait();
    });
    held.get_future().wait();
    manager.stopCapture();
    EXPECT_FALSE(manager.latestFrame()); // before the session has stopped
    EXPECT_TRUE(manager.isCapturing());
    EXPECT_TRUE(manager.captureSession());
    release.set_value();
    ASSERT_TRUE(test::waitUntil([&] { return !manager.isCapturing(); }, 10s));
    EXPECT_FALSE(manager.captureSession());
    manager.stopCapture(); // not capturing: nothing to do
}

TEST_F(CameraManagerTest, NoCameraOrOneThatCannotBeOpenedThrowsAndLeavesNothing) {
    cameras->setDevices({});
    CameraManager manager(cameras);
    testing::internal::CaptureStdout();
    try {
        manager.startCapture("");
        ADD_FAILURE() << "no camera, no throw";
    } catch (const ScreenRecorderError& error) {
        EXPECT_EQ(error.errorCase(), ScreenRecorderError::Case::cameraNotFound);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "⚠️ Webカメラが見つかりません\n");
    EXPECT_FALSE(manager.captureSession());

    cameras->setDevices({{"usb-gone", "Gone Camera", AVMediaType::video, "/dev/video-vantrel-missing"}});
    testing::internal::CaptureStdout();
    EXPECT_THROW(manager.startCapture("usb-gone"), ScreenRecorderError);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ カメラ入力の作成に失敗: Cannot open /dev/video-vantrel-missing: No such file or "
              "directory\n");
    EXPECT_FALSE(manager.captureSession());
    EXPECT_FALSE(manager.isCapturing());
    // The failed start left nothing that stops a later one; an empty or
    // unplugged identifier takes the default camera without a word.
    cameras->setDevices({FakeCamera::device({160, 120}, 1), FakeCamera::device({kWidth, kHeight}, 0)});
    for (const std::string id : {"", "usb-unplugged-camera"}) {
        testing::internal::CaptureStdout();
        manager.startCapture(id);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << id;
        ASSERT_TRUE(test::waitUntil([&] { return manager.isCapturing(); }, 10s));
        EXPECT_EQ(manager.captureSession()->activeFormat().width, 160) << id;
        stopAndWait(manager);
    }
}

TEST_F(CameraManagerTest, ACameraThatFailsOrIsPulledOutMidRunStopsTheCapture) {
    struct Case {
        FakeCameraFault fault;
        std::string line;
    };
    for (const auto& [fault, line] :
         {Case{FakeCameraFault::error,
               "⚠️ Camera Capture Session Runtime Error: The fake camera reported an error\n"},
          Case{FakeCameraFault::unplug, "⚠️ Camera Capture Session Interrupted\n"}}) {
        CameraManager manager(cameras);
        manager.startCapture("");
        ASSERT_TRUE(test::waitUntil([&] { return manager.isCapturing(); }, 10s));
        ASSERT_TRUE(waitForPicture(manager));

        testing::internal::CaptureStdout();
        FakeCamera::injectFault(fault);
        const bool stopped = test::waitUntil([&] { return !manager.isCapturing(); }, 10s);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
        ASSERT_TRUE(stopped);
        // The frame path now gets no picture; nothing was thrown at it.
        EXPECT_FALSE(manager.latestFrame());
        EXPECT_FALSE(manager.captureSession());
    }
}
