#include "ClickRipples.h"

#include "platform/image/CGBitmapContext.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

ClickRipples::ClickRipples(std::shared_ptr<CIFilter> sourceOverCompositingFilter)
    : sourceOverCompositingFilter_(std::move(sourceOverCompositingFilter)) {}

void ClickRipples::spawnRipple(CGPoint position) {
    if (activeRipples_.size() >= static_cast<size_t>(maxConcurrentRipples))
        activeRipples_.erase(activeRipples_.begin());
    activeRipples_.push_back(ClickRipple{position});
}

void ClickRipples::advanceRipples(double deltaTime) {
    for (ClickRipple& ripple : activeRipples_)
        ripple.elapsedTime += deltaTime;
    std::erase_if(activeRipples_,
                  [](const ClickRipple& ripple) { return !(ripple.elapsedTime < ripple.duration); });
}

CIImage ClickRipples::applyRipples(const CIImage& image, double deltaTime) {
    advanceRipples(deltaTime);
    if (activeRipples_.empty()) return image;

    CIImage composite = image;
    for (const ClickRipple& ripple : activeRipples_) {
        const auto drawn = renderRipple(ripple);
        if (!drawn) continue;
        if (!sourceOverCompositingFilter_) {
            composite = drawn->compositedOver(composite);
            continue;
        }
        CIFilter& filter = *sourceOverCompositingFilter_;
        filter.setValue(*drawn, kCIInputImageKey);
        filter.setValue(composite, kCIInputBackgroundImageKey);
        if (const auto output = filter.outputImage()) composite = *output;
        // The shared filter should not keep this frame's pictures alive.
        filter.setValue(CIImage(), kCIInputImageKey);
        filter.setValue(CIImage(), kCIInputBackgroundImageKey);
    }
    return composite;
}

std::optional<CIImage> ClickRipples::renderRipple(const ClickRipple& ripple) const {
    const CGFloat p = ripple.elapsedTime / ripple.duration;
    // Written so that a ripple past its life (NaN from a negative base) draws nothing.
    const CGFloat r = ripple.maxRadius * (1 - std::pow(1 - p, growthExponent));
    if (!(r > smallestRadius)) return std::nullopt;
    const CGFloat a = 1 - std::pow(p, fadeExponent);
    if (!(a > faintestAlpha)) return std::nullopt;

    const CGFloat e = ripple.maxRadius + glowMargin;
    const int side = static_cast<int>(2 * e);
    auto context = CGBitmapContextCreate(side, side);
    if (!context) return std::nullopt;
    CGContext& cg = *context;
    CGContextClearRect(cg, CGRect(0, 0, side, side));
    CGContextSetAllowsAntialiasing(cg, true);
    CGContextSetShouldAntialias(cg, true);

    const auto ring = [&](CGFloat alpha) { return ringColor.withAlphaComponent(alpha); };
    const CGRect ringRect(e - r, e - r, 2 * r, 2 * r);
    CGContextSetShadowWithColor(cg, {0, 0}, ringGlowBlur, ring(a * ringGlowAlpha));
    CGContextSetStrokeColorWithColor(cg, ring(a * ringAlpha));
    CGContextSetLineWidth(cg, ringLineWidth);
    CGContextStrokeEllipseInRect(cg, ringRect);
    CGContextSetShadowWithColor(cg, {0, 0}, 0, std::nullopt);

    CGContextSetFillColorWithColor(cg, ring(a * discAlpha));
    CGContextFillEllipseInRect(cg, ringRect);

    // The core shrinks to nothing by half the ripple's life.
    const CGFloat q = 1 - 2 * p;
    const CGFloat c = q * coreRadius;
    if (q >= 0 && c > smallestCoreRadius) {
        CGContextSetShadowWithColor(cg, {0, 0}, coreGlowBlur, ring(q * a * coreGlowAlpha));
        CGContextSetFillColorWithColor(cg, coreColor.withAlphaComponent(q * a * coreAlpha));
        CGContextFillEllipseInRect(cg, CGRect(e - c, e - c, 2 * c, 2 * c));
        CGContextSetShadowWithColor(cg, {0, 0}, 0, std::nullopt);
    }

    const auto bitmap = CGBitmapContextCreateImage(cg);
    if (!bitmap) return std::nullopt;
    return CIImage::fromCGImage(bitmap).transformedBy(
        CGAffineTransform::makeTranslation(ripple.position.x - e, ripple.position.y - e));
}

} // namespace vantrel
