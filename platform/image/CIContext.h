#pragma once
// Renders an image recipe into a pixel buffer in one pass: the bottom picture
// is cropped and scaled straight into the destination (bilinear), and the
// images above it are blended over their own rectangles only. No full-size
// intermediate is made and nothing is read back. Pixels are written as they
// are: the colour space is a tag for whoever encodes them.

#include <memory>
#include <vector>

#include "platform/image/CIImage.h"

namespace vantrel {

enum class CGColorSpaceName { displayP3, sRGB, deviceRGB };

class CGColorSpace {
public:
    explicit CGColorSpace(CGColorSpaceName name) : name_(name) {}
    CGColorSpaceName name() const { return name_; }

private:
    CGColorSpaceName name_;
};
using CGColorSpaceRef = std::shared_ptr<const CGColorSpace>;

inline constexpr CGColorSpaceName kCGColorSpaceDisplayP3 = CGColorSpaceName::displayP3;
inline constexpr CGColorSpaceName kCGColorSpaceSRGB = CGColorSpaceName::sRGB;
CGColorSpaceRef CGColorSpaceCreateWithName(CGColorSpaceName name);
CGColorSpaceRef CGColorSpaceCreateDeviceRGB();

struct CIContextOptions {
    bool cacheIntermediates = true;
    CGColorSpaceRef workingColorSpace;
};

class CIContext {
public:
    explicit CIContext(CIContextOptions options = {});
    ~CIContext();
    CIContext(const CIContext&) = delete;
    CIContext& operator=(const CIContext&) = delete;

    /// Writes every pixel of `bounds` (in image space) into `buffer`, bounds'
    /// lower-left corner on the buffer's lower-left pixel, one unit one pixel;
    /// what the image does not cover becomes transparent. Pixels outside the
    /// bounds are left alone. Not thread-safe: one context per thread.
    void render(const CIImage& image, CVPixelBuffer& buffer, const CGRect& bounds,
                const CGColorSpaceRef& colorSpace = nullptr);

    /// Renders into a new buffer of the extent's size (tools and tests).
    CVPixelBufferRef createPixelBuffer(const CIImage& image, const CGRect& bounds);

    const CIContextOptions& options() const { return options_; }

private:
    class Renderer;
    CIContextOptions options_;
    std::unique_ptr<Renderer> renderer_;
};

} // namespace vantrel
