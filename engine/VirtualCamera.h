#pragma once
// The virtual camera: a centre and a zoom moved by springs on a fixed 120 Hz
// step, aimed at the pointer, the caret or the frame's centre. One update per
// frame gives the crop rectangle of that frame, in source space.

#include <memory>
#include <optional>

#include "FrameInputs.h"
#include "platform/Geometry.h"
#include "platform/WallClock.h"

namespace vantrel {

class VirtualCamera {
public:
    /// `clock` is the wall clock input stamps are compared with (idle time).
    explicit VirtualCamera(std::shared_ptr<const WallClock> clock);

    /// One frame: aim, smooth, step the springs, clamp. `deltaTime` is the
    /// raw frame interval in seconds; `wasMouseClickedLastFrame` is the button
    /// state the previous frame left (a press edge kicks the zoom).
    CGRect update(const EventState& state, const AppSettingsSnapshot& settings, CGSize sourceSize,
                  double deltaTime, bool wasMouseClickedLastFrame);

    // Read-only views for the camera path, tools and tests.
    std::optional<CGPoint> center() const;
    CGFloat zoomFactor() const;
    /// Zoom of the last crop, click impact included.
    CGFloat effectiveZoom() const;
    CGRect lastCropRect() const;
};

} // namespace vantrel
