// DisplayManager on a real X server of its own (monitors added and removed
// with xrandr) and on a fake list for the failures a server cannot be made to show.
#include "devices/DisplayManager.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

const CGDirectDisplayID kScreen = displayIDForMonitorName("screen");
const CGDirectDisplayID kDP1 = displayIDForMonitorName("DP-1");
const CGDirectDisplayID kHDMI1 = displayIDForMonitorName("HDMI-1");

class DisplayManagerTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
    void TearDown() override { DisplayList::setShared(nullptr); }
    std::shared_ptr<UserDefaults> openStore() {
        return std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    }
    /// A manager whose first refresh (a task of its own) has run; the wait
    /// only bounds a loaded machine.
    std::unique_ptr<DisplayManager> makeManager(size_t displays = 1) {
        auto manager = std::make_unique<DisplayManager>(openStore());
        EXPECT_TRUE(test::waitUntil([&] { return manager->availableDisplays().size() == displays; }, 10s));
        return manager;
    }
    static std::vector<CGDirectDisplayID> ids(const DisplayManager& manager) {
        std::vector<CGDirectDisplayID> result;
        for (const auto& display : manager.availableDisplays())
            result.push_back(display.displayID);
        return result;
    }
    test::TempHome home;
};

class XDisplayManagerTest : public DisplayManagerTest {
protected:
    test::XvfbServer server;
};

} // namespace

TEST_F(XDisplayManagerTest, TheMainDisplayUntilChosenAndIDsAndTheChoiceSurviveRestarts) {
    {
        auto manager = makeManager();
        EXPECT_EQ(manager->selectedDisplayID(), kScreen);
        EXPECT_EQ(manager->selectedDisplay()->width, 1920);
        EXPECT_FALSE(openStore()->integerForKey("selectedDisplayID")) << "a first launch stores nothing";
    }
    ASSERT_TRUE(server.setMonitor("DP-1", 1280, 720, 0, 0));
    ASSERT_TRUE(server.setMonitor("HDMI-1", 640, 1080, 1280, 0));
    std::vector<CGDirectDisplayID> before;
    {
        auto manager = makeManager(3);
        before = ids(*manager);
        manager->setSelectedDisplayID(kHDMI1);
        EXPECT_EQ(manager->displayName(*manager->selectedDisplay()), "HDMI-1 (640×1080)");
    }
    auto relaunched = makeManager(3);
    EXPECT_EQ(ids(*relaunched), before);
    EXPECT_EQ(relaunched->selectedDisplay()->displayID, kHDMI1);
    EXPECT_EQ(relaunched->displayName(SCDisplay{5, 1920, 1080, {}}), "Display 5 (1920×1080)");
}

TEST_F(XDisplayManagerTest, UnpluggingTheChosenMonitorRepairsAndStoresTheChoice) {
    ASSERT_TRUE(server.setMonitor("DP-1", 960, 1080, 0, 0));
    ASSERT_TRUE(server.setMonitor("HDMI-1", 960, 1080, 960, 0));
    auto manager = makeManager(3);
    manager->setSelectedDisplayID(kHDMI1);
    QSignalSpy spy(manager.get(), &DisplayManager::selectedDisplayIDChanged);
    ASSERT_TRUE(server.deleteMonitor("HDMI-1"));
    // No event from Xvfb: the 2 s poll notices (20 s for a loaded machine).
    ASSERT_TRUE(test::waitUntil([&] { return manager->selectedDisplayID() != kHDMI1; }, 20s));
    const CGDirectDisplayID repaired = manager->selectedDisplayID();
    EXPECT_EQ(repaired, manager->availableDisplays().front().displayID);
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), repaired);
    EXPECT_GE(spy.count(), 1);
    // Plugging it back in does not bring the old choice back.
    ASSERT_TRUE(server.setMonitor("HDMI-1", 960, 1080, 960, 0));
    ASSERT_TRUE(test::waitUntil([&] { return ids(*manager).size() == 3; }, 20s));
    EXPECT_EQ(manager->selectedDisplayID(), repaired);

    // A stored display that is not connected is replaced at the first refresh.
    const CGDirectDisplayID gone = displayIDForMonitorName("DP-7");
    openStore()->setInteger("selectedDisplayID", gone);
    auto relaunched = std::make_unique<DisplayManager>(openStore());
    ASSERT_TRUE(test::waitUntil([&] { return relaunched->selectedDisplayID() != gone; }, 10s));
    EXPECT_EQ(relaunched->selectedDisplayID(), relaunched->availableDisplays().front().displayID);
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), relaunched->selectedDisplayID());
}

TEST_F(DisplayManagerTest, AFailedRequestKeepsListAndChoiceAndAnEmptyListFallsBackToTheMainDisplay) {
    auto fake = std::make_shared<DisplayListFake>();
    DisplayList::setShared(fake);
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), false}});
    auto manager = makeManager();
    manager->setSelectedDisplayID(12345);
    EXPECT_EQ(manager->selectedDisplay()->displayID, kDP1); // the first, without changing the choice
    EXPECT_EQ(manager->selectedDisplayID(), 12345u);
    manager->setSelectedDisplayID(kDP1);

    fake->setFailure("The X display :5 did not answer.");
    testing::internal::CaptureStdout();
    QCoro::waitFor(manager->refreshDisplays());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ ディスプレイ一覧の取得に失敗: The X display :5 did not answer.\n");
    EXPECT_EQ(ids(*manager), std::vector<CGDirectDisplayID>{kDP1});
    EXPECT_EQ(manager->selectedDisplayID(), kDP1);

    fake->clearFailure();
    fake->setMonitors({});
    QCoro::waitFor(manager->refreshDisplays());
    EXPECT_FALSE(manager->selectedDisplay());
    EXPECT_EQ(manager->selectedDisplayID(), CGMainDisplayID());
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), CGMainDisplayID());
}
