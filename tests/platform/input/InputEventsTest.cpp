// The X11 input service against a real Xvfb of the test's own, driven by
// XTest: raw pointer and key events in order on the main thread, buttons
// through the pointer maps, modifiers from XKB, repeats of a held key at the
// server's rate, the core-polling fall-back that a refused tap leads to, and
// a terminal's password prompt.
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/input/InputEventsXInput2.h"
#include "platform/input/TerminalEchoProc.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <QProcess>
#include <QTemporaryDir>
#include <fstream>
#include <gtest/gtest.h>
#include <vector>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

constexpr NSEventMask kMouse = 0x66;
constexpr NSEventMask kKeys = 0x1400;

class InputEventsTest : public ::testing::Test {
protected:
    void SetUp() override {
        qtApp();
        DisplayList::setShared(nullptr);
    }
    void TearDown() override { DisplayList::setShared(nullptr); }

    std::vector<NSEventType> types(NSEventMask mask = kMouse | kKeys) const {
        std::vector<NSEventType> result;
        for (const NSEvent& event : events)
            if (mask & maskOf(event.type)) result.push_back(event.type);
        return result;
    }
    std::vector<NSEvent> keyDowns() const {
        std::vector<NSEvent> result;
        for (const NSEvent& event : events)
            if (event.type == NSEventType::keyDown) result.push_back(event);
        return result;
    }
    InputEvents::Handler recorder() {
        return [this](const NSEvent& event) { events.push_back(event); };
    }
    bool waitForCount(size_t count, std::chrono::milliseconds timeout = 3s) {
        return waitUntil([&] { return events.size() >= count; }, timeout);
    }

    static std::string readFile(const QString& path) {
        std::ifstream file(path.toStdString());
        return {std::istreambuf_iterator<char>(file), {}};
    }

    XvfbServer server;
    XTestInput input;
    std::vector<NSEvent> events;
};

} // namespace

TEST_F(InputEventsTest, PointerEventsArriveInOrderAndOnlyTheLeftButtonCounts) {
    auto service = std::make_shared<InputEventsXInput2>();
    auto token = service->addGlobalMonitorForEvents(kMouse, recorder());
    ASSERT_TRUE(token);
    EXPECT_EQ(service->activeSource(), InputEventsXInput2::Source::xinput2);
    EXPECT_FALSE(service->addLocalMonitorForEvents(kMouse, recorder()));
    runMainLoopFor(100ms);

    input.moveTo(100, 100);
    input.button(1, true);
    input.moveTo(150, 120);
    input.button(1, false);
    input.click(3); // right button: not observed
    input.click(4); // wheel: not observed
    input.moveTo(200, 130);
    ASSERT_TRUE(waitForCount(5));
    runMainLoopFor(100ms);
    EXPECT_EQ(types(),
              (std::vector{NSEventType::mouseMoved, NSEventType::leftMouseDown, NSEventType::leftMouseDragged,
                           NSEventType::leftMouseUp, NSEventType::mouseMoved}));

    // The pointer in the global space: y up from the bottom of the main display.
    EXPECT_EQ(service->mouseLocation(), (CGPoint{200, 1080 - 130}));

    service->removeMonitor(token);
    events.clear();
    input.moveTo(300, 300);
    runMainLoopFor(200ms);
    EXPECT_TRUE(events.empty());
    EXPECT_FALSE(service->activeSource().has_value()); // the listener stops with its last monitor
}

