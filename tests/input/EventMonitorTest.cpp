// EventMonitor over fake input, accessibility and displays, on the real main
// loop, queues and timers: what each event does to EventState, the clear
// timer, the focus read's debounce, the label under a resting pointer, and
// what start and stop leave behind.
#include "input/EventMonitor.h"

#include "platform/accessibility/AccessibilityFake.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/core/WallClock.h"
#include "settings/AppSettings.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

using F = NSEventModifierFlags;

NSEvent mouse(NSEventType type) {
    NSEvent event;
    event.type = type;
    return event;
}

NSEvent keyDown(uint16_t keyCode, std::string characters, uint64_t flags = 0) {
    NSEvent event;
    event.type = NSEventType::keyDown;
    event.keyCode = keyCode;
    event.characters = characters;
    event.charactersIgnoringModifiers = characters;
    event.modifierFlags.rawValue = flags;
    return event;
}

class EventMonitorTest : public ::testing::Test {
protected:
    void SetUp() override {
        qtApp();
        AppSettings::setShared(nullptr);
        AppSettings::shared()->setKeystrokeDisplayMode(KeystrokeDisplayMode::all);
        displays->setMonitors({{"DP-1", "", CGRect(0, 0, 1440, 900), true},
                               {"HDMI-1", "", CGRect(1440, -200, 1920, 1080), false}});
        DisplayList::setShared(displays);
        InputEvents::setShared(events);
        Accessibility::setShared(accessibility);
        monitor = std::make_shared<EventMonitor>();
        monitor->startMonitoring();
    }
    void TearDown() override {
        monitor->stopMonitoring(); // a second stop does nothing
        monitor.reset();
        DisableSecureEventInput();
        InputEvents::setShared(nullptr);
        Accessibility::setShared(nullptr);
        DisplayList::setShared(nullptr);
        AppSettings::setShared(nullptr);
    }

    void moveTo(CGPoint global, NSEventType type = NSEventType::mouseMoved) {
        events->location = global;
        events->send(mouse(type));
    }
    // Keys reach the monitor one main-queue turn after the tap sees them.
    void press(const NSEvent& event) {
        events->send(event);
        runMainLoopFor(20ms);
    }
    EventState state() const { return monitor->currentState(); }

    TempHome home;
    std::shared_ptr<DisplayListFake> displays = std::make_shared<DisplayListFake>();
    std::shared_ptr<InputEventsFake> events = std::make_shared<InputEventsFake>();
    std::shared_ptr<AccessibilityFake> accessibility = std::make_shared<AccessibilityFake>();
    std::shared_ptr<EventMonitor> monitor;
};

} // namespace

TEST_F(EventMonitorTest, StartsFromTheInitialStateAndKeepsItAcrossRecordings) {
    const double before = WallClock::system()->now();
    auto fresh = std::make_shared<EventMonitor>();
    EXPECT_NEAR(fresh->currentState().lastInputTime, before, 1.0);
    EXPECT_EQ(fresh->targetDisplayID(), displayIDForMonitorName("DP-1"));

    EXPECT_EQ(events->liveRegistrations(), 3); // mouse, local mouse, key tap
    moveTo({300, 400});
    monitor->stopMonitoring();
    EXPECT_EQ(events->liveRegistrations(), 0);
    moveTo({10, 10}); // not observed any more
    monitor->startMonitoring();
    EXPECT_EQ(state().mouseLocation, (CGPoint{300, 400}));
}

TEST_F(EventMonitorTest, PointerIsLocalToTheTargetDisplay) {
    moveTo({100, 800});
    EXPECT_EQ(state().mouseLocation, (CGPoint{100, 800}));
    EXPECT_EQ(state().lastInputMode, InputMode::mouse);

    monitor->setTargetDisplayID(displayIDForMonitorName("HDMI-1"));
    EXPECT_EQ(state().mouseLocation, (CGPoint{100, 800})) << "a new target counts from the next event";
    moveTo({1500, 1000});
    EXPECT_EQ(state().mouseLocation, (CGPoint{60, 980}));
    moveTo({100, 800}); // on the other display: outside the target's size, not clamped
    EXPECT_LT(state().mouseLocation.x, 0);
}

