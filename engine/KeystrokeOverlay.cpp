#include "KeystrokeOverlay.h"

#include "TextTrimming.h"
#include "platform/image/CGBitmapContext.h"

#include <algorithm>

namespace vantrel {

KeystrokeOverlay::KeystrokeOverlay(CGSize targetOutputSize,
                                   std::shared_ptr<CIFilter> sourceOverCompositingFilter,
                                   std::shared_ptr<const WallClock> clock)
    : targetOutputSize_(targetOutputSize),
      sourceOverCompositingFilter_(std::move(sourceOverCompositingFilter)), clock_(std::move(clock)) {}

CIImage KeystrokeOverlay::applyKeystrokeOverlay(const CIImage& image, const EventState& state) {
    const std::string text = trimmingWhitespaces(state.activeKeys);
    if (text.empty()) {
        cleanup();
        return image;
    }

    // During the hold one drawing serves every frame; the fade is never read
    // from the cache, so each of its frames draws the pill anew.
    const double elapsed = clock_->now() - state.lastKeystrokeTime;
    std::optional<CIImage> pill = overlayCacheLock.withLock([&](const OverlayCacheState& cache) {
        return elapsed < holdSeconds && cache.cachedOverlayKeys == text ? cache.cachedOverlayImage
                                                                        : std::nullopt;
    });
    if (!pill) {
        pill = drawPill(text, state.lastKeystrokeTime);
        if (!pill) return image;
        overlayCacheLock.withLock([&](OverlayCacheState& cache) {
            cache.cachedOverlayKeys = text;
            cache.cachedOverlayImage = pill;
        });
    }

    if (!sourceOverCompositingFilter_) return image;
    CIFilter& filter = *sourceOverCompositingFilter_;
    filter.setValue(*pill, kCIInputImageKey);
    filter.setValue(image, kCIInputBackgroundImageKey);
    const auto output = filter.outputImage();
    // The shared filter should not keep this frame's pictures alive.
    filter.setValue(CIImage(), kCIInputImageKey);
    filter.setValue(CIImage(), kCIInputBackgroundImageKey);
    return output.value_or(image);
}

NSAttributedString KeystrokeOverlay::pillText(const std::string& text, CGFloat fade) const {
    NSMutableParagraphStyle paragraph;
    paragraph.alignment = NSTextAlignment::center;
    const CGFloat f = targetOutputSize_.height * fontShareOfHeight;
    return NSAttributedString(text, {NSFont::systemFontOfSize(f, fontWeight),
                                     NSColor::whiteColor().withAlphaComponent(fade), paragraph});
}

std::optional<CIImage> KeystrokeOverlay::drawPill(const std::string& text, double lastKeystrokeTime) const {
    const CGFloat w = targetOutputSize_.width, h = targetOutputSize_.height;
    // The clock is read again here: the fade is that of the moment of drawing.
    const double elapsed = clock_->now() - lastKeystrokeTime;
    const CGFloat fade =
        elapsed < holdSeconds ? 1.0 : std::max(0.0, 1 - (elapsed - holdSeconds) / fadeSeconds);
    if (!(fade > 0)) return std::nullopt;

    const NSAttributedString label = pillText(text, fade);
    // The fade changes the colour only: the text is measured once per text.
    if (measuredText_ != text) {
        measuredSize_ = label.size();
        measuredText_ = text;
    }
    const CGSize textSize = measuredSize_;
    const CGFloat f = h * fontShareOfHeight;
    const CGFloat padding = f * paddingInFonts;
    const CGFloat radius = f * cornerRadiusInFonts;
    // A text wider than the frame makes a pill wider than the frame, cut on both sides.
    const CGRect pillRect((w - (textSize.width + 2 * padding)) * 0.5, h * bottomShareOfHeight,
                          textSize.width + 2 * padding, textSize.height + 2 * padding);
    // All ink lies within the pill and half the outline around it. The bitmap
    // covers that (within the frame) and no more: drawing, clearing and
    // composing it cost what the pill covers, not the frame. It sits on whole
    // pixels of the frame, so every pixel is the one a frame-sized bitmap gets.
    const CGRect inked = pillRect.insetBy(-outlineWidth / 2, -outlineWidth / 2).integral().intersection(
        CGRect(0, 0, w, h));
    if (inked.isEmpty()) return std::nullopt;
    auto context = CGBitmapContextCreate(static_cast<int>(inked.width()), static_cast<int>(inked.height()));
    if (!context) return std::nullopt;
    CGContext& cg = *context;
    CGContextClearRect(cg, CGRect(0, 0, inked.width(), inked.height()));
    CGContextSetAllowsAntialiasing(cg, true);
    CGContextSetShouldAntialias(cg, true);

    const CGRect local(pillRect.minX() - inked.minX(), pillRect.minY() - inked.minY(), pillRect.width(),
                       pillRect.height());
    const CGPath path = CGPathCreateWithRoundedRect(local, radius, radius);
    CGContextAddPath(cg, path);
    CGContextSetFillColorWithColor(cg, NSColor::blackColor().withAlphaComponent(fade * fillAlpha));
    CGContextFillPath(cg);
    CGContextAddPath(cg, path);
    CGContextSetStrokeColorWithColor(cg, NSColor::whiteColor().withAlphaComponent(fade * outlineAlpha));
    CGContextSetLineWidth(cg, outlineWidth);
    CGContextStrokePath(cg);

    label.drawInRect(cg, CGRect(local.minX() + (local.width() - textSize.width) * 0.5,
                                local.minY() + (local.height() - textSize.height) * 0.5, textSize.width,
                                textSize.height));

    const auto bitmap = CGBitmapContextCreateImage(cg);
    if (!bitmap) return std::nullopt;
    return CIImage::fromCGImage(bitmap).transformedBy(
        CGAffineTransform::makeTranslation(inked.minX(), inked.minY()));
}

void KeystrokeOverlay::cleanup() {
    overlayCacheLock.withLock([](OverlayCacheState& cache) {
        cache.cachedOverlayKeys.clear();
        cache.cachedOverlayImage.reset();
    });
}

OverlayCacheState KeystrokeOverlay::cacheState() const {
    return overlayCacheLock.withLock([](const OverlayCacheState& cache) { return cache; });
}

} // namespace vantrel
