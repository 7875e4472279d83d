#pragma once
// Pixel kernels on premultiplied BGRA surfaces, used by the image renderer.
// A Surface is addressed y-up: row 0 is the bottom row of the picture, stored
// last in memory, as pixel buffers keep the top row first.

#include "platform/image/AlphaBlur.h"
#include "platform/image/CIImage.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantrel::pixel_ops {

/// Half-open pixel rectangle [x0, x1) × [y0, y1), y up.
struct PixelRect {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;

    bool isEmpty() const { return x1 <= x0 || y1 <= y0; }
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
    PixelRect intersection(const PixelRect& other) const;
    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

/// The pixels whose centres lie inside `rect` (a rectangle in pixel units).
PixelRect pixelsCoveredBy(const CGRect& rect);

struct Surface {
    uint8_t* base = nullptr; // top row
    size_t stride = 0;
    int width = 0;
    int height = 0;

    PixelRect bounds() const { return {0, 0, width, height}; }
    uint8_t* at(int x, int yUp) const {
        return base + static_cast<size_t>(height - 1 - yUp) * stride + 4 * x;
    }
};

/// Premultiplied BGRA bytes of a straight colour.
struct Premultiplied {
    uint8_t b = 0, g = 0, r = 0, a = 0;
};
Premultiplied premultiply(const CIColor& color);

void clear(const Surface& surface, const PixelRect& rect);
/// Clears `outer` except where `inner` lies.
void clearAround(const Surface& surface, const PixelRect& outer, const PixelRect& inner);
void fill(const Surface& surface, const PixelRect& rect, Premultiplied color);
void blendColor(const Surface& surface, const PixelRect& rect, Premultiplied color);

/// Copies or blends `source` (whose pixel (0,0) lands on `destination`'s
/// (originX, originY)) over the part `rect` of `destination`.
void copyRect(const Surface& source, const Surface& destination, int originX, int originY,
              const PixelRect& rect);
void blendRect(const Surface& source, const Surface& destination, int originX, int originY,
               const PixelRect& rect);

/// Alpha becomes the dot product of the straight colour with the vector.
void applyAlphaVector(const Surface& surface, const CIVector& alphaVector);
/// input where the mask's luminance is bright, background where dark; into
/// `input`. A null background is transparent.
void blendWithMask(const Surface& input, const Surface* background, const Surface& mask);
/// Working memory of blurs, kept between frames.
struct BlurWork {
    std::vector<uint8_t> plane;
    alpha_blur::BlurScratch scratch;
};
/// Gaussian blur in place, `sigma` in pixels, one channel plane at a time
/// (only alpha when the picture has no colour, as shadows have not). What
/// lies outside the surface counts as transparent: leave a margin of
/// blurReach(sigma) where the edges matter.
void gaussianBlur(const Surface& surface, double sigma, BlurWork& work);
inline int blurReach(double sigma) {
    return alpha_blur::reachPixels(sigma);
}

} // namespace vantrel::pixel_ops
