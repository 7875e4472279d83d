#pragma once
// The label bubble beside a resting pointer: it shows a text only after the
// text has held for a moment, fades in and out, follows the pointer on a
// spring, flips side at the frame's edges, and is drawn once per text.
// Works in source space, before the crop, so it grows with the zoom.

#include "FrameInputs.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/core/UnfairLock.h"

#include <memory>
#include <optional>
#include <set>
#include <string>

namespace vantrel {

struct CursorTextCacheState {
    std::string cachedText;
    std::optional<CIImage> cachedImage;
};

class CursorTooltip {
public:
    /// `colorMatrixFilter` fades the bubble; without it the bubble is drawn unfaded.
    explicit CursorTooltip(std::shared_ptr<CIFilter> colorMatrixFilter);

    /// The frame with the bubble on it (or as it was, when nothing shows).
    /// `deltaTime` is the raw frame interval; more than 0.05 s counts as 0.05 s.
    CIImage applyCursorTooltip(const CIImage& image, const EventState& state, CGSize sourceSize,
                               double deltaTime);

    /// Empties the bubble cache (end of a recording).
    void cleanup();

    // Read-only views for tests and tools.
    const std::optional<std::string>& activeText() const { return activeTooltipText; }
    const std::optional<std::string>& hoveredText() const { return hoveredTooltipText; }
    CGFloat alpha() const { return currentTooltipAlpha; }
    const std::optional<CGPoint>& position() const { return currentTooltipPosition; }
    CursorTextCacheState cacheState() const;

    const double tooltipHoverIntentDelay = 0.2;
    const CGFloat tooltipFadeInSpeed = 10.0;
    const CGFloat tooltipFadeOutSpeed = 20.0;
    const CGFloat tooltipStiffness = 80.0;
    const CGFloat tooltipDamping = 14.0;
    /// Texts shorter than this say nothing worth a bubble.
    const size_t minimumTextLength = 3;
    const double stepBound = 0.05;
    /// Distance of the bubble from the pointer, in x and in y.
    const CGFloat pointerGap = 20.0;
    /// Below this the bubble counts as gone.
    const CGFloat hiddenAlpha = 0.01;
    /// From this on the bubble is drawn without fading.
    const CGFloat opaqueAlpha = 0.99;
    /// Bare role names that say nothing; compared in lower case.
    const std::set<std::string, std::less<>> tooltipBlacklist{"group", "window", "button", "unknown", "text",
                                                              "image", "menu",   "list",   "toolbar"};

private:
    bool isAccepted(const std::string& candidate) const;
    void updateHoverIntent(const std::string& candidate, bool accepted, double dt);
    std::optional<CIImage> bubbleImage(CGSize sourceSize);
    CGPoint place(CGSize bubble, CGPoint mouse, CGSize sourceSize, double dt);
    void forgetPosition();

    std::shared_ptr<CIFilter> colorMatrixFilter_;
    OSAllocatedUnfairLock<CursorTextCacheState> cursorTextCacheLock;
    std::optional<std::string> activeTooltipText;
    std::optional<std::string> hoveredTooltipText;
    double tooltipHoverTimer = 0;
    CGFloat currentTooltipAlpha = 0;
    std::optional<CGPoint> currentTooltipPosition;
    CGPoint tooltipVelocity{0, 0};
};

/// The bubble for `text` on a source of `sourceSize`: dark, rounded, white
/// text cut at the tail past a quarter of the width. Absent when no bitmap can be had.
std::optional<CIImage> drawTooltipBubble(const std::string& text, CGSize sourceSize);

} // namespace vantrel
