// The dashboard's real privilege service: what it reads, and the alert of a
// refused switch: in the locale's language, the open-settings button and
// Cancel only, and "open" only for the first button.
#include "settings/PermissionsManager.h"
#include "shell/dashboard/DashboardSystemServices.h"
#include "tests/shell/ShellFixture.h"

#include <QLocale>
#include <optional>

using namespace vantrel;
using namespace std::chrono_literals;

TEST(DashboardAlertsTest, ARefusedSwitchOffersItsSettingsInTheLocalesLanguage) {
    test::guiApp();
    ScreenCaptureAccess::setShared(std::make_shared<ScreenCaptureAccessFake>());
    AccessibilityTrust::setShared(std::make_shared<AccessibilityTrustFake>());
    auto media = std::make_shared<MediaAuthorizationFake>();
    media->audioStatus = AVAuthorizationStatusDenied;
    MediaAuthorization::setShared(media);
    auto alerts = std::make_shared<test::AlertsFake>();
    DashboardPermissionsSystem permissions(std::make_shared<PermissionsManager>(), alerts);
    EXPECT_FALSE(permissions.isAccessibilityTrusted());
    EXPECT_EQ(permissions.authorizationStatus(DashboardPermission::microphone), AVAuthorizationStatusDenied);
    EXPECT_EQ(permissions.authorizationStatus(DashboardPermission::camera), AVAuthorizationStatusAuthorized);

    const auto ask = [&](DashboardPermission permission, int response) {
        std::optional<bool> open;
        permissions.runPermissionAlert(permission, [&](bool answer) { open = answer; });
        alerts->responses.push_back(response);
        EXPECT_TRUE(test::waitUntil([&] { return open.has_value(); }, 10s));
        return open.value_or(false);
    };
    QLocale::setDefault(QLocale(QLocale::Japanese, QLocale::Japan));
    EXPECT_TRUE(ask(DashboardPermission::accessibility, kAlertFirstButtonReturn));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_FALSE(ask(DashboardPermission::microphone, kAlertFirstButtonReturn + 1));
    EXPECT_FALSE(ask(DashboardPermission::camera, 0)) << "closed without a button";

    ASSERT_EQ(alerts->shown.size(), 3u);
    EXPECT_EQ(alerts->shown[0].messageText, "アクセシビリティの許可が必要です");
    EXPECT_EQ(alerts->shown[0].buttons, QStringList({"アクセシビリティを開く", "キャンセル"}));
    EXPECT_TRUE(alerts->shown[0].informativeText.startsWith("この機能を使用するには"));
    EXPECT_EQ(alerts->shown[1].buttons, QStringList({"Open Microphone Settings", "Cancel"}));
    EXPECT_TRUE(
        alerts->shown[1].informativeText.startsWith("Vantrel needs Microphone permission to record audio."));
    EXPECT_EQ(alerts->shown[2].messageText, "Camera Permission Required");
}
