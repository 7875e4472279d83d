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
    void SetUp() override {
        test::qtApp();
        DisplayList::setShared(nullptr);
    }
    void TearDown() override { DisplayList::setShared(nullptr); }
    std::shared_ptr<UserDefaults> openStore() {
        return std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    }
    std::unique_ptr<DisplayManager> makeManager() {
        auto manager = std::make_unique<DisplayManager>(openStore());
        test::runMainLoopFor(50ms); // the first refresh runs as a task
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

TEST_F(XDisplayManagerTest, AFirstLaunchChoosesTheMainDisplayWithoutStoringIt) {
    auto manager = makeManager();
    EXPECT_EQ(manager->selectedDisplayID(), kScreen);
    EXPECT_EQ(ids(*manager), std::vector<CGDirectDisplayID>{kScreen});
    EXPECT_FALSE(openStore()->integerForKey("selectedDisplayID"));
    ASSERT_TRUE(manager->selectedDisplay());
    EXPECT_EQ(manager->selectedDisplay()->width, 1920);
}

TEST_F(XDisplayManagerTest, IDsStayTheSameAcrossRestartsAndTheChoiceIsKept) {
    ASSERT_TRUE(server.setMonitor("DP-1", 960, 1080, 0, 0));
    ASSERT_TRUE(server.setMonitor("HDMI-1", 960, 1080, 960, 0));
    std::vector<CGDirectDisplayID> before;
    {
        auto manager = makeManager();
        before = ids(*manager);
        manager->setSelectedDisplayID(kHDMI1);
    }
    auto relaunched = makeManager();
    EXPECT_EQ(ids(*relaunched), before);
    EXPECT_EQ(relaunched->selectedDisplayID(), kHDMI1);
    EXPECT_EQ(relaunched->selectedDisplay()->displayID, kHDMI1);
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), kHDMI1);
}

TEST_F(XDisplayManagerTest, UnpluggingTheChosenMonitorRepairsAndStoresTheChoice) {
    ASSERT_TRUE(server.setMonitor("DP-1", 960, 1080, 0, 0));
    ASSERT_TRUE(server.setMonitor("HDMI-1", 960, 1080, 960, 0));
    auto manager = makeManager();
    manager->setSelectedDisplayID(kHDMI1);
    QSignalSpy spy(manager.get(), &DisplayManager::selectedDisplayIDChanged);

    ASSERT_TRUE(server.deleteMonitor("HDMI-1"));
    // No event from Xvfb: the poll notices within its 2 s.
    ASSERT_TRUE(test::waitUntil([&] { return manager->selectedDisplayID() != kHDMI1; }, 5s));
    EXPECT_EQ(manager->selectedDisplayID(), manager->availableDisplays().front().displayID);
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), manager->selectedDisplayID());
    EXPECT_GE(spy.count(), 1);

    // Plugging it back in does not bring the old choice back.
    const CGDirectDisplayID repaired = manager->selectedDisplayID();
    ASSERT_TRUE(server.setMonitor("HDMI-1", 960, 1080, 960, 0));
    ASSERT_TRUE(test::waitUntil([&] { return ids(*manager).size() == 3; }, 5s));
    EXPECT_EQ(manager->selectedDisplayID(), repaired);
}

TEST_F(XDisplayManagerTest, AStoredDisplayThatIsNotConnectedIsReplacedAtTheFirstRefresh) {
    openStore()->setInteger("selectedDisplayID", kDP1);
    auto manager = std::make_unique<DisplayManager>(openStore());
    EXPECT_EQ(manager->selectedDisplayID(), kDP1); // valid from construction, checked only by a refresh
    test::runMainLoopFor(50ms);
    EXPECT_EQ(manager->selectedDisplayID(), kScreen);
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), kScreen);
}

TEST_F(XDisplayManagerTest, NamesComeFromTheScreenOrFallBackToTheNumber) {
    ASSERT_TRUE(server.setMonitor("DP-1", 1280, 720, 0, 0));
    auto manager = makeManager();
    for (const auto& display : manager->availableDisplays()) {
        if (display.displayID != kDP1) continue;
        EXPECT_EQ(manager->displayName(display), "DP-1 (1280×720)");
    }
    EXPECT_EQ(manager->displayName(SCDisplay{5, 1920, 1080, {}}), "Display 5 (1920×1080)");
}

TEST_F(DisplayManagerTest, AFailedRequestPrintsOneLineAndKeepsListAndChoice) {
    auto fake = std::make_shared<DisplayListFake>();
    DisplayList::setShared(fake);
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), true}});
    auto manager = makeManager();
    manager->setSelectedDisplayID(kDP1);
    fake->setFailure("The X display :5 did not answer.");
    testing::internal::CaptureStdout();
    QCoro::waitFor(manager->refreshDisplays());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ ディスプレイ一覧の取得に失敗: The X display :5 did not answer.\n");
    EXPECT_EQ(ids(*manager), std::vector<CGDirectDisplayID>{kDP1});
    EXPECT_EQ(manager->selectedDisplayID(), kDP1);
}

TEST_F(DisplayManagerTest, WhileEveryRequestFailsNothingIsSelectable) {
    auto fake = std::make_shared<DisplayListFake>();
    fake->setFailure("no server");
    DisplayList::setShared(fake);
    testing::internal::CaptureStdout();
    auto manager = makeManager();
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(manager->availableDisplays().empty());
    EXPECT_FALSE(manager->selectedDisplay());
}

TEST_F(DisplayManagerTest, AnEmptyListFallsBackToTheMainDisplay) {
    auto fake = std::make_shared<DisplayListFake>();
    DisplayList::setShared(fake);
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), false}});
    auto manager = makeManager();
    manager->setSelectedDisplayID(12345);
    EXPECT_EQ(manager->selectedDisplay()->displayID, kDP1); // the first, without changing the choice
    EXPECT_EQ(manager->selectedDisplayID(), 12345u);
    fake->setMonitors({});
    QCoro::waitFor(manager->refreshDisplays());
    EXPECT_TRUE(manager->availableDisplays().empty());
    EXPECT_EQ(manager->selectedDisplayID(), CGMainDisplayID());
    EXPECT_EQ(openStore()->integerForKey("selectedDisplayID"), CGMainDisplayID());
}

TEST_F(DisplayManagerTest, OnlyThePhasesAfterTheBeginTriggerARefresh) {
    auto fake = std::make_shared<DisplayListFake>();
    DisplayList::setShared(fake);
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), true}});
    auto manager = makeManager();
    const int before = fake->requestCount();
    // Adding a monitor: the list answers once for the change check, then each
    // end-phase callback starts its own refresh (the begin phase starts none).
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), true},
                       Monitor{"DP-2", "", CGRect(800, 0, 800, 600), false}});
    test::runMainLoopFor(50ms);
    EXPECT_EQ(fake->requestCount() - before, 1 + 1);
    EXPECT_EQ(manager->availableDisplays().size(), 2u);
}
