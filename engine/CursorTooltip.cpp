#include "CursorTooltip.h"

#include "TextTrimming.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

CursorTooltip::CursorTooltip(std::shared_ptr<CIFilter> colorMatrixFilter)
    : colorMatrixFilter_(std::move(colorMatrixFilter)) {}

CIImage CursorTooltip::applyCursorTooltip(const CIImage& image, const EventState& state, CGSize sourceSize,
                                          double deltaTime) {
    const double dt = std::min(deltaTime, stepBound);
    const std::string candidate = trimmingWhitespacesAndNewlines(state.cursorFollowText.value_or(""));
    updateHoverIntent(candidate, isAccepted(candidate), dt);

    const CGFloat aim = activeTooltipText ? 1.0 : 0.0;
    const CGFloat rate = currentTooltipAlpha < aim ? tooltipFadeInSpeed : tooltipFadeOutSpeed;
    currentTooltipAlpha += (aim - currentTooltipAlpha) * (1 - std::exp(-rate * dt));

    if (currentTooltipAlpha < hiddenAlpha && !activeTooltipText) {
        cleanup();
        forgetPosition();
        return image;
    }

    const auto bubble = bubbleImage(sourceSize);
    if (!bubble) return image;

    const CGPoint at = place(bubble->extent().size, state.mouseLocation, sourceSize, dt);
    CIImage placed = bubble->transformedBy(CGAffineTransform::makeTranslation(at.x, at.y));
    if (currentTooltipAlpha < opaqueAlpha && colorMatrixFilter_) {
        colorMatrixFilter_->setValue(placed, kCIInputImageKey);
        colorMatrixFilter_->setValue(CIVector{0, 0, 0, currentTooltipAlpha}, kCIInputAVectorKey);
        if (auto faded = colorMatrixFilter_->outputImage()) placed = *faded;
    }
    return placed.croppedTo(image.extent()).compositedOver(image);
}

bool CursorTooltip::isAccepted(const std::string& candidate) const {
    return characterCount(candidate) >= minimumTextLength &&
           !tooltipBlacklist.contains(asciiLowercased(candidate));
}

void CursorTooltip::updateHoverIntent(const std::string& candidate, bool accepted, double dt) {
    if (accepted && hoveredTooltipText == candidate) {
        tooltipHoverTimer += dt;
        if (tooltipHoverTimer >= tooltipHoverIntentDelay) activeTooltipText = candidate;
    } else if (accepted) {
        // A new text starts timing; the old label goes on showing meanwhile.
        hoveredTooltipText = candidate;
        tooltipHoverTimer = 0;
        forgetPosition();
    } else if (hoveredTooltipText) {
        hoveredTooltipText.reset();
        activeTooltipText.reset();
        tooltipHoverTimer = 0;
        forgetPosition();
    } else {
        activeTooltipText.reset();
        tooltipHoverTimer = 0;
    }
}

std::optional<CIImage> CursorTooltip::bubbleImage(CGSize sourceSize) {
    if (activeTooltipText && !activeTooltipText->empty()) {
        const std::string& text = *activeTooltipText;
        auto cached = cursorTextCacheLock.withLock([&](const CursorTextCacheState& cache) {
            return cache.cachedText == text ? cache.cachedImage : std::nullopt;
        });
        if (cached) return cached;
        // Drawn outside the lock; only the hand-over is guarded.
        auto drawn = drawTooltipBubble(text, sourceSize);
        if (!drawn) return std::nullopt;
        cursorTextCacheLock.withLock([&](CursorTextCacheState& cache) {
            cache.cachedText = text;
            cache.cachedImage = drawn;
        });
        return drawn;
    }
    // Fading out: the last bubble goes on being drawn.
    return cursorTextCacheLock.withLock([](const CursorTextCacheState& cache) { return cache.cachedImage; });
}

CGPoint CursorTooltip::place(CGSize bubble, CGPoint mouse, CGSize sourceSize, double dt) {
    CGPoint aim{mouse.x + pointerGap, mouse.y - pointerGap - bubble.height};
    if (mouse.x + pointerGap + bubble.width > sourceSize.width) aim.x = mouse.x - pointerGap - bubble.width;
    if (aim.y < 0) aim.y = mouse.y + pointerGap;

    CGPoint position = currentTooltipPosition.value_or(aim);
    tooltipVelocity.x += ((aim.x - position.x) * tooltipStiffness - tooltipVelocity.x * tooltipDamping) * dt;
    tooltipVelocity.y += ((aim.y - position.y) * tooltipStiffness - tooltipVelocity.y * tooltipDamping) * dt;
    position.x += tooltipVelocity.x * dt;
    position.y += tooltipVelocity.y * dt;
    currentTooltipPosition = position;
    return position;
}

void CursorTooltip::forgetPosition() {
    currentTooltipPosition.reset();
    tooltipVelocity = {0, 0};
}

void CursorTooltip::cleanup() {
    cursorTextCacheLock.withLock([](CursorTextCacheState& cache) {
        cache.cachedText.clear();
        cache.cachedImage.reset();
    });
}

CursorTextCacheState CursorTooltip::cacheState() const {
    return cursorTextCacheLock.withLock([](const CursorTextCacheState& cache) { return cache; });
}

} // namespace vantrel