// Raw events carry the button the device reported; applications see it
// through the device's own map and then the core pointer's. The maps change
// between presses, and the change reaches the listener before the press does.
TEST_F(InputEventsTest, ButtonsArriveAsTheDeviceAndCorePointerMapsMakeThem) {
    using enum NSEventType;
    constexpr NSEventMask kButtons = maskOf(leftMouseDown) | maskOf(leftMouseUp) | maskOf(rightMouseDown) |
                                     maskOf(rightMouseUp) | maskOf(otherMouseDown) | maskOf(otherMouseUp);
    auto service = std::make_shared<InputEventsXInput2>();
    auto token = service->addGlobalMonitorForEvents(kButtons, recorder());
    ASSERT_TRUE(token);
    runMainLoopFor(100ms);
    ASSERT_TRUE(runCommand("xmodmap -e 'pointer = 3 2 1'")); // left-handed
    input.click(1);
    input.click(3);
    ASSERT_TRUE(runCommand("xinput set-button-map 'Virtual core XTEST pointer' 2 1 3"));
    input.click(1); // 2 on the device, the middle one
    input.click(2); // 1 on the device, the right one to the left-handed
    ASSERT_TRUE(waitForCount(8));
    runMainLoopFor(100ms);
    EXPECT_EQ(types(kButtons), (std::vector{rightMouseDown, rightMouseUp, leftMouseDown, leftMouseUp,
                                            otherMouseDown, otherMouseUp, rightMouseDown, rightMouseUp}));
}

TEST_F(InputEventsTest, AHeldKeyRepeatsAtTheServersRateUntilReleased) {
    ASSERT_TRUE(runCommand("DISPLAY=" + server.display() + " xset r rate 150 20"));
    auto service = std::make_shared<InputEventsXInput2>();
    auto tap = service->createKeyEventTap(recorder());
    ASSERT_TRUE(tap);
    runMainLoopFor(100ms);

    input.key(keycode::a, true);
    runMainLoopFor(100ms);
    EXPECT_EQ(keyDowns().size(), 1u) << "no repeat before the delay";
    runMainLoopFor(400ms); // 150 ms delay, then one every 50 ms
    input.key(keycode::a, false);
    // A repeat already on its way to the main loop when the key went up still arrives.
    runMainLoopFor(30ms);
    const size_t held = keyDowns().size();
    EXPECT_GE(held, 5u);
    EXPECT_LE(held, 10u);
    for (size_t i = 1; i < held; ++i)
        EXPECT_TRUE(keyDowns()[i].isARepeat);
    runMainLoopFor(300ms);
    EXPECT_EQ(keyDowns().size(), held) << "repeats stop with the release";

    // A modifier held alone does not repeat.
    events.clear();
    input.key(keycode::shiftL, true);
    runMainLoopFor(400ms);
    input.key(keycode::shiftL, false);
    runMainLoopFor(100ms);
    EXPECT_EQ(types(), (std::vector{NSEventType::flagsChanged, NSEventType::flagsChanged}));
    service->removeMonitor(tap);

    // With auto-repeat off nothing is made up.
    ASSERT_TRUE(runCommand("DISPLAY=" + server.display() + " xset r off"));
    auto quiet = std::make_shared<InputEventsXInput2>();
    tap = quiet->createKeyEventTap(recorder());
    runMainLoopFor(100ms);
    events.clear();
    input.key(keycode::a, true);
    runMainLoopFor(500ms); // more than three times the 150 ms delay
    input.key(keycode::a, false);
    runMainLoopFor(100ms);
    EXPECT_EQ(keyDowns().size(), 1u);
}

TEST_F(InputEventsTest, AltGrOnAGermanLayoutCountsAsOption) {
    ASSERT_TRUE(runCommand("setxkbmap -display " + server.display() + " de"));
    auto service = std::make_shared<InputEventsXInput2>();
    auto tap = service->createKeyEventTap(recorder());
    runMainLoopFor(100ms);
    constexpr uint32_t altGr = 108, q = 24; // German "@" is AltGr+Q
    input.key(altGr, true);
    input.tap(q);
    input.key(altGr, false);
    ASSERT_TRUE(waitUntil([&] { return !keyDowns().empty(); }, 3s));
    EXPECT_EQ(keyDowns()[0].characters, "@");
    EXPECT_EQ(keyDowns()[0].charactersIgnoringModifiers, "q");
    EXPECT_EQ(keyDowns()[0].modifierFlags.rawValue, NSEventModifierFlags::option);
}

