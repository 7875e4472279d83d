#include "WebcamOverlay.h"

#include "platform/image/CGBitmapContext.h"
#include "platform/image/CIContext.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

namespace {
// A camera extent thinner than this would divide by nearly nothing.
constexpr CGFloat kSmallestDivisor = 1.0;
} // namespace

WebcamOverlay::WebcamOverlay(CGSize targetOutputSize, std::shared_ptr<CIFilter> blendWithMaskFilter)
    : targetOutputSize_(targetOutputSize), blendWithMaskFilter_(std::move(blendWithMaskFilter)) {}

CGSize WebcamOverlay::pictureSize(const CGRect& frameExtent) const {
    const CGFloat fw = std::max(frameExtent.size.width, kSmallestDivisor);
    const CGFloat fh = frameExtent.size.height;
    const CGFloat pw = std::floor(targetOutputSize_.width / widthDivisor);
    const CGFloat ph = std::floor(pw * (fh / fw));
    return {pw, ph};
}

CGRect WebcamOverlay::pictureRect(const CGRect& frameExtent, WebcamPosition position) const {
    const CGSize picture = pictureSize(frameExtent);
    const CGFloat w = targetOutputSize_.width, h = targetOutputSize_.height;
    const bool left = position == WebcamPosition::topLeft || position == WebcamPosition::bottomLeft;
    const bool top = position == WebcamPosition::topLeft || position == WebcamPosition::topRight;
    const CGFloat x = left ? edgeMargin : w - picture.width - edgeMargin;
    const CGFloat y = top ? h - picture.height - edgeMargin : edgeMargin;
    return {CGPoint{x, y}, picture};
}

CIImage WebcamOverlay::applyWebcam(const CIImage& image, const CIImage& cameraFrame,
                                   const AppSettingsSnapshot& settings) {
    const auto picture = keptPictureOnShadow(cameraFrame);
    if (!picture) return image;
    const CGPoint at = pictureRect(cameraFrame.extent(), settings.webcamPosition).origin;
    return picture->transformedBy(CGAffineTransform::makeTranslation(at.x, at.y)).compositedOver(image);
}

std::optional<CIImage> WebcamOverlay::keptPictureOnShadow(const CIImage& cameraFrame) {
    // The camera delivers a picture for every other frame of the screen or
    // fewer: each picture is scaled, rounded and laid on its shadow once, and
    // the pixels serve every frame it is shown on. The recorder wraps the
    // camera's buffer anew for each frame, so the buffer is the key.
    const CVPixelBufferRef pixels = cameraFrame.pixelBuffer();
    const std::shared_ptr<const void> source =
        pixels ? std::shared_ptr<const void>(pixels) : std::shared_ptr<const void>(cameraFrame.node());
    if (cachedPicture_ && cachedPictureSource_ == source) return cachedPicture_;
    forgetPicture(); // its buffer goes back to the pool, for this picture

    const auto drawn = pictureOnShadow(cameraFrame);
    if (!drawn) return std::nullopt;
    const CGRect bounds = drawn->extent();
    const int width = static_cast<int>(bounds.width()), height = static_cast<int>(bounds.height());
    if (!picturePool_ || picturePool_->attributes().width != width || picturePool_->attributes().height != height)
        picturePool_ = CVPixelBufferPoolCreate({1, kCVPixelFormatType_32BGRA, width, height});
    const CVPixelBufferRef buffer = CVPixelBufferPoolCreatePixelBuffer(picturePool_);
    if (!buffer) return drawn; // drawn straight into this frame instead
    pictureContext_.render(*drawn, *buffer, bounds);
    cachedPicture_ = CIImage::fromPixelBuffer(buffer).transformedBy(
        CGAffineTransform::makeTranslation(bounds.minX(), bounds.minY()));
    cachedPictureSource_ = source;
    return cachedPicture_;
}

