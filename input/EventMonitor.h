#pragma once
// Watches what the user does while a recording runs and condenses it into
// one small value, EventState, that the frame path copies once per frame:
// the pointer local to the recorded display, the last shown key press, the
// focused element's frame and the label under a resting pointer.
//
// Everything but `currentState` runs on the main thread; accessibility reads
// run on the serial `axQueue`. Hold the monitor in a shared_ptr: timers,
// handlers and queued reads keep it weakly and do nothing once it is gone.

#include "engine/FrameInputs.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/input/InputEvents.h"
#include "platform/runtime/NSTimer.h"
#include "platform/core/UnfairLock.h"

#include <memory>
#include <optional>
#include <string>

namespace vantrel {

class EventMonitor : public std::enable_shared_from_this<EventMonitor> {
public:
    /// Starts nothing; `targetDisplayID` is the main display.
    EventMonitor();
    ~EventMonitor();
    EventMonitor(const EventMonitor&) = delete;
    EventMonitor& operator=(const EventMonitor&) = delete;

    /// A copy of the whole state. Any thread; the frame path calls it once per frame.
    EventState currentState() const;

    /// The display `mouseLocation` is local to; set just before startMonitoring().
    CGDirectDisplayID targetDisplayID() const { return targetDisplayID_; }
    void setTargetDisplayID(CGDirectDisplayID display) { targetDisplayID_ = display; }

    void startMonitoring();
    void stopMonitoring();

    static constexpr double axDebounceInterval = 0.3;
    static constexpr double cursorTextDebounceInterval = 0.15;
    static constexpr double cursorTextMouseIdleTimeout = 3.0;
    static constexpr double cursorTextSameTextTimeout = 3.0;
    static constexpr double cursorTextPollingInterval = 0.1;
    static constexpr double keyClearInterval = 2.5;

private:
    struct PollingState {
        double lastMouseMoveTime = 0;
        double lastFetchedMouseTime = 0;
        std::optional<std::string> currentDisplayedCursorText;
        double cursorTextFirstDisplayedTime = 0;

        void updateDisplayedCursorText(const std::optional<std::string>& text, double now);
    };

    void handleMouseEvent(const NSEvent& event);
    void handleKeyEvent(const NSEvent& event);
    void restartKeyClearTimer();
    void clearActiveKeys();
    void scheduleFocusUpdate();
    void updateFocusedRect();
    void pollCursorText();
    void fetchCursorText();
    void clearCursorText();
    static double now();

    OSAllocatedUnfairLock<EventState> stateLock;
    InputEvents::Token globalMouseMonitor;
    InputEvents::Token globalKeyboardMonitor;
    InputEvents::Token localMouseMonitor;
    // The X11 tap posts to the main thread itself, so it needs no run-loop source.
    InputEvents::Token keyboardEventTap;
    std::unique_ptr<NSTimer> keyClearTimer;
    std::unique_ptr<NSTimer> cursorTextPollingTimer;
    DispatchQueue axQueue;
    std::shared_ptr<DispatchWorkItem> axDebounceWorkItem;
    OSAllocatedUnfairLock<PollingState> pollingStateLock;
    CGDirectDisplayID targetDisplayID_;
    // The input service of the monitoring in progress, so that stop removes
    // from the service that added.
    std::shared_ptr<InputEvents> events_;
};

} // namespace vantrel
