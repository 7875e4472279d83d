#pragma once
// The pointer as the camera sees it: a low-pass filtered velocity and a point
// a little ahead of the pointer along it, so the camera leads a moving hand.

#include "platform/core/Geometry.h"

#include <optional>

namespace vantrel {

class PointerTracker {
public:
    /// Runs once per frame, in every mode. Updates the velocity filter with the
    /// move since the last frame and returns the predicted point, held inside
    /// the frame. A `stepDelta` of zero (or one so small that the filter can't
    /// move) is a frame in which no time passed: the filtered velocity stays as
    /// it was, and no velocity is derived from the move.
    CGPoint track(CGPoint mouseLocation, CGSize sourceSize, double stepDelta);

    /// Units per second.
    CGPoint smoothedMouseVelocity() const { return smoothedMouseVelocity_; }
    std::optional<CGPoint> previousMouseLocation() const { return previousMouseLocation_; }

    /// Per second.
    const CGFloat velocitySmoothingRate = 8.0;
    /// Seconds of look-ahead at standstill.
    const CGFloat baseLookaheadTime = 0.12;
    /// Speed, in units per second, at which the look-ahead time has halved.
    const CGFloat lookaheadSpeedDivisor = 1200.0;

private:
    std::optional<CGPoint> previousMouseLocation_;
    CGPoint smoothedMouseVelocity_{0, 0};
};

} // namespace vantrel
