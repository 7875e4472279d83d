#pragma once
// Bilinear enlargement placed to a fraction of a pixel. A zoomed picture that
// pans slowly moves by less than a pixel per frame; placing it on whole pixels
// would hold it still and then jump, which makes text shimmer.

#include "platform/image/PixelOps.h"

#include <cstdint>
#include <vector>

namespace vantrel::pixel_ops {

/// Where a source lands: target = scale · source + offset on each axis, in
/// pixel units, y up.
struct Placement {
    double scaleX = 1, offsetX = 0;
    double scaleY = 1, offsetY = 0;
};

/// Row memory kept between frames.
struct ScaleWork {
    std::vector<uint8_t> rows;
};

/// Writes `area` of `target`: each pixel is the source sampled bilinearly at
/// the exact point its centre maps to, so that a fractional offset moves the
/// picture by that fraction. Past the outer pixel centres of the source the
/// edge pixel goes on. For enlargements (scales of at least 1).
void scaleBilinear(const Surface& source, const Placement& placement, const Surface& target,
                   const PixelRect& area, ScaleWork& work);

} // namespace vantrel::pixel_ops