TEST_F(EventMonitorTest, ClicksAndDragsSetTheButtonAndReArmOneFocusRead) {
    accessibility->setFocused(AccessibilityFake::element({{"AXPosition", CGPoint{100, 50}},
                                                          {"AXSize", CGSize{200, 30}},
                                                          {"AXRole", std::string("AXTextField")}}));
    events->send(mouse(NSEventType::leftMouseDown));
    EXPECT_TRUE(state().isMouseClicked);
    for (int i = 0; i < 5; ++i) {
        runMainLoopFor(100ms);
        moveTo({200.0 + i, 300}, NSEventType::leftMouseDragged);
    }
    EXPECT_TRUE(state().isMouseClicked);
    EXPECT_EQ(accessibility->focusReads(), 0) << "no read during the drag";
    events->send(mouse(NSEventType::leftMouseUp));
    EXPECT_FALSE(state().isMouseClicked);
    ASSERT_TRUE(waitUntil([&] { return accessibility->focusReads() > 0; }, 2s));
    runMainLoopFor(400ms);
    EXPECT_EQ(accessibility->focusReads(), 1);
    // Flipped about the main screen (900 high), origin at the lower left.
    EXPECT_EQ(state().focusedRect, CGRect(100, 820, 200, 30));

    // A failed read replaces the good rectangle with nothing.
    accessibility->setFocused(AccessibilityFake::element({{"AXPosition", CGPoint{1, 2}}}));
    events->send(mouse(NSEventType::leftMouseDown));
    ASSERT_TRUE(waitUntil([&] { return accessibility->focusReads() == 2; }, 2s));
    runMainLoopFor(50ms);
    EXPECT_FALSE(state().focusedRect);
}

TEST_F(EventMonitorTest, KeyPressesBecomeTextThatClearsAfterTheLastOne) {
    press(keyDown(40, "k", F::command | F::shift));
    EXPECT_EQ(state().activeKeys, "⇧ + ⌘ + K");
    EXPECT_EQ(state().lastInputMode, InputMode::keyboard);
    EXPECT_GT(state().lastKeystrokeTime, 0);
    press(keyDown(0, "a", F::command | F::shift | F::option | F::control));
    EXPECT_EQ(state().activeKeys, "⌃ + ⌥ + ⇧ + ⌘ + A");

    NSEvent flags;
    flags.type = NSEventType::flagsChanged;
    flags.modifierFlags.rawValue = F::shift;
    press(flags);
    EXPECT_EQ(state().activeKeys, "⌃ + ⌥ + ⇧ + ⌘ + A") << "a modifier alone changes nothing";

    // Held keys repeat: each repeat restarts the 2.5 s.
    for (int i = 0; i < 10; ++i) {
        NSEvent repeat = keyDown(0, "a");
        repeat.isARepeat = i > 0;
        press(repeat);
        runMainLoopFor(130ms);
    }
    EXPECT_EQ(state().activeKeys, "A");
    runMainLoopFor(2000ms);
    EXPECT_EQ(state().activeKeys, "A");
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys.empty(); }, 1500ms));
    EXPECT_GT(state().lastKeystrokeTime, 0) << "the stamp stays";
}

TEST_F(EventMonitorTest, ShortcutsOnlyModeShowsOnlyShortcutsAndSpecialKeys) {
    AppSettings::shared()->setKeystrokeDisplayMode(KeystrokeDisplayMode::shortcutsOnly);
    moveTo({5, 5});
    const double before = state().lastInputTime;
    press(keyDown(0, "A", F::shift));
    EXPECT_EQ(state().activeKeys, "");
    EXPECT_EQ(state().lastInputMode, InputMode::mouse);
    EXPECT_EQ(state().lastInputTime, before);
    press(keyDown(123, "\uF702"));
    EXPECT_EQ(state().activeKeys, "←");
    press(keyDown(105, "\uF710"));
    EXPECT_EQ(state().activeKeys, "←") << "F13 alone is no shortcut";
    press(keyDown(105, "\uF710", F::control));
    EXPECT_EQ(state().activeKeys, "⌃ + ?");
    runMainLoopFor(500ms);
    // Plain typing scheduled no read; the shortcuts did, once.
    EXPECT_EQ(accessibility->focusReads(), 1);
}

TEST_F(EventMonitorTest, ARefusedTapFallsBackOnAGlobalKeyMonitor) {
    monitor->stopMonitoring();
    events->refuseTap = true;
    events->giveLocalToken = false;
    monitor->startMonitoring();
    EXPECT_EQ(events->liveRegistrations(), 2);  // mouse and keys, no local monitor
    events->send(keyDown(40, "k", F::control)); // directly, no main-queue turn
    EXPECT_EQ(state().activeKeys, "⌃ + K");
    monitor->stopMonitoring();
    EXPECT_EQ(events->liveRegistrations(), 0);
}

