// EventMonitor on the real services: an X server of its own with RandR
// monitors and XTest input, an accessibility bus of its own and a GTK3
// window: keys typed into the password entry never reach the state, and
// typing shows again once the focus has moved on.
#include "input/EventMonitor.h"
#include "platform/accessibility/AccessibilityAtspi.h"
#include "platform/input/InputEvents.h"
#include "settings/AppSettings.h"
#include "tests/support/GtkTestWindow.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

TEST(EventMonitorLive, KeysTypedIntoThePasswordEntryNeverReachTheState) {
    TempHome home;
    XvfbServer server;
    PrivateSessionBus bus{PrivateSessionBus::Accessibility::enabled};
    ScopedEnv busEnv{"DBUS_SESSION_BUS_ADDRESS", bus.address()};
    GtkTestWindow window;
    ASSERT_TRUE(window.isReady());
    auto accessibility = std::make_shared<AccessibilityAtspi>();
    ASSERT_TRUE(accessibility->isAvailable());
    Accessibility::setShared(accessibility);
    AppSettings::shared()->setKeystrokeDisplayMode(KeystrokeDisplayMode::all);
    auto monitor = std::make_shared<EventMonitor>();
    monitor->startMonitoring();
    auto state = [&] { return monitor->currentState(); };
    XTestInput input;
    runMainLoopFor(200ms);

    window.focus("password");
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

    window.focus("entry");
    ASSERT_TRUE(waitUntil([&] { return !IsSecureEventInputEnabled(); }, 5s));
    input.tap(keycode::k);
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys == "K"; }, 2s));
    monitor->stopMonitoring();
    Accessibility::setShared(nullptr);
}
