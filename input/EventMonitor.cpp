#include "EventMonitor.h"

#include "input/CursorTextRules.h"
#include "input/KeyText.h"
#include "platform/accessibility/Accessibility.h"
#include "platform/displays/Displays.h"
#include "platform/core/WallClock.h"
#include "settings/AppSettings.h"

namespace vantrel {

namespace {

constexpr NSEventMask kMouseEventMask = 0x66;
constexpr NSEventMask kKeyEventMask = 0x1400;
constexpr const char* kKeySeparator = " + ";

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i) text += kKeySeparator;
        text += parts[i];
    }
    return text;
}

// The frame of the first screen, the main one; absent without screens.
std::optional<CGRect> mainScreenFrame() {
    const auto screens = NSScreen::screens();
    if (screens.empty()) return std::nullopt;
    return screens.front().frame;
}

} // namespace

double EventMonitor::now() {
    return WallClock::system()->now();
}

EventMonitor::EventMonitor()
    : stateLock(EventState::initial(now())), axQueue("com.vantrel.axQueue", DispatchQoS::userInitiated),
      pollingStateLock(PollingState{now(), 0, std::nullopt, 0}), targetDisplayID_(CGMainDisplayID()) {}

EventMonitor::~EventMonitor() = default;

EventState EventMonitor::currentState() const {
    return stateLock.withLock([](const EventState& state) { return state; });
}

void EventMonitor::startMonitoring() {
    std::weak_ptr<EventMonitor> weak = weak_from_this();
    events_ = InputEvents::shared();
    auto mouseHandler = [weak](const NSEvent& event) {
        if (auto monitor = weak.lock()) monitor->handleMouseEvent(event);
    };
    globalMouseMonitor = events_->addGlobalMonitorForEvents(kMouseEventMask, mouseHandler);
    localMouseMonitor = events_->addLocalMonitorForEvents(kMouseEventMask, mouseHandler);

    cursorTextPollingTimer = NSTimer::scheduledTimer(cursorTextPollingInterval, true, [weak](NSTimer&) {
        if (auto monitor = weak.lock()) monitor->pollCursorText();
    });

    keyboardEventTap = events_->createKeyEventTap([weak](const NSEvent& event) {
        auto monitor = weak.lock();
        if (!monitor) return;
        // One main-queue turn later, as the tap's callback does, so keys keep their order.
        DispatchQueue::main().async([monitor, event] { monitor->handleKeyEvent(event); });
    });
    if (!keyboardEventTap) {
        // No message: the only difference is the way keys arrive.
        globalKeyboardMonitor =
            events_->addGlobalMonitorForEvents(kKeyEventMask, [weak](const NSEvent& event) {
                if (auto monitor = weak.lock()) monitor->handleKeyEvent(event);
            });
    }
}

void EventMonitor::stopMonitoring() {
    auto events = events_ ? events_ : InputEvents::shared();
    for (InputEvents::Token* token : {&globalMouseMonitor, &globalKeyboardMonitor, &localMouseMonitor}) {
        if (*token) events->removeMonitor(*token);
        token->reset();
    }
    if (keyboardEventTap) {
        events->removeMonitor(keyboardEventTap);
        keyboardEventTap.reset();
    }
    if (axDebounceWorkItem) {
        axDebounceWorkItem->cancel();
        axDebounceWorkItem.reset();
    }
    if (cursorTextPollingTimer) {
        cursorTextPollingTimer->invalidate();
        cursorTextPollingTimer.reset();
    }
    pollingStateLock.withLock([](PollingState& polling) {
        polling.currentDisplayedCursorText.reset();
        polling.cursorTextFirstDisplayedTime = 0;
    });
    stateLock.withLock([](EventState& state) { state.cursorFollowText.reset(); });
    events_.reset();
}

// --- Mouse and keys ---------------------------------------------------------

