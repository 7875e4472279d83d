#include "KeystrokeOverlay.h"

#include "TextTrimming.h"
#include "platform/image/CGBitmapContext.h"

#include <algorithm>
#include <functional>

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

std::optional<CIImage> KeystrokeOverlay::drawPill(const std::string& text, double lastKeystrokeTime) {
    // The clock is read again here: the fade is that of the moment of drawing.
    const double elapsed = clock_->now() - lastKeystrokeTime;
    const CGFloat fade =
        elapsed < holdSeconds ? 1.0 : std::max(0.0, 1 - (elapsed - holdSeconds) / fadeSeconds);
    if (!(fade > 0)) return std::nullopt;
    const PillParts* parts = pillParts(text);
    if (!parts) return std::nullopt;

    // The fade changes the alpha of each part alone: laying the three parts
    // down at the fade's alpha gives, up to rounding, the pill drawn in faded
    // colours, at the cost of three copies instead of paths and text.
    const CGRect& inked = parts->inked;
    auto context = CGBitmapContextCreate(static_cast<int>(inked.width()), static_cast<int>(inked.height()));
    if (!context) return std::nullopt;
    CGContext& cg = *context;
    const CGRect whole(0, 0, inked.width(), inked.height());
    CGContextClearRect(cg, whole);
    CGContextSetAlpha(cg, fade);
    for (const CGImageRef& part : {parts->fill, parts->outline, parts->label})
        CGContextDrawImage(cg, whole, part);
    const auto bitmap = CGBitmapContextCreateImage(cg);
    if (!bitmap) return std::nullopt;
    return CIImage::fromCGImage(bitmap).transformedBy(
        CGAffineTransform::makeTranslation(inked.minX(), inked.minY()));
}

const KeystrokeOverlay::PillParts* KeystrokeOverlay::pillParts(const std::string& text) {
    if (parts_ && parts_->text == text) return &*parts_;
    parts_.reset();
    const CGFloat w = targetOutputSize_.width, h = targetOutputSize_.height;
    const NSAttributedString label = pillText(text, 1.0);
    const CGSize textSize = label.size();
    const CGFloat f = h * fontShareOfHeight;
    const CGFloat padding = f * paddingInFonts;
    const CGFloat radius = f * cornerRadiusInFonts;
    // A text wider than the frame makes a pill wider than the frame, cut on both sides.
    const CGRect pillRect((w - (textSize.width + 2 * padding)) * 0.5, h * bottomShareOfHeight,
                          textSize.width + 2 * padding, textSize.height + 2 * padding);
    // All ink lies within the pill and half the outline around it. The bitmaps
    // cover that (within the frame) and no more: drawing, clearing and
    // composing them cost what the pill covers, not the frame. They sit on
    // whole pixels of the frame, so every pixel is the one a frame-sized bitmap gets.
    const CGRect inked = pillRect.insetBy(-outlineWidth / 2, -outlineWidth / 2).integral().intersection(
        CGRect(0, 0, w, h));
    if (inked.isEmpty()) return nullptr;
    const CGRect local(pillRect.minX() - inked.minX(), pillRect.minY() - inked.minY(), pillRect.width(),
                       pillRect.height());
    const CGPath path = CGPathCreateWithRoundedRect(local, radius, radius);

    // Each part is drawn into a bitmap of its own by `draw`.
    auto part = [&](const std::function<void(CGContext&)>& draw) -> CGImageRef {
        auto context = CGBitmapContextCreate(static_cast<int>(inked.width()), static_cast<int>(inked.height()));
        if (!context) return nullptr;
        CGContextClearRect(*context, CGRect(0, 0, inked.width(), inked.height()));
        CGContextSetAllowsAntialiasing(*context, true);
        CGContextSetShouldAntialias(*context, true);
        draw(*context);
        return CGBitmapContextCreateImage(*context);
    };
    PillParts drawn{text, inked, nullptr, nullptr, nullptr};
    drawn.fill = part([&](CGContext& cg) {
        CGContextAddPath(cg, path);
        CGContextSetFillColorWithColor(cg, NSColor::blackColor().withAlphaComponent(fillAlpha));
        CGContextFillPath(cg);
    });
    drawn.outline = part([&](CGContext& cg) {
        CGContextAddPath(cg, path);
        CGContextSetStrokeColorWithColor(cg, NSColor::whiteColor().withAlphaComponent(outlineAlpha));
        CGContextSetLineWidth(cg, outlineWidth);
        CGContextStrokePath(cg);
    });
    drawn.label = part([&](CGContext& cg) {
        label.drawInRect(cg, CGRect(local.minX() + (local.width() - textSize.width) * 0.5,
                                    local.minY() + (local.height() - textSize.height) * 0.5, textSize.width,
                                    textSize.height));
    });
    if (!drawn.fill || !drawn.outline || !drawn.label) return nullptr;
    parts_ = std::move(drawn);
    return &*parts_;
}

void KeystrokeOverlay::cleanup() {
    parts_.reset();
    overlayCacheLock.withLock([](OverlayCacheState& cache) {
        cache.cachedOverlayKeys.clear();
        cache.cachedOverlayImage.reset();
    });
}

OverlayCacheState KeystrokeOverlay::cacheState() const {
    return overlayCacheLock.withLock([](const OverlayCacheState& cache) { return cache; });
}

} // namespace vantrel
