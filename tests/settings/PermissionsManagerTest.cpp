// PermissionsManager over fake privilege services: what it reads when, what
// it asks for, and what it prints.
#include "settings/PermissionsManager.h"

#include "platform/permissions/PrivacyAccess.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

class PermissionsManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        ScreenCaptureAccess::setShared(screen);
        AccessibilityTrust::setShared(accessibility);
        MediaAuthorization::setShared(media);
    }
    void TearDown() override {
        ScreenCaptureAccess::setShared(nullptr);
        AccessibilityTrust::setShared(nullptr);
        MediaAuthorization::setShared(nullptr);
    }
    std::shared_ptr<ScreenCaptureAccessFake> screen = std::make_shared<ScreenCaptureAccessFake>();
    std::shared_ptr<AccessibilityTrustFake> accessibility = std::make_shared<AccessibilityTrustFake>();
    std::shared_ptr<MediaAuthorizationFake> media = std::make_shared<MediaAuthorizationFake>();
};

} // namespace

// The waits below only bound how long a loaded machine may take; the
// negative checks hold however long the main loop runs.
TEST_F(PermissionsManagerTest, FieldsAreReadAtConstructionAndThenOnlyByTheMonitoring) {
    screen->granted = true;
    auto manager = std::make_unique<PermissionsManager>();
    EXPECT_TRUE(manager->hasScreenRecordingPermission());
    accessibility->trusted = true;
    test::runMainLoopFor(600ms);
    EXPECT_FALSE(manager->hasAccessibilityPermission()); // stale without monitoring

    QSignalSpy spy(manager.get(), &PermissionsManager::hasAccessibilityPermissionChanged);
    manager->startMonitoringPermissions();
    const NSTimer* timer = manager->monitoringTimer();
    manager->startMonitoringPermissions();
    EXPECT_EQ(manager->monitoringTimer(), timer) << "a second start keeps the first timer";
    EXPECT_TRUE(test::waitUntil([&] { return manager->hasAccessibilityPermission(); }, 10s));
    // Every tick assigns, changed or not, so observers keep hearing.
    EXPECT_TRUE(test::waitUntil([&] { return spy.count() >= 3; }, 10s));
    manager->stopMonitoringPermissions();
    const int after = spy.count();
    test::runMainLoopFor(600ms);
    EXPECT_EQ(spy.count(), after);

    // A manager that is gone reads nothing more (its tick finds it gone).
    manager->startMonitoringPermissions();
    manager.reset();
    const int reads = accessibility->trustCalls;
    test::runMainLoopFor(600ms);
    EXPECT_EQ(accessibility->trustCalls, reads);
}

TEST_F(PermissionsManagerTest, ChecksAndRequestsAskInOrderAndPrintTheirLines) {
    PermissionsManager manager;
    accessibility->trusted = true;
    const int before = accessibility->trustCalls;
    EXPECT_FALSE(manager.checkAllPermissions());
    EXPECT_EQ(accessibility->trustCalls, before) << "screen recording refused: accessibility is not asked";

    accessibility->trusted = false;
    accessibility->enableGrants = false;
    CaptureStdout();
    EXPECT_FALSE(manager.requestScreenRecordingPermission());
    EXPECT_FALSE(manager.requestAccessibilityPermission());
    EXPECT_EQ(GetCapturedStdout(), "⚠️ Screen Recording permission is required.\n"
                                   "⚠️ Accessibility permission is required for global shortcuts and focus tracking.\n");
    screen->granted = true;
    accessibility->enableGrants = true;
    CaptureStdout();
    EXPECT_TRUE(manager.requestScreenRecordingPermission());
    EXPECT_TRUE(manager.requestAccessibilityPermission());
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_TRUE(manager.checkAllPermissions());

    for (const auto& [status, result, printed] :
         {std::tuple{AVAuthorizationStatusAuthorized, true, ""},
          std::tuple{AVAuthorizationStatusDenied, false, "⚠️ Camera permission is required for webcam PiP.\n"},
          std::tuple{AVAuthorizationStatusRestricted, false, "⚠️ Camera permission is required for webcam PiP.\n"}}) {
        media->videoStatus = status;
        CaptureStdout();
        EXPECT_EQ(QCoro::waitFor(manager.requestCameraPermission()), result) << status;
        EXPECT_EQ(GetCapturedStdout(), printed) << status;
    }
}

TEST_F(PermissionsManagerTest, AgainstTheRealDesktopServicesOfTheTestSession) {
    // scripts/with-test-services.sh runs an X server and a session bus with accessibility on.
    if (!std::getenv("DISPLAY") || !std::getenv("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "run through scripts/with-test-services.sh";
    ScreenCaptureAccess::setShared(nullptr);
    AccessibilityTrust::setShared(nullptr);
    EXPECT_TRUE(PermissionsManager().checkAllPermissions());
}