void EventMonitor::handleMouseEvent(const NSEvent& event) {
    const bool isClick =
        event.type == NSEventType::leftMouseDown || event.type == NSEventType::leftMouseDragged;
    const CGPoint p = (events_ ? events_ : InputEvents::shared())->mouseLocation();
    const double timestamp = now();
    // The display lookups answer from the monitors already read, and all of
    // them are made before the lock that every frame takes. Display bounds are
    // measured from the top left of the main display, whose height is the
    // main screen's.
    const CGRect mainBounds = CGDisplayBounds(CGMainDisplayID());
    CGRect b = CGDisplayBounds(targetDisplayID_);
    b.origin = CGPoint{b.origin.x - mainBounds.minX(), b.origin.y - mainBounds.minY()};
    const double mainHeight = mainBounds.height() > 0 ? mainBounds.height() : b.maxY();
    const CGPoint local{p.x - b.minX(), b.height() - (mainHeight - p.y - b.minY())};
    stateLock.withLock([&](EventState& state) {
        state.mouseLocation = local;
        state.isMouseClicked = isClick;
        state.lastInputMode = InputMode::mouse;
        state.lastInputTime = timestamp;
    });
    if (isClick) scheduleFocusUpdate();
    if (event.type == NSEventType::mouseMoved || event.type == NSEventType::leftMouseDragged)
        pollingStateLock.withLock([&](PollingState& polling) { polling.lastMouseMoveTime = timestamp; });
}

void EventMonitor::handleKeyEvent(const NSEvent& event) {
    if (event.type != NSEventType::keyDown) return;
    std::vector<std::string> parts = modifierGlyphs(event.modifierFlags);
    const std::string key = keyText(event);
    if (AppSettings::shared()->keystrokeDisplayMode() == KeystrokeDisplayMode::shortcutsOnly) {
        const auto& flags = event.modifierFlags;
        const bool shortcut = flags.contains(NSEventModifierFlags::command) ||
                              flags.contains(NSEventModifierFlags::control) ||
                              flags.contains(NSEventModifierFlags::option) || specialKeyName(event.keyCode);
        if (!shortcut) return;
    }
    parts.push_back(key);
    const std::string text = joined(parts);
    const double timestamp = now();
    stateLock.withLock([&](EventState& state) {
        state.activeKeys = text;
        state.lastInputMode = InputMode::keyboard;
        state.lastInputTime = timestamp;
        state.lastKeystrokeTime = timestamp;
    });
    scheduleFocusUpdate();
    std::weak_ptr<EventMonitor> weak = weak_from_this();
    DispatchQueue::main().async([weak] {
        if (auto monitor = weak.lock()) monitor->restartKeyClearTimer();
    });
}

void EventMonitor::restartKeyClearTimer() {
    if (keyClearTimer) keyClearTimer->invalidate();
    std::weak_ptr<EventMonitor> weak = weak_from_this();
    keyClearTimer = NSTimer::scheduledTimer(keyClearInterval, false, [weak](NSTimer&) {
        if (auto monitor = weak.lock()) monitor->clearActiveKeys();
    });
}

void EventMonitor::clearActiveKeys() {
    stateLock.withLock([](EventState& state) { state.activeKeys.clear(); });
}

// --- Focused element ----------------------------------------------------------

void EventMonitor::scheduleFocusUpdate() {
    if (axDebounceWorkItem) axDebounceWorkItem->cancel();
    std::weak_ptr<EventMonitor> weak = weak_from_this();
    axDebounceWorkItem = std::make_shared<DispatchWorkItem>([weak] {
        if (auto monitor = weak.lock()) monitor->updateFocusedRect();
    });
    axQueue.asyncAfter(dispatchTimeAfter(axDebounceInterval), axDebounceWorkItem);
}

void EventMonitor::updateFocusedRect() {
    auto store = [this](std::optional<CGRect> rect) {
        stateLock.withLock([&](EventState& state) { state.focusedRect = rect; });
    };
    const AXUIElementRef system = AXUIElementCreateSystemWide();
    std::optional<AXAttributeValue> focused;
    if (AXUIElementCopyAttributeValue(system, "AXFocusedUIElement", focused) != kAXErrorSuccess || !focused ||
        !isAXUIElement(*focused))
        return store(std::nullopt);
    const AXUIElementRef element = std::get<AXUIElementRef>(*focused);
    std::optional<AXAttributeValue> position, size;
    if (AXUIElementCopyAttributeValue(element, "AXPosition", position) != kAXErrorSuccess)
        return store(std::nullopt);
    if (AXUIElementCopyAttributeValue(element, "AXSize", size) != kAXErrorSuccess) return store(std::nullopt);
    if (!position || !size || !isAXValue(*position) || !isAXValue(*size)) return store(std::nullopt);
    CGPoint point{};
    CGSize extent{};
    AXValueGetValue(*position, kAXValueTypeCGPoint, &point);
    AXValueGetValue(*size, kAXValueTypeCGSize, &extent);
    CGRect rect(point, extent);
    // Accessibility positions are measured from the top left of the main
    // screen, y down: flip them about it into the global space.
    if (const std::optional<CGRect> main = mainScreenFrame())
        rect = globalRectFromRootRect(rect, CGRect(0, 0, main->width(), main->height()));
    store(rect);
}