std::optional<CIImage> WebcamOverlay::pictureOnShadow(const CIImage& cameraFrame) {
    const CGRect extent = cameraFrame.extent();
    const CGSize picture = pictureSize(extent);
    const CGFloat fw = std::max(extent.size.width, kSmallestDivisor);
    const CGFloat fh = std::max(extent.size.height, kSmallestDivisor);
    const CGRect pictureBounds{0, 0, picture.width, picture.height};

    const CIImage scaled =
        cameraFrame.transformedBy(CGAffineTransform::makeTranslation(-extent.origin.x, -extent.origin.y))
            .transformedBy(CGAffineTransform::makeScale(picture.width / fw, picture.height / fh))
            .croppedTo(pictureBounds);
    const CIImage mask = roundedMask(picture);
    if (!blendWithMaskFilter_) return std::nullopt;

    const CIImage clear = CIImage::fromColor(CIColor::clearColor()).croppedTo(pictureBounds);
    blendWithMaskFilter_->setValue(scaled, kCIInputImageKey);
    blendWithMaskFilter_->setValue(clear, kCIInputBackgroundImageKey);
    blendWithMaskFilter_->setValue(mask, kCIInputMaskImageKey);
    const auto rounded = blendWithMaskFilter_->outputImage();
    if (!rounded) return std::nullopt;

    const auto shadow = shadowImage(mask, rounded->extent());
    if (!shadow) return std::nullopt;
    return rounded->compositedOver(*shadow);
}

std::optional<CIImage> WebcamOverlay::shadowImage(const CIImage& mask, const CGRect& roundedExtent) {
    // The shadow depends on the picture's size alone: it is blurred once and
    // kept as pixels, which saves the blur on every frame. It lies on whole
    // pixels, so the kept pixels are exactly those a fresh blur would give.
    if (cachedShadow_ && cachedShadowMask_ == mask.node() && cachedShadowExtent_ == roundedExtent)
        return cachedShadow_;
    const CIImage plate = CIImage::fromColor(shadowColor).croppedTo(roundedExtent);
    const auto shadowFilter = CIFilter::filterWithName("CIBlendWithMask");
    if (!shadowFilter) return std::nullopt;
    shadowFilter->setValue(plate, kCIInputImageKey);
    shadowFilter->setValue(CIImage::fromColor(CIColor::clearColor()).croppedTo(roundedExtent),
                           kCIInputBackgroundImageKey);
    shadowFilter->setValue(mask, kCIInputMaskImageKey);
    const auto shadowShape = shadowFilter->outputImage();
    if (!shadowShape) return std::nullopt;
    const CIImage shadow =
        shadowShape->blurredWithSigma(shadowSigma)
            .croppedTo(roundedExtent.insetBy(-shadowMargin, -shadowMargin))
            .transformedBy(CGAffineTransform::makeTranslation(shadowOffset.x, shadowOffset.y));
    const CGRect bounds = shadow.extent();
    const auto pixels = pictureContext_.createPixelBuffer(shadow, bounds);
    if (!pixels) return shadow;
    cachedShadow_ = CIImage::fromPixelBuffer(pixels).transformedBy(
        CGAffineTransform::makeTranslation(bounds.minX(), bounds.minY()));
    cachedShadowExtent_ = roundedExtent;
    cachedShadowMask_ = mask.node();
    return cachedShadow_;
}

CIImage WebcamOverlay::roundedMask(CGSize size) {
    if (cachedMaskSize_ == size && cachedRoundedMask_) return *cachedRoundedMask_;
    const CIImage fallback =
        CIImage::fromColor(CIColor::whiteColor()).croppedTo(CGRect(0, 0, size.width, size.height));
    auto context = CGBitmapContextCreate(static_cast<int>(size.width), static_cast<int>(size.height));
    if (!context) return fallback;
    CGContextSetFillColorWithColor(*context, CGColorCreateGenericRGB(0, 0, 0, 1));
    CGContextFillRect(*context, CGRect(0, 0, size.width, size.height));
    CGContextAddPath(*context, CGPathCreateWithRoundedRect(CGRect(0, 0, size.width, size.height),
                                                           cornerRadius, cornerRadius));
    CGContextSetFillColorWithColor(*context, CGColorCreateGenericRGB(1, 1, 1, 1));
    CGContextFillPath(*context);
    const auto bitmap = CGBitmapContextCreateImage(*context);
    if (!bitmap) return fallback;
    cachedRoundedMask_ = CIImage::fromCGImage(bitmap);
    cachedMaskSize_ = size;
    return *cachedRoundedMask_;
}

} // namespace vantrel
