#pragma once
// A lazy image: a recipe of sources and operations that no pixel exists for
// until a CIContext renders it. Images are cheap immutable values; building a
// frame's recipe allocates a few small nodes and touches no pixels.
//
// Space: y up, origin at the lower-left corner, one unit one pixel of a source.

#include <memory>
#include <optional>
#include <string>

#include "platform/core/Geometry.h"
#include "platform/core/PixelBuffer.h"

namespace vantrel {

/// A colour as straight (not premultiplied) components from 0 to 1.
struct CIColor {
    double red = 0, green = 0, blue = 0, alpha = 0;

    static CIColor clearColor() { return {0, 0, 0, 0}; }
    static CIColor whiteColor() { return {1, 1, 1, 1}; }
    static CIColor blackColor() { return {0, 0, 0, 1}; }
    friend bool operator==(const CIColor&, const CIColor&) = default;
};

struct CIVector {
    double x = 0, y = 0, z = 0, w = 0;
    friend bool operator==(const CIVector&, const CIVector&) = default;
};

/// An immutable bitmap, as a bitmap context hands it out: premultiplied BGRA.
class CGImage {
public:
    explicit CGImage(CVPixelBufferRef pixels)
        : CGImage(pixels, CGRect(0, 0, pixels->width(), pixels->height())) {}
    /// `inked`: the part (in pixels, y up) outside which every pixel is clear.
    CGImage(CVPixelBufferRef pixels, const CGRect& inked) : pixels_(std::move(pixels)), inked_(inked) {}
    int width() const { return pixels_->width(); }
    int height() const { return pixels_->height(); }
    const CVPixelBuffer& pixels() const { return *pixels_; }
    const CVPixelBufferRef& pixelBuffer() const { return pixels_; }
    /// Drawing it need not touch pixels beyond this.
    const CGRect& inkedRect() const { return inked_; }

private:
    CVPixelBufferRef pixels_;
    CGRect inked_;
};
using CGImageRef = std::shared_ptr<const CGImage>;

namespace image_recipe {
struct Node;
}

class CIImage {
public:
    /// The empty image: null extent, renders as transparent.
    CIImage() = default;

    static CIImage fromPixelBuffer(CVPixelBufferRef buffer);
    static CIImage fromCGImage(CGImageRef image);
    /// Unbounded: crop it before use.
    static CIImage fromColor(CIColor color);

    bool isEmpty() const { return node_ == nullptr; }
    CGRect extent() const;
    /// The buffer this image was made of by fromPixelBuffer; null for any
    /// other image. Whoever holds it keeps its pixels from being reused.
    CVPixelBufferRef pixelBuffer() const;

    /// Limited to the intersection with `rect`; coordinates stay.
    CIImage croppedTo(const CGRect& rect) const;
    CIImage transformedBy(const CGAffineTransform& transform) const;
    /// This image over `background`.
    CIImage compositedOver(const CIImage& background) const;
    /// Gaussian blur; the extent grows by three sigmas on each side.
    CIImage blurredWithSigma(double sigma) const;
    /// Alpha becomes r·x + g·y + b·z + a·w of the straight colour; colour stays.
    CIImage withAlphaVector(const CIVector& alphaVector) const;
    /// This image where `mask` is bright, `background` where it is dark
    /// (the mask's luminance weighs the two).
    CIImage blendedWithMask(const CIImage& background, const CIImage& mask) const;

    const std::shared_ptr<const image_recipe::Node>& node() const { return node_; }

private:
    explicit CIImage(std::shared_ptr<const image_recipe::Node> node) : node_(std::move(node)) {}
    std::shared_ptr<const image_recipe::Node> node_;
};

} // namespace vantrel