// --- Label under a resting pointer ----------------------------------------------

void EventMonitor::PollingState::updateDisplayedCursorText(const std::optional<std::string>& text,
                                                           double now) {
    if (!text) {
        currentDisplayedCursorText.reset();
        cursorTextFirstDisplayedTime = 0;
    } else if (text != currentDisplayedCursorText) {
        currentDisplayedCursorText = text;
        cursorTextFirstDisplayedTime = now;
    }
}

void EventMonitor::clearCursorText() {
    pollingStateLock.withLock([](PollingState& polling) {
        polling.currentDisplayedCursorText.reset();
        polling.cursorTextFirstDisplayedTime = 0;
    });
    stateLock.withLock([](EventState& state) { state.cursorFollowText.reset(); });
}

void EventMonitor::pollCursorText() {
    const double timestamp = now();
    bool wantFetch = false;
    const bool clear = pollingStateLock.withLock([&](PollingState& polling) {
        const double idle = timestamp - polling.lastMouseMoveTime;
        if (idle > cursorTextMouseIdleTimeout) return true;
        wantFetch =
            idle >= cursorTextDebounceInterval && polling.lastFetchedMouseTime < polling.lastMouseMoveTime;
        if (wantFetch) polling.lastFetchedMouseTime = polling.lastMouseMoveTime;
        if (polling.currentDisplayedCursorText && polling.cursorTextFirstDisplayedTime > 0 &&
            timestamp - polling.cursorTextFirstDisplayedTime > cursorTextSameTextTimeout) {
            // The pointer must move again before anything is fetched.
            polling.lastFetchedMouseTime = timestamp;
            wantFetch = false;
            return true;
        }
        return false;
    });
    if (clear) return clearCursorText();
    if (wantFetch) {
        std::weak_ptr<EventMonitor> weak = weak_from_this();
        axQueue.async([weak] {
            if (auto monitor = weak.lock()) monitor->fetchCursorText();
        });
    }
}

void EventMonitor::fetchCursorText() {
    auto setText = [this](std::optional<std::string> text) {
        stateLock.withLock([&](EventState& state) { state.cursorFollowText = std::move(text); });
    };
    const CGPoint location = stateLock.withLock([](const EventState& state) { return state.mouseLocation; });
    const std::optional<CGRect> main = mainScreenFrame();
    if (!main) return setText(std::nullopt);
    // Local to the target display, with no display origin added: right for the main display.
    const CGPoint hit{location.x, main->height() - location.y};
    const AXUIElementRef system = AXUIElementCreateSystemWide();
    AXUIElementRef element;
    if (AXUIElementCopyElementAtPosition(system, static_cast<float>(hit.x), static_cast<float>(hit.y),
                                         element) != kAXErrorSuccess ||
        !element)
        return setText(std::nullopt);
    std::optional<AXAttributeValue> role;
    if (AXUIElementCopyAttributeValue(element, "AXRole", role) != kAXErrorSuccess || !role ||
        !std::holds_alternative<std::string>(*role) || !isCursorTextRole(std::get<std::string>(*role)))
        return setText(std::nullopt);
    std::optional<std::string> text;
    for (std::string_view attribute : kCursorTextAttributes) {
        std::optional<AXAttributeValue> value;
        if (AXUIElementCopyAttributeValue(element, attribute, value) != kAXErrorSuccess || !value ||
            !std::holds_alternative<std::string>(*value))
            continue;
        if ((text = acceptableCursorText(std::get<std::string>(*value)))) break;
    }
    const double timestamp = now();
    pollingStateLock.withLock(
        [&](PollingState& polling) { polling.updateDisplayedCursorText(text, timestamp); });
    const double idle = pollingStateLock.withLock(
        [&](const PollingState& polling) { return timestamp - polling.lastMouseMoveTime; });
    if (idle > cursorTextMouseIdleTimeout) return;
    setText(text);
}

} // namespace vantrel