TEST_F(EventMonitorTest, ARestingPointerGetsTheLabelOfTheElementUnderIt) {
    // Root coordinates: the main display's top left is the origin.
    accessibility->addElementAt(CGRect(0, 0, 200, 100),
                                AccessibilityFake::element({{"AXRole", std::string("AXButton")},
                                                            {"AXTitle", std::string(" OK ")},
                                                            {"AXDescription", std::string("Save file")}}));
    accessibility->addElementAt(CGRect(300, 0, 200, 100),
                                AccessibilityFake::element({{"AXRole", std::string("AXStaticText")},
                                                            {"AXTitle", std::string("Good title")}}));
    moveTo({50, 850});
    runMainLoopFor(100ms);
    EXPECT_EQ(accessibility->hitTests(), 0) << "no fetch before 0.15 s of rest";
    ASSERT_TRUE(waitUntil([&] { return state().cursorFollowText.has_value(); }, 1s));
    EXPECT_EQ(state().cursorFollowText, "Save file");
    EXPECT_EQ(accessibility->lastHitPoint(), (CGPoint{50, 50}));
    runMainLoopFor(300ms);
    EXPECT_EQ(accessibility->hitTests(), 1) << "one fetch per rest";

    // At rest, the label goes after 3 s and does not come back.
    ASSERT_TRUE(waitUntil([&] { return !state().cursorFollowText; }, 3500ms));
    runMainLoopFor(500ms);
    EXPECT_FALSE(state().cursorFollowText);
    EXPECT_EQ(accessibility->hitTests(), 1);

    // Over an element whose role gets no label, there is none, however good its title.
    moveTo({350, 850});
    runMainLoopFor(400ms);
    EXPECT_EQ(accessibility->hitTests(), 2);
    EXPECT_FALSE(state().cursorFollowText);

    // A click without movement starts no fetch.
    events->send(mouse(NSEventType::leftMouseDown));
    events->send(mouse(NSEventType::leftMouseUp));
    runMainLoopFor(400ms);
    EXPECT_EQ(accessibility->hitTests(), 2);
}

TEST_F(EventMonitorTest, StopCancelsTimersAndQueuedReadsAndClearsTheLabel) {
    accessibility->addElementAt(CGRect(0, 0, 200, 100),
                                AccessibilityFake::element({{"AXRole", std::string("AXLink")},
                                                            {"AXTitle", std::string("Home page")}}));
    accessibility->setFocused(
        AccessibilityFake::element({{"AXPosition", CGPoint{0, 0}}, {"AXSize", CGSize{10, 10}}}));
    moveTo({50, 850});
    ASSERT_TRUE(waitUntil([&] { return state().cursorFollowText.has_value(); }, 1s));
    press(keyDown(40, "k", F::command));
    monitor->stopMonitoring();
    EXPECT_FALSE(state().cursorFollowText);
    EXPECT_EQ(state().activeKeys, "⌘ + K");

    const int hits = accessibility->hitTests();
    moveTo({60, 850}); // not observed
    runMainLoopFor(700ms);
    EXPECT_EQ(accessibility->focusReads(), 0) << "the pending focus read was cancelled";
    EXPECT_EQ(accessibility->hitTests(), hits) << "no more polling";
    EXPECT_EQ(events->liveRegistrations(), 0);
    // The clear timer runs out on its own after the stop.
    ASSERT_TRUE(waitUntil([&] { return state().activeKeys.empty(); }, 2500ms));
}

TEST_F(EventMonitorTest, ALateReadAfterStopStillWrites) {
    accessibility->setFocused(
        AccessibilityFake::element({{"AXPosition", CGPoint{0, 0}}, {"AXSize", CGSize{10, 10}}}));
    accessibility->setDelay(300ms);
    // The rest since construction brings one label fetch first; let it pass.
    ASSERT_TRUE(waitUntil([&] { return accessibility->hitTests() == 1; }, 2s));
    events->send(mouse(NSEventType::leftMouseDown));
    runMainLoopFor(450ms); // the read has started on axQueue
    monitor->stopMonitoring();
    ASSERT_TRUE(waitUntil([&] { return state().focusedRect.has_value(); }, 2s));
}
