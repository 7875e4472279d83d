#include "VirtualCamera.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vantrel {

namespace {

/// The share of the way towards its aim that a value smoothed at `rate`
/// travels in `seconds`, the same whatever the frame rate.
CGFloat smoothingFactor(CGFloat rate, double seconds) {
    return 1 - std::exp(-rate * seconds);
}

} // namespace

VirtualCamera::VirtualCamera(std::shared_ptr<const WallClock> clock)
    : clock(clock ? std::move(clock) : WallClock::system()),
      caretTracker(maxZoomFactor, zoomHysteresisThreshold) {}

CGRect VirtualCamera::update(const EventState& state, const AppSettingsSnapshot& settings, CGSize sourceSize,
                             double deltaTime, bool wasMouseClickedLastFrame) {
    // A stall counts as one bounded step, and a frame without elapsed time (or
    // with an interval that makes no sense) as none. A short frame may run no
    // spring step at all; its time waits in the accumulator.
    const double stepDelta = deltaTime > 0 ? std::min(deltaTime, stepBound) : 0.0;

    const CGPoint predictedPoint = pointerTracker.track(state.mouseLocation, sourceSize, stepDelta);

    CameraAim aim = decide(state, settings, sourceSize, predictedPoint);
    aim.targetZoom = applyHysteresis(aim.targetZoom, state.lastInputMode);
    lastFrameAim = aim;

    smoothTarget(aim.targetPoint, state.lastInputMode, stepDelta);

    // The first frame starts on the target, so the camera doesn't fly in from anywhere.
    CameraMotion motion{currentCameraCenter.value_or(*smoothedTargetPoint),
                        cameraVelocity,
                        currentZoomFactor,
                        zoomVelocity,
                        currentClickImpact,
                        impactVelocity};
    const SpringAim springAim{*smoothedTargetPoint, aim.targetZoom, aim.deadzoneRadius,
                              state.isMouseClicked && !wasMouseClickedLastFrame};
    physicsAccumulator += stepDelta;
    lastFrameSubSteps = cameraSprings.advance(motion, springAim, physicsAccumulator);

    cameraVelocity = motion.velocity;
    currentZoomFactor = motion.zoom;
    zoomVelocity = motion.zoomVelocity;
    currentClickImpact = motion.clickImpact;
    impactVelocity = motion.impactVelocity;
    return clampAndCrop(motion.position, sourceSize);
}

CameraAim VirtualCamera::decide(const EventState& state, const AppSettingsSnapshot& settings,
                                CGSize sourceSize, CGPoint predictedPoint) {
    const double idleTime = clock->now() - state.lastInputTime;
    const CGPoint frameCentre{sourceSize.width / 2, sourceSize.height / 2};

    // Neither device has precedence: the mode is whichever was touched last.
    // Only typing into a known field hands the camera to the caret.
    if (state.lastInputMode == InputMode::keyboard && state.focusedRect) {
        if (settings.enableAutoZoom && idleTime <= keyboardIdleLimit) {
            const CaretAim caretAim =
                caretTracker.trackCaret(*state.focusedRect, sourceSize, currentZoomFactor);
            return {CameraBranch::caret, caretAim.targetPoint, caretAim.targetZoom, keyboardDeadzoneRadius};
        }
        caretTracker.clear();
        return {CameraBranch::rest, frameCentre, restZoomFactor, keyboardDeadzoneRadius};
    }

    // Following or resting ends any typing episode at once.
    caretTracker.clear();
    if (settings.enableAutoZoom && idleTime <= mouseIdleLimit) {
        return {CameraBranch::follow, predictedPoint, maxZoomFactor, deadzoneInnerRadius};
    }
    return {CameraBranch::rest, frameCentre, restZoomFactor, deadzoneInnerRadius};
}

CGFloat VirtualCamera::applyHysteresis(CGFloat targetZoom, InputMode mode) const {
    // Within the band the aim is dropped and the zoom coasts to a stop short of
    // it, rather than creeping on towards it for seconds.
    if (std::abs(targetZoom - currentZoomFactor) / std::max(currentZoomFactor, hysteresisZoomGuard) <
        zoomHysteresisThreshold) {
        targetZoom = currentZoomFactor;
    }
    // While typing, the view never widens: only a mouse event lets the zoom fall.
    if (mode == InputMode::keyboard && targetZoom < currentZoomFactor) targetZoom = currentZoomFactor;
    return targetZoom;
}

void VirtualCamera::smoothTarget(CGPoint targetPoint, InputMode mode, double stepDelta) {
    // The camera creeps along a line of text and runs back to the start of the next.
    CGFloat rate = targetSmoothingRate;
    if (mode == InputMode::keyboard) {
        rate = caretTracker.isReturningFromNewLine() ? keyboardNewLineSmoothingRate
                                                     : keyboardStandardSmoothingRate;
    }
    if (!smoothedTargetPoint) smoothedTargetPoint = targetPoint;
    const CGFloat factor = smoothingFactor(rate, stepDelta);
    smoothedTargetPoint->x += (targetPoint.x - smoothedTargetPoint->x) * factor;
    smoothedTargetPoint->y += (targetPoint.y - smoothedTargetPoint->y) * factor;
}

CGRect VirtualCamera::clampAndCrop(CGPoint camera, CGSize sourceSize) {
    // The click impact acts on the view only, never on the zoom spring.
    lastEffectiveZoom = std::max(currentZoomFactor + currentClickImpact, effectiveZoomFloor);
    const CGSize cropSize{sourceSize.width / lastEffectiveZoom, sourceSize.height / lastEffectiveZoom};
    const CGFloat halfWidth = cropSize.width / 2;
    const CGFloat halfHeight = cropSize.height / 2;

    // The lower limit has the last word: when the crop is wider than the frame
    // (a click dip below zoom 1) it is anchored at the frame's lower left. The
    // velocity is left alone; only damping ever slows the camera.
    camera.x = std::max(std::min(camera.x, sourceSize.width - halfWidth), halfWidth);
    camera.y = std::max(std::min(camera.y, sourceSize.height - halfHeight), halfHeight);
    currentCameraCenter = camera;

    lastCrop = CGRect({camera.x - halfWidth, camera.y - halfHeight}, cropSize);
    return lastCrop;
}

} // namespace vantrel