TEST_F(InputEventsTest, WithoutXInput2TheTapIsRefusedAndCorePollingServesTheMonitors) {
    auto service = std::make_shared<InputEventsXInput2>(InputEventsXInput2::Source::corePolling);
    EXPECT_FALSE(service->createKeyEventTap(recorder()));
    auto mouse = service->addGlobalMonitorForEvents(kMouse, recorder());
    auto keys = service->addGlobalMonitorForEvents(kKeys, recorder());
    ASSERT_TRUE(mouse && keys);
    EXPECT_EQ(service->activeSource(), InputEventsXInput2::Source::corePolling);
    runMainLoopFor(100ms);

    input.moveTo(400, 400);
    runMainLoopFor(50ms);
    input.button(1, true);
    runMainLoopFor(50ms);
    input.moveTo(420, 400);
    runMainLoopFor(50ms);
    input.button(1, false);
    runMainLoopFor(50ms);
    input.key(keycode::k, true);
    runMainLoopFor(50ms);
    input.key(keycode::k, false);
    ASSERT_TRUE(waitForCount(5));
    runMainLoopFor(100ms);
    EXPECT_EQ(types(),
              (std::vector{NSEventType::mouseMoved, NSEventType::leftMouseDown, NSEventType::leftMouseDragged,
                           NSEventType::leftMouseUp, NSEventType::keyDown}));
    ASSERT_EQ(keyDowns().size(), 1u);
    EXPECT_EQ(keyDowns()[0].keyCode, 40);
}

// A real terminal whose program reads a password treats it as a password
// field: no key at all; plain reading afterwards shows keys again.
TEST_F(InputEventsTest, KeysForATerminalReadingAPasswordAreHidden) {
    QTemporaryDir dir;
    const QString ready = dir.filePath("ready"), secret = dir.filePath("secret"), plain = dir.filePath("plain");
    QProcess xterm;
    xterm.start("xterm", {"-geometry", "60x10+0+0", "-e", "bash", "-c",
                          "touch " + ready + "; read -s a; echo \"$a\" > " + secret + "; read b; echo \"$b\" > " + plain});
    ASSERT_TRUE(xterm.waitForStarted(5000));
    const pid_t terminal = static_cast<pid_t>(xterm.processId());
    TerminalEchoProc echo;
    // The terminal starts with echo off until its shell has set the modes up.
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(ready) && echo.readsPassword(terminal); }, 10s));
    auto service = std::make_shared<InputEventsXInput2>();
    auto tap = service->createKeyEventTap(recorder());
    auto mouse = service->addGlobalMonitorForEvents(maskOf(NSEventType::mouseMoved), recorder());
    runMainLoopFor(100ms);
    input.moveTo(100, 60); // no window manager: the focus follows the pointer into the terminal
    ASSERT_TRUE(waitForCount(1));
    events.clear();
    // A pointer motion after each key, waited for: the listener has then judged
    // the key while the prompt was up, as for a user, who types far slower.
    int x = 100;
    for (uint32_t key : {keycode::a, keycode::k, keycode::shiftL, keycode::ret}) {
        input.tap(key);
        input.moveTo(++x, 60);
        ASSERT_TRUE(waitUntil([&] { return !events.empty(); }, 5s));
        EXPECT_EQ(types(), std::vector{NSEventType::mouseMoved}) << "key " << key << " shown";
        events.clear();
    }
    ASSERT_TRUE(waitUntil([&] { return !readFile(secret).empty(); }, 5s)) << "the terminal got the keys";
    EXPECT_EQ(readFile(secret), "ak\n");

    ASSERT_TRUE(waitUntil([&] { return !echo.readsPassword(terminal); }, 5s));
    input.tap(keycode::k);
    input.tap(keycode::ret);
    EXPECT_TRUE(waitUntil([&] { return readFile(plain) == "k\n"; }, 5s));
    ASSERT_TRUE(waitUntil([&] { return keyDowns().size() == 2; }, 5s));
    EXPECT_EQ(keyDowns()[0].charactersIgnoringModifiers, "k");
    xterm.kill();
    xterm.waitForFinished(3000);
}
