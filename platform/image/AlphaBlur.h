#pragma once
// Gaussian blur of an 8-bit alpha plane, for the shadows of a bitmap
// context. Three box passes per axis stand in for the gaussian (the W3C
// filter-effects recipe); a pass costs a few operations per pixel whatever
// the sigma, so a shadow costs about as much as clearing its area a few times.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantrel::alpha_blur {

/// How many pixels beyond a lit pixel the blur of `sigma` can reach; 0 when
/// the sigma is too small to move anything.
int reachPixels(double sigma);

/// Working memory of blurs, kept by the caller so that repeated blurs do not allocate.
struct BlurScratch {
    std::vector<uint16_t> planes;
    std::vector<uint32_t> columnSums;
};

/// Blurs `plane` (width × height bytes, rows `stride` apart) in place, the
/// standard deviation about `sigma` pixels. Pixels outside the plane count as
/// clear, and so does whatever a pass spreads out of it: within
/// reachPixels(sigma) of the plane's edges alpha is lost and the result is
/// only roughly a blur. Give the plane that margin where it matters.
void blurPlane(uint8_t* plane, size_t stride, int width, int height, double sigma, BlurScratch& scratch);

} // namespace vantrel::alpha_blur
