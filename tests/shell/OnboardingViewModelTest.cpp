// The first-run pages without a display: where they start, moving on by
// themselves 1.2 s after a privilege arrives on its page, and how they end.
#include "shell/onboarding/OnboardingViewModel.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "tests/shell/FakeDelayedCalls.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

class SwitchedPermissions final : public OnboardingPermissions {
public:
    bool screenRecording = false, accessibility = false, monitoring = false;
    bool hasScreenRecordingPermission() const override { return screenRecording; }
    bool hasAccessibilityPermission() const override { return accessibility; }
    void startMonitoringPermissions() override { monitoring = true; }
    void stopMonitoringPermissions() override { monitoring = false; }
    void requestAccessibilityPermission() override { grant(screenRecording, true); }
    // As the monitoring does: assign, then tell, changed or not.
    void grant(bool screen, bool ax) {
        screenRecording = screen;
        accessibility = ax;
        emit permissionsChanged();
    }
};

class OnboardingViewModelTest : public ::testing::Test {
protected:
    std::unique_ptr<OnboardingViewModel> make(bool screen, bool ax) {
        auto owned = std::make_unique<SwitchedPermissions>();
        owned->screenRecording = screen;
        owned->accessibility = ax;
        permissions = owned.get();
        return std::make_unique<OnboardingViewModel>(settings, std::move(owned), delays,
                                                     [this](const std::string& url) {
                                                         opened.push_back(url);
                                                         return true;
                                                     });
    }

    QCoreApplication& app = test::qtApp();
    test::TempHome home;
    std::shared_ptr<UserDefaults> store =
        std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    std::shared_ptr<AppSettings> settings =
        std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
    std::shared_ptr<test::FakeDelayedCalls> delays = std::make_shared<test::FakeDelayedCalls>();
    SwitchedPermissions* permissions = nullptr;
    std::vector<std::string> opened;
};

} // namespace

TEST_F(OnboardingViewModelTest, TheFirstPageDependsOnWhatIsGrantedAlready) {
    struct Case {
        bool screen, ax;
        int page;
    };
    for (const Case c :
         {Case{true, true, 3}, Case{true, false, 2}, Case{false, true, 0}, Case{false, false, 0}}) {
        auto model = make(c.screen, c.ax);
        EXPECT_EQ(model->currentPage(), 0) << "nothing is picked before the window shows";
        model->appear();
        EXPECT_EQ(model->currentPage(), c.page) << "screen " << c.screen << " accessibility " << c.ax;
        EXPECT_TRUE(model->isContentVisible());
        EXPECT_TRUE(permissions->monitoring);
    }
}

TEST_F(OnboardingViewModelTest, AGrantOnItsPageMovesOn1_2SecondsLaterEvenAfterBack) {
    auto model = make(false, false);
    model->appear();
    permissions->grant(true, false); // on the welcome page: no step
    EXPECT_TRUE(delays->pendingDelays().empty());

    permissions->grant(false, false);
    model->setCurrentPage(1);
    permissions->grant(true, false);
    permissions->grant(true, false); // the next tick, unchanged: no second step
    EXPECT_EQ(delays->pendingDelays(), std::vector{1200ms});
    EXPECT_EQ(model->currentPage(), 1) << "the check mark shows first";
    EXPECT_TRUE(model->hasScreenRecordingPermission());
    model->setCurrentPage(0); // "Back" within the pause
    delays->runPending();
    EXPECT_EQ(model->currentPage(), 2);

    model->grantAccessibility();
    EXPECT_EQ(delays->pendingDelays(), std::vector{1200ms});
    delays->runPending();
    EXPECT_EQ(model->currentPage(), 3);

    model->setCurrentPage(1);
    model->openSettings(1);
    model->openSettings(2);
    EXPECT_EQ(opened, (std::vector<std::string>{PermissionsManager::kScreenCaptureSettingsURL,
                                                PermissionsManager::kAccessibilitySettingsURL}));
}

TEST_F(OnboardingViewModelTest, OnlyStartVantrelCompletesAndClosingLeavesTheFlagFalse) {
    auto model = make(false, false);
    QSignalSpy completed(model.get(), &OnboardingViewModel::completed);
    model->appear();
    model->disappear(); // the close button
    EXPECT_FALSE(permissions->monitoring);
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    EXPECT_EQ(completed.count(), 0);

    model->appear();
    model->setCurrentPage(3); // walked past both permissions with "Next →"
    model->startVantrel();
    EXPECT_FALSE(permissions->monitoring);
    EXPECT_TRUE(settings->hasCompletedOnboarding());
    EXPECT_EQ(completed.count(), 0) << "the window manager hears of it after the pause";
    EXPECT_EQ(delays->pendingDelays(), std::vector{200ms});
    delays->runPending();
    EXPECT_EQ(completed.count(), 1);
}
