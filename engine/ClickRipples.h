#pragma once
// Click ripples: each press of the left button shows as a ring that leaps out
// from the click point, slows and fades, with a bright core for its first
// moments. Drawn into the source image before the crop, so a ripple sits on
// the screen content and grows with the zoom. Nothing is cached: every ripple
// is drawn afresh on every frame into a small bitmap of its own.

#include "platform/image/CGColor.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"

#include <memory>
#include <optional>
#include <vector>

namespace vantrel {

/// One ripple under way. Its place is fixed at birth, in source space.
struct ClickRipple {
    CGPoint position;
    /// Seconds of age.
    CGFloat elapsedTime = 0.0;
    /// Seconds of life.
    CGFloat duration = 0.6;
    /// Final radius of the ring, in source units.
    CGFloat maxRadius = 50.0;
};

class ClickRipples {
public:
    /// `sourceOverCompositingFilter` is the engine's shared compositor; when
    /// null, ripples are laid over the frame without it.
    explicit ClickRipples(std::shared_ptr<CIFilter> sourceOverCompositingFilter);

    /// A new ripple at `position`; the oldest one makes room when the list is full.
    void spawnRipple(CGPoint position);

    /// Ages every ripple by `deltaTime` (unbounded: a long pause ends them all)
    /// and drops those whose life is over, keeping the order.
    void advanceRipples(double deltaTime);

    /// Advances the ripples, then lays each one still showing over `image`,
    /// newer over older. `image` itself when none is left.
    CIImage applyRipples(const CIImage& image, double deltaTime);

    /// The ripple as it looks at its age, placed in source space; absent when
    /// it shows nothing (too small, too faint) or no bitmap can be had.
    std::optional<CIImage> renderRipple(const ClickRipple& ripple) const;

    /// The ripples under way, oldest first.
    const std::vector<ClickRipple>& activeRipples() const { return activeRipples_; }

    const int maxConcurrentRipples = 5;
    const CGColor ringColor{0.38, 0.81, 1.0, 1.0};
    const CGColor coreColor{0.85, 0.97, 1.0, 1.0};
    /// Room around the largest ring for its glow.
    const CGFloat glowMargin = 20.0;
    /// The ring leaps out and slows: r = maxRadius · (1 - (1 - p)^growthExponent).
    const CGFloat growthExponent = 2.5;
    /// The fade starts slowly: a = 1 - p^fadeExponent.
    const CGFloat fadeExponent = 1.5;
    /// A ring no larger than this, or fainter than this, is not drawn.
    const CGFloat smallestRadius = 1.0;
    const CGFloat faintestAlpha = 0.01;
    const CGFloat ringGlowBlur = 8.0;
    const CGFloat ringGlowAlpha = 0.6;
    const CGFloat ringAlpha = 0.75;
    const CGFloat ringLineWidth = 2.0;
    const CGFloat discAlpha = 0.07;
    /// The core's radius at birth, shrinking to nothing at half the life.
    const CGFloat coreRadius = 7.0;
    const CGFloat smallestCoreRadius = 0.5;
    const CGFloat coreGlowBlur = 6.0;
    const CGFloat coreGlowAlpha = 0.8;
    const CGFloat coreAlpha = 0.9;

private:
    std::shared_ptr<CIFilter> sourceOverCompositingFilter_;
    std::vector<ClickRipple> activeRipples_;
};

} // namespace vantrel
