#pragma once
// Where the camera looks while the user types: the caret is the centre of the
// focused element's frame. The aim holds still within a line and inside a safe
// zone around it, the zoom only rises during a typing episode, and a far jump
// of the caret starts the episode over.

#include "platform/core/Geometry.h"

#include <optional>

namespace vantrel {

struct CaretAim {
    CGPoint targetPoint{0, 0};
    CGFloat targetZoom = 1.0;
};

class CaretTracker {
public:
    /// `maxZoomFactor` caps the zoom aim; the zoom lock rises only by steps
    /// above `zoomHysteresisThreshold`. Both are the camera's own.
    CaretTracker(CGFloat maxZoomFactor, CGFloat zoomHysteresisThreshold);

    /// One frame of the typing episode. `focusedRect` is used as it comes (no
    /// limit to the frame: the camera's clamp keeps the view inside);
    /// `currentZoomFactor` is the zoom as it is now, not its aim.
    CaretAim trackCaret(const CGRect& focusedRect, CGSize sourceSize, CGFloat currentZoomFactor);

    /// Ends the typing episode: every lock and caret memory is dropped.
    void clear();

    std::optional<CGFloat> typingZoomLock() const { return typingZoomLock_; }
    std::optional<CGPoint> lastTypingCenter() const { return lastTypingCenter_; }
    std::optional<CGPoint> caretPanLockCenter() const { return caretPanLockCenter_; }
    std::optional<CGPoint> previousCaretCenter() const { return previousCaretCenter_; }
    std::optional<CGFloat> caretYLockAnchor() const { return caretYLockAnchor_; }
    /// A leftward jump (a line break) was seen and no rightward step since.
    bool isReturningFromNewLine() const { return isReturningFromNewLine_; }

    const CGFloat maxZoomFactor;
    const CGFloat zoomHysteresisThreshold;
    /// A change of the caret's y below this stays on the line.
    const CGFloat verticalLineLockThreshold = 25.0;
    /// A leftward jump beyond this is a line break.
    const CGFloat caretNewLineXThreshold = 100.0;
    /// A rightward step beyond this ends the line break.
    const CGFloat caretNewLineEndThreshold = 10.0;
    /// Half-size of the safe zone as a share of the half view.
    const CGFloat caretSafeZoneRatio = 0.5;
    /// Share of the view the focused element is to fill in its tighter direction.
    const CGFloat caretFocusShare = 0.45;
    /// The zoom aim never falls below this.
    const CGFloat minimumCaretZoom = 1.0;
    /// A caret move beyond this begins a new episode.
    const CGFloat typingJumpDistance = 150.0;

private:
    std::optional<CGFloat> typingZoomLock_;
    std::optional<CGPoint> lastTypingCenter_;
    std::optional<CGPoint> caretPanLockCenter_;
    std::optional<CGPoint> previousCaretCenter_;
    std::optional<CGFloat> caretYLockAnchor_;
    bool isReturningFromNewLine_ = false;
};

} // namespace vantrel
