// EventMonitor on the real services: an X server of its own with RandR
// monitors and XTest input, an accessibility bus of its own and a GTK3
// window. Clicks, typing, the focused entry, a resting pointer on a button,
// the password entry, and monitors side by side and one above the other.
#include "input/EventMonitor.h"
#include "platform/accessibility/AccessibilityAtspi.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/input/InputEvents.h"
#include "settings/AppSettings.h"
#include "tests/support/GtkTestWindow.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

struct Desktop {
    TempHome home;
    XvfbServer server;
    PrivateSessionBus bus{PrivateSessionBus::Accessibility::enabled};
    ScopedEnv busEnv{"DBUS_SESSION_BUS_ADDRESS", bus.address()};
    GtkTestWindow window;
    std::shared_ptr<AccessibilityAtspi> accessibility = std::make_shared<AccessibilityAtspi>();
};

class EventMonitorLiveTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { desktop = new Desktop; }
    static void TearDownTestSuite() {
        delete desktop;
        desktop = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(desktop->window.isReady());
        ASSERT_TRUE(desktop->accessibility->isAvailable());
        DisplayList::setShared(nullptr);
        InputEvents::setShared(nullptr);
        Accessibility::setShared(desktop->accessibility);
        AppSettings::setShared(nullptr);
        AppSettings::shared()->setKeystrokeDisplayMode(KeystrokeDisplayMode::all);
        monitor = std::make_shared<EventMonitor>();
        monitor->startMonitoring();
        runMainLoopFor(200ms);
    }
    void TearDown() override {
        monitor->stopMonitoring();
        monitor.reset();
        Accessibility::setShared(nullptr);
        InputEvents::setShared(nullptr);
        DisableSecureEventInput();
    }

    void moveTo(CGPoint point) { input.moveTo(static_cast<int>(point.x), static_cast<int>(point.y)); }
    EventState state() const { return monitor->currentState(); }

    static Desktop* desktop;
    XTestInput input;
    std::shared_ptr<EventMonitor> monitor;
};

Desktop* EventMonitorLiveTest::desktop = nullptr;

CGRect flippedOnMainScreen(const CGRect& root) {
    return globalRectFromRootRect(root, CGRect(0, 0, 1920, 1080));
}

} // namespace

TEST_F(EventMonitorLiveTest, AClickInTheEntryReadsItsFrameAndTypingShowsShortcuts) {
    const CGPoint entry = desktop->window.center("entry");
    moveTo(entry);
    input.button(1, true);
    ASSERT_TRUE(waitUntil([&] { return state().isMouseClicked; }, 2s));
    EXPECT_EQ(state().mouseLocation, (CGPoint{entry.x, 1080 - entry.y}));
    input.button(1, false);
    desktop->window.focus("entry");
    ASSERT_TRUE(waitUntil([&] { return !state().isMouseClicked; }, 2s));

    input.key(keycode::controlL, true);
    input.key(keycode::shiftL, true);
    input.tap(keycode::k);
    input.key(keycode::shiftL, false);
    input.key(keycode::controlL, false);
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys == "⌃ + ⇧ + K"; }, 2s));
    EXPECT_EQ(state().lastInputMode, InputMode::keyboard);
    ASSERT_TRUE(waitUntil(
        [&] { return state().focusedRect == flippedOnMainScreen(desktop->window.rect("entry")); }, 3s));
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys.empty(); }, 4s));
}

TEST_F(EventMonitorLiveTest, AHeldKeyKeepsItsTextWhileItRepeats) {
    ASSERT_TRUE(runCommand("DISPLAY=" + desktop->server.display() + " xset r rate 200 25"));
    desktop->window.focus("entry");
    input.key(keycode::a, true);
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys == "A"; }, 2s));
    runMainLoopFor(3000ms); // longer than the clear timer: repeats keep restarting it
    EXPECT_EQ(state().activeKeys, "A");
    input.key(keycode::a, false);
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys.empty(); }, 4s));
}

TEST_F(EventMonitorLiveTest, KeysTypedIntoThePasswordEntryNeverReachTheState) {
    desktop->window.focus("password");
    ASSERT_TRUE(waitUntil([&] { return IsSecureEventInputEnabled(); }, 5s));
    std::vector<std::string> seen;
    for (uint32_t key : {keycode::a, keycode::k, keycode::one, keycode::ret}) {
        input.tap(key);
        runMainLoopFor(50ms);
        seen.push_back(state().activeKeys);
    }
    input.key(keycode::controlL, true);
    input.tap(keycode::a);
    input.key(keycode::controlL, false);
    runMainLoopFor(200ms);
    seen.push_back(state().activeKeys);
    for (const auto& text : seen)
        EXPECT_EQ(text, "");
    EXPECT_EQ(state().lastKeystrokeTime, 0);

    desktop->window.focus("entry");
    ASSERT_TRUE(waitUntil([&] { return !IsSecureEventInputEnabled(); }, 5s));
    input.tap(keycode::k);
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys == "K"; }, 2s));
}

TEST_F(EventMonitorLiveTest, ARestingPointerOnAButtonGetsItsLabel) {
    // One hit test runs per rest; when a slow accessibility bus lets it time
    // out, a person would nudge the pointer, and so does the test.
    auto restOn = [&](const char* widget, const std::string& label) {
        const CGPoint centre = desktop->window.center(widget);
        for (int nudge = 0; nudge < 3; ++nudge) {
            moveTo({centre.x + nudge, centre.y});
            if (waitUntil([&] { return state().cursorFollowText == label; }, 3s)) return true;
        }
        return false;
    };
    ASSERT_TRUE(restOn("save", "Save Document"));
    ASSERT_TRUE(restOn("settings", "Open Settings"));
    // Plain labels are not among the roles that get one.
    moveTo(desktop->window.center("label"));
    ASSERT_TRUE(waitUntil([&] { return !state().cursorFollowText; }, 3s));
}

TEST_F(EventMonitorLiveTest, PointerIsLocalToMonitorsSideBySideAndOneAboveTheOther) {
    ASSERT_TRUE(desktop->server.setMonitor("LEFT", 960, 1080, 0, 0));
    ASSERT_TRUE(desktop->server.setMonitor("RIGHT", 960, 1080, 960, 0));
    monitor->setTargetDisplayID(displayIDForMonitorName("RIGHT"));
    input.moveTo(1000, 100);
    ASSERT_TRUE(waitUntil(
        [&] {
            return state().mouseLocation == CGPoint{40, 980};
        },
        2s))
        << state().mouseLocation.x << ", " << state().mouseLocation.y;
    input.moveTo(100, 100); // on LEFT: outside RIGHT, not clamped
    ASSERT_TRUE(waitUntil([&] { return state().mouseLocation == CGPoint{-860, 980}; }, 2s));

    ASSERT_TRUE(desktop->server.deleteMonitor("LEFT"));
    ASSERT_TRUE(desktop->server.deleteMonitor("RIGHT"));
    ASSERT_TRUE(desktop->server.setMonitor("TOP", 1920, 540, 0, 0));
    ASSERT_TRUE(desktop->server.setMonitor("BOTTOM", 1920, 540, 0, 540));
    monitor->setTargetDisplayID(displayIDForMonitorName("BOTTOM"));
    input.moveTo(100, 1000);
    ASSERT_TRUE(waitUntil(
        [&] {
            return state().mouseLocation == CGPoint{100, 80};
        },
        2s))
        << state().mouseLocation.x << ", " << state().mouseLocation.y;
    ASSERT_TRUE(desktop->server.deleteMonitor("TOP"));
    ASSERT_TRUE(desktop->server.deleteMonitor("BOTTOM"));
}
