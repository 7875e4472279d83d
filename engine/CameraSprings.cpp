#include "CameraSprings.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

void CameraSprings::step(CameraMotion& motion, const SpringAim& aim, double h) const {
    const CGFloat dx = aim.target.x - motion.position.x;
    const CGFloat dy = aim.target.y - motion.position.y;
    const CGFloat distance = std::hypot(dx, dy);

    // The camera doesn't chase the target inside the dead zone, and takes it
    // up softly beyond it rather than with a jolt at the rim.
    const CGFloat excess = std::max<CGFloat>(distance - aim.deadzoneRadius, 0);
    const CGFloat pullWeight = 1 - std::exp(-deadzoneSoftness * excess);

    // A long flight backs the zoom off on the way, most steeply just past the
    // threshold, so the viewer keeps their bearings.
    CGFloat zoomAim = aim.targetZoom;
    if (distance > parabolicFlightDistanceThreshold) {
        const CGFloat t =
            std::min<CGFloat>((distance - parabolicFlightDistanceThreshold) / parabolicFlightRange, 1);
        const CGFloat lowering = parabolicFlightMaxZoomOutAmount * (1 - (1 - t) * (1 - t));
        zoomAim = std::max(aim.targetZoom - lowering, zoomFloor);
    }

    if (aim.clickPressed) motion.impactVelocity += clickImpactStrength * impactStiffness;

    // The pan spring pursues only the weighted share of the offset.
    const CGFloat ax = dx * pullWeight * panStiffness - motion.velocity.x * panDamping;
    const CGFloat ay = dy * pullWeight * panStiffness - motion.velocity.y * panDamping;
    motion.velocity.x += ax * h;
    motion.velocity.y += ay * h;
    motion.position.x += motion.velocity.x * h;
    motion.position.y += motion.velocity.y * h;

    motion.zoomVelocity += ((zoomAim - motion.zoom) * zoomStiffness - motion.zoomVelocity * zoomDamping) * h;
    motion.zoom = std::max(motion.zoom + motion.zoomVelocity * h, zoomFloor);

    motion.impactVelocity +=
        ((0 - motion.clickImpact) * impactStiffness - motion.impactVelocity * impactDamping) * h;
    motion.clickImpact += motion.impactVelocity * h;
}

int CameraSprings::advance(CameraMotion& motion, const SpringAim& aim, double& accumulator) const {
    int steps = 0;
    while (accumulator >= physicsStep) {
        step(motion, aim, physicsStep);
        accumulator -= physicsStep;
        ++steps;
    }
    return steps;
}

} // namespace vantrel
