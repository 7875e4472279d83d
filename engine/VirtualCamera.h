#pragma once
// The virtual camera: a centre and a zoom moved by springs on a fixed 120 Hz
// step, aimed at the pointer, the caret or the frame's centre. One update per
// frame gives the crop rectangle of that frame, in source space.

#include "CameraSprings.h"
#include "CaretTracker.h"
#include "FrameInputs.h"
#include "PointerTracker.h"
#include "platform/core/Geometry.h"
#include "platform/core/WallClock.h"

#include <memory>
#include <optional>

namespace vantrel {

/// What leads the camera on a frame, chosen afresh from the input each frame.
enum class CameraBranch {
    /// The pointer, with look-ahead, at full zoom.
    follow,
    /// The frame's centre, at the whole-frame zoom.
    rest,
    /// The caret of the focused text field, at the typing zoom.
    caret,
};

/// The aim of one frame, as the springs receive it.
struct CameraAim {
    CameraBranch branch = CameraBranch::rest;
    /// Before target smoothing.
    CGPoint targetPoint{0, 0};
    /// After hysteresis.
    CGFloat targetZoom = 1.0;
    CGFloat deadzoneRadius = 0;
};

/// Lives on the frame queue of one recording and is driven only from there;
/// nothing in it is locked. It reads the wall clock once per frame, to tell
/// how long the user has been idle.
class VirtualCamera {
public:
    /// `clock` is the wall clock input stamps are compared with (idle time);
    /// without one, the system clock is used.
    explicit VirtualCamera(std::shared_ptr<const WallClock> clock);

    /// One frame: aim, smooth, step the springs, clamp. `deltaTime` is the
    /// raw frame interval in seconds; `wasMouseClickedLastFrame` is the button
    /// state the previous frame left (a press edge kicks the zoom).
    ///
    /// A `deltaTime` above 0.05 s counts as 0.05 s, so a pause or a stall moves
    /// the camera by one ordinary step at most. A `deltaTime` of zero or less,
    /// or not a number, counts as no time passed: the aim is still chosen and
    /// the crop recomputed, but nothing is smoothed or stepped and the pointer
    /// velocity stays as it was.
    CGRect update(const EventState& state, const AppSettingsSnapshot& settings, CGSize sourceSize,
                  double deltaTime, bool wasMouseClickedLastFrame);

    // Read-only views for the camera path, tools and tests.
    /// Absent until the first frame; then the clamped centre of the last crop.
    std::optional<CGPoint> center() const { return currentCameraCenter; }
    /// The spring zoom, without click impact.
    CGFloat zoomFactor() const { return currentZoomFactor; }
    /// Zoom of the last crop, click impact included.
    CGFloat effectiveZoom() const { return lastEffectiveZoom; }
    CGRect lastCropRect() const { return lastCrop; }

    CGPoint velocity() const { return cameraVelocity; }
    CGFloat zoomSpeed() const { return zoomVelocity; }
    CGFloat clickImpact() const { return currentClickImpact; }
    /// The target the pan spring pursues: absent until the first frame.
    std::optional<CGPoint> smoothedTarget() const { return smoothedTargetPoint; }
    /// The aim the last frame chose.
    const CameraAim& lastAim() const { return lastFrameAim; }
    /// Spring steps the last frame ran (0 to 6).
    int lastSubStepCount() const { return lastFrameSubSteps; }
    const PointerTracker& pointer() const { return pointerTracker; }
    const CaretTracker& caret() const { return caretTracker; }
    const CameraSprings& springs() const { return cameraSprings; }

    const CGFloat maxZoomFactor = 2.0;
    /// Relative band around the current zoom in which a zoom aim is dropped.
    const CGFloat zoomHysteresisThreshold = 0.05;
    /// Keeps the hysteresis ratio finite; the zoom itself never gets near it.
    const CGFloat hysteresisZoomGuard = 0.001;
    /// Zoom aim at rest: the whole frame.
    const CGFloat restZoomFactor = 1.0;
    /// Dead zone while the pointer leads, or when no text field is focused.
    const CGFloat deadzoneInnerRadius = 50.0;
    /// Dead zone whenever a text field is focused in keyboard mode.
    const CGFloat keyboardDeadzoneRadius = 200.0;
    /// Per second, for the target in mouse mode.
    const CGFloat targetSmoothingRate = 10.0;
    /// Per second, for the target in keyboard mode.
    const CGFloat keyboardStandardSmoothingRate = 2.5;
    /// Per second, for the target in keyboard mode after a line break.
    const CGFloat keyboardNewLineSmoothingRate = 12.0;
    /// Longest idle time, in seconds, at which the pointer is followed.
    const double mouseIdleLimit = 3.0;
    /// Longest idle time, in seconds, at which the caret is followed.
    const double keyboardIdleLimit = 6.0;
    /// Most time one frame feeds into the smoothing and the springs, in seconds.
    const double stepBound = 0.05;
    /// The view never zooms out further than this, however deep a click dips.
    const CGFloat effectiveZoomFloor = 0.5;

private:
    CameraAim decide(const EventState& state, const AppSettingsSnapshot& settings, CGSize sourceSize,
                     CGPoint predictedPoint);
    CGFloat applyHysteresis(CGFloat targetZoom, InputMode mode) const;
    void smoothTarget(CGPoint targetPoint, InputMode mode, double stepDelta);
    CGRect clampAndCrop(CGPoint camera, CGSize sourceSize);

    std::shared_ptr<const WallClock> clock;
    const CameraSprings cameraSprings;
    PointerTracker pointerTracker;
    CaretTracker caretTracker;

    std::optional<CGPoint> currentCameraCenter;
    CGPoint cameraVelocity{0, 0};
    CGFloat currentZoomFactor = 1.0;
    CGFloat zoomVelocity = 0;
    CGFloat currentClickImpact = 0;
    CGFloat impactVelocity = 0;
    /// Simulated time not yet stepped.
    double physicsAccumulator = 0;
    std::optional<CGPoint> smoothedTargetPoint;

    CameraAim lastFrameAim;
    int lastFrameSubSteps = 0;
    CGFloat lastEffectiveZoom = 1.0;
    CGRect lastCrop;
};

} // namespace vantrel
