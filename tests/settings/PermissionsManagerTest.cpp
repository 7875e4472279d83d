// PermissionsManager over fake privilege services: what it reads when, what
// it asks for, and what it prints.
#include "settings/PermissionsManager.h"

#include "platform/permissions/PrivacyAccess.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

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

TEST_F(PermissionsManagerTest, FieldsAreReadAtConstructionAndThenOnlyByTheMonitoring) {
    screen->granted = true;
    PermissionsManager manager;
    EXPECT_TRUE(manager.hasScreenRecordingPermission());
    EXPECT_FALSE(manager.hasAccessibilityPermission());
    accessibility->trusted = true;
    test::runMainLoopFor(600ms);
    EXPECT_FALSE(manager.hasAccessibilityPermission()); // stale without monitoring

    QSignalSpy spy(&manager, &PermissionsManager::hasAccessibilityPermissionChanged);
    manager.startMonitoringPermissions();
    ASSERT_TRUE(test::waitUntil([&] { return manager.hasAccessibilityPermission(); }, 700ms));
    // Every tick assigns, changed or not, so observers hear twice a second.
    test::runMainLoopFor(1100ms);
    EXPECT_GE(spy.count(), 3);
    manager.stopMonitoringPermissions();
    EXPECT_FALSE(manager.isMonitoring());
    const int after = spy.count();
    test::runMainLoopFor(600ms);
    EXPECT_EQ(spy.count(), after);
}

TEST_F(PermissionsManagerTest, ASecondStartKeepsTheFirstTimer) {
    PermissionsManager manager;
    manager.startMonitoringPermissions();
    const NSTimer* first = manager.monitoringTimer();
    manager.startMonitoringPermissions();
    EXPECT_EQ(manager.monitoringTimer(), first);
    EXPECT_DOUBLE_EQ(first->timeInterval(), 0.5);
}

TEST_F(PermissionsManagerTest, ATickAfterTheManagerIsGoneDoesNothing) {
    auto manager = std::make_unique<PermissionsManager>();
    manager->startMonitoringPermissions();
    test::runMainLoopFor(550ms);
    const int reads = accessibility->trustCalls;
    EXPECT_GT(reads, 1);
    manager.reset();
    test::runMainLoopFor(600ms);
    EXPECT_EQ(accessibility->trustCalls, reads);
}

TEST_F(PermissionsManagerTest, CheckAllDoesNotAskAccessibilityWhenScreenRecordingIsRefused) {
    PermissionsManager manager;
    accessibility->trusted = true;
    const int before = accessibility->trustCalls;
    EXPECT_FALSE(manager.checkAllPermissions());
    EXPECT_EQ(accessibility->trustCalls, before);
    screen->granted = true;
    EXPECT_TRUE(manager.checkAllPermissions());
    accessibility->trusted = false;
    EXPECT_FALSE(manager.checkAllPermissions());
}

TEST_F(PermissionsManagerTest, RefusedRequestsPrintTheirLine) {
    PermissionsManager manager;
    accessibility->enableGrants = false;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(manager.requestScreenRecordingPermission());
    EXPECT_FALSE(manager.requestAccessibilityPermission());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ Screen Recording permission is required.\n"
              "⚠️ Accessibility permission is required for global shortcuts and focus tracking.\n");

    screen->granted = true;
    accessibility->enableGrants = true;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(manager.requestScreenRecordingPermission());
    EXPECT_TRUE(manager.requestAccessibilityPermission());
    EXPECT_EQ(accessibility->enableCalls, 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(PermissionsManagerTest, CameraRequestFollowsTheAuthorisationStatus) {
    PermissionsManager manager;
    const struct {
        int status;
        bool result;
        const char* printed;
    } cases[] = {
        {AVAuthorizationStatusAuthorized, true, ""},
        {AVAuthorizationStatusDenied, false, "⚠️ Camera permission is required for webcam PiP.\n"},
        {AVAuthorizationStatusRestricted, false, "⚠️ Camera permission is required for webcam PiP.\n"},
        {7, false, ""},
    };
    for (const auto& c : cases) {
        media->videoStatus = c.status;
        testing::internal::CaptureStdout();
        EXPECT_EQ(QCoro::waitFor(manager.requestCameraPermission()), c.result) << c.status;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed) << c.status;
    }
}

TEST_F(PermissionsManagerTest, AgainstTheRealDesktopServicesOfTheTestSession) {
    // scripts/with-test-services.sh runs an X server and a session bus with accessibility on.
    if (!std::getenv("DISPLAY") || !std::getenv("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "run through scripts/with-test-services.sh";
    ScreenCaptureAccess::setShared(nullptr);
    AccessibilityTrust::setShared(nullptr);
    PermissionsManager manager;
    EXPECT_TRUE(manager.hasScreenRecordingPermission());
    EXPECT_TRUE(manager.hasAccessibilityPermission());
    EXPECT_TRUE(manager.checkAllPermissions());
}
