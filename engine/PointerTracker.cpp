#include "PointerTracker.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

CGPoint PointerTracker::track(CGPoint mouseLocation, CGSize sourceSize, double stepDelta) {
    const CGFloat factor = 1 - std::exp(-velocitySmoothingRate * stepDelta);

    // Without elapsed time there is no velocity to measure; the filter keeps
    // last frame's value instead of dividing by zero.
    if (factor > 0) {
        CGPoint raw{0, 0};
        if (previousMouseLocation_) {
            raw = {(mouseLocation.x - previousMouseLocation_->x) / stepDelta,
                   (mouseLocation.y - previousMouseLocation_->y) / stepDelta};
        }
        if (std::isfinite(raw.x) && std::isfinite(raw.y)) {
            smoothedMouseVelocity_.x += (raw.x - smoothedMouseVelocity_.x) * factor;
            smoothedMouseVelocity_.y += (raw.y - smoothedMouseVelocity_.y) * factor;
        }
    }
    previousMouseLocation_ = mouseLocation;

    // The lead grows with speed but ever more slowly, so a flick can't throw
    // the aim far ahead of the pointer.
    const CGFloat speed = std::hypot(smoothedMouseVelocity_.x, smoothedMouseVelocity_.y);
    const CGFloat lookaheadTime = baseLookaheadTime / (1 + speed / lookaheadSpeedDivisor);
    const CGFloat x = mouseLocation.x + smoothedMouseVelocity_.x * lookaheadTime;
    const CGFloat y = mouseLocation.y + smoothedMouseVelocity_.y * lookaheadTime;
    return {std::max<CGFloat>(std::min(x, sourceSize.width), 0),
            std::max<CGFloat>(std::min(y, sourceSize.height), 0)};
}

} // namespace vantrel
