#pragma once
// The three springs of the virtual camera (pan, zoom, click impact) and the
// fixed step they are integrated on. The camera feeds them one aim per frame
// and lets them run as many 1/120 s steps as the frame's time allows, so the
// motion is the same at any frame rate.

#include "platform/core/Geometry.h"

namespace vantrel {

/// The moving state of the camera: what the springs integrate.
struct CameraMotion {
    CGPoint position{0, 0};
    /// Pan velocity, units per second.
    CGPoint velocity{0, 0};
    /// Spring zoom, without the click impact; never below the zoom floor.
    CGFloat zoom = 1.0;
    /// Per second.
    CGFloat zoomVelocity = 0;
    /// Displacement of the zoom by clicks; added to the view only.
    CGFloat clickImpact = 0;
    /// Per second.
    CGFloat impactVelocity = 0;
};

/// What the springs pursue; held for every step of one frame.
struct SpringAim {
    /// The smoothed target the pan spring pursues.
    CGPoint target{0, 0};
    CGFloat targetZoom = 1.0;
    /// Radius inside which the pan spring pulls with no force.
    CGFloat deadzoneRadius = 0;
    /// The button went down on this frame: every step of the frame kicks the impact spring.
    bool clickPressed = false;
};

struct CameraSprings {
    const double physicsStep = 1.0 / 120.0;

    const CGFloat panStiffness = 70.0;
    const CGFloat panDamping = 28.0;
    const CGFloat zoomStiffness = 22.0;
    const CGFloat zoomDamping = 16.0;
    const CGFloat impactStiffness = 180.0;
    const CGFloat impactDamping = 18.0;
    /// Seconds; times `impactStiffness` it is the velocity kick of one step.
    const CGFloat clickImpactStrength = -0.0004;

    /// Per unit of distance beyond the dead zone: how softly the pull sets in.
    const CGFloat deadzoneSoftness = 0.025;

    /// From this distance on, a flight lowers the zoom aim.
    const CGFloat parabolicFlightDistanceThreshold = 400.0;
    const CGFloat parabolicFlightMaxZoomOutAmount = 0.35;
    /// Distance beyond the threshold at which the lowering is full.
    const CGFloat parabolicFlightRange = 500.0;

    /// The spring zoom never falls below this.
    const CGFloat zoomFloor = 1.0;

    /// One step of `h` seconds: dead zone pull, flight lowering, click kick,
    /// then the pan, zoom and impact springs (velocity first, then position).
    void step(CameraMotion& motion, const SpringAim& aim, double h) const;

    /// Runs whole steps of `physicsStep` while `accumulator` holds one, taking
    /// each off it; the remainder waits for the next frame. Returns how many ran.
    int advance(CameraMotion& motion, const SpringAim& aim, double& accumulator) const;
};

} // namespace vantrel
