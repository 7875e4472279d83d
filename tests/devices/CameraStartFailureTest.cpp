// A camera that opens but fails to start (another program holds it): the
// manager goes back to idle with one log line, and the next start works.
#include "devices/CameraManager.h"

#include "platform/camera/FakeCamera.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

TEST(CameraStartFailure, LeavesTheManagerIdleAndTheNextStartTriesAgain) {
    test::qtApp();
    auto cameras = std::make_shared<CaptureDeviceListFake>();
    cameras->setDevices({FakeCamera::device({320, 240, 30}, 0)});
    CameraManager manager(cameras);

    testing::internal::CaptureStdout();
    FakeCamera::injectFault(FakeCameraFault::busy);
    manager.startCapture(""); // configured fine: nothing to throw yet
    const bool idle = test::waitUntil([&] { return !manager.captureSession(); }, 3s);
    test::runMainLoopFor(200ms); // room for a wrong late "capturing"
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string("⚠️ Camera Capture Session Runtime Error: ") + FakeCamera::kBusyDescription + "\n");
    ASSERT_TRUE(idle && !manager.isCapturing());

    manager.startCapture("");
    ASSERT_TRUE(test::waitUntil([&] { return manager.isCapturing() && manager.latestFrame(); }, 3s));
    manager.stopCapture();
}
