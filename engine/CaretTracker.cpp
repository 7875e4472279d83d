#include "CaretTracker.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantrel {

CaretTracker::CaretTracker(CGFloat maxZoomFactor, CGFloat zoomHysteresisThreshold)
    : maxZoomFactor(maxZoomFactor), zoomHysteresisThreshold(zoomHysteresisThreshold) {}

CaretAim CaretTracker::trackCaret(const CGRect& focusedRect, CGSize sourceSize, CGFloat currentZoomFactor) {
    const CGFloat cx = focusedRect.midX();
    const CGFloat midY = focusedRect.midY();

    // A taller letter or a wobble in the reported frame keeps the line.
    if (!caretYLockAnchor_ || std::abs(midY - *caretYLockAnchor_) >= verticalLineLockThreshold) {
        caretYLockAnchor_ = midY;
    }
    const CGFloat cy = *caretYLockAnchor_;

    if (previousCaretCenter_) {
        const CGFloat jump = cx - previousCaretCenter_->x;
        if (jump < -caretNewLineXThreshold) {
            isReturningFromNewLine_ = true;
        } else if (jump > caretNewLineEndThreshold) {
            isReturningFromNewLine_ = false;
        }
    }
    previousCaretCenter_ = CGPoint{cx, cy};

    // The aim stays put while the caret is inside the safe zone around it, and
    // is dragged along, one safe half-size behind, when the caret pushes the rim.
    CGPoint lock = caretPanLockCenter_.value_or(CGPoint{cx, cy});
    const CGFloat safeHalfWidth = (sourceSize.width / currentZoomFactor) * 0.5 * caretSafeZoneRatio;
    const CGFloat safeHalfHeight = (sourceSize.height / currentZoomFactor) * 0.5 * caretSafeZoneRatio;
    if (lock.x + safeHalfWidth < cx) {
        lock.x = cx - safeHalfWidth;
    } else if (cx < lock.x - safeHalfWidth) {
        lock.x = cx + safeHalfWidth;
    }
    if (lock.y + safeHalfHeight < cy) {
        lock.y = cy - safeHalfHeight;
    } else if (cy < lock.y - safeHalfHeight) {
        lock.y = cy + safeHalfHeight;
    }
    caretPanLockCenter_ = lock;

    // A side of zero length divides to infinity, which loses to the other side
    // or to the cap; so does a side of an empty frame (0 / 0).
    const auto zoomToFill = [this](CGFloat sourceSide, CGFloat rectSide) {
        const CGFloat zoom = sourceSide / (rectSide / caretFocusShare);
        return std::isnan(zoom) ? std::numeric_limits<CGFloat>::infinity() : zoom;
    };
    const CGFloat wantedZoom =
        std::max(std::min({zoomToFill(sourceSize.width, focusedRect.width()),
                           zoomToFill(sourceSize.height, focusedRect.height()), maxZoomFactor}),
                 minimumCaretZoom);

    // The episode starts over on the caret from the next frame; this frame keeps its aim.
    if (lastTypingCenter_ &&
        std::hypot(cx - lastTypingCenter_->x, cy - lastTypingCenter_->y) > typingJumpDistance) {
        typingZoomLock_.reset();
        caretPanLockCenter_.reset();
        caretYLockAnchor_.reset();
    }
    lastTypingCenter_ = CGPoint{cx, cy};

    if (!typingZoomLock_ || *typingZoomLock_ + zoomHysteresisThreshold < wantedZoom) {
        typingZoomLock_ = wantedZoom;
    }
    return {lock, *typingZoomLock_};
}

void CaretTracker::clear() {
    typingZoomLock_.reset();
    lastTypingCenter_.reset();
    caretPanLockCenter_.reset();
    previousCaretCenter_.reset();
    caretYLockAnchor_.reset();
    isReturningFromNewLine_ = false;
}

} // namespace vantrel
