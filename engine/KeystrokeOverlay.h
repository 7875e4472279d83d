#pragma once
// The keys just pressed, as white text in a dark pill at the bottom centre of
// the output frame. Works in output space, after the crop, so the pill keeps
// its place and size whatever the camera does. It holds at full strength for
// a while after the press, then fades out; one drawing serves every frame of
// the hold, while the fade draws a new one on each frame (from the pill's
// parts, drawn once per text).

#include "FrameInputs.h"
#include "platform/image/AttributedText.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/core/UnfairLock.h"
#include "platform/core/WallClock.h"

#include <memory>
#include <optional>
#include <string>

namespace vantrel {

/// The pill last drawn: the text it shows and its picture, a bitmap of the
/// whole output frame (cut to the pill's rectangle, where all its ink lies).
struct OverlayCacheState {
    std::string cachedOverlayKeys;
    std::optional<CIImage> cachedOverlayImage;
};

class KeystrokeOverlay {
public:
    /// `sourceOverCompositingFilter` is the engine's shared compositor (without
    /// it no pill is shown); `clock` the wall clock that key stamps are written in.
    KeystrokeOverlay(CGSize targetOutputSize, std::shared_ptr<CIFilter> sourceOverCompositingFilter,
                     std::shared_ptr<const WallClock> clock);

    /// The frame with the pill for `state.activeKeys` on it, or the frame as it
    /// was when there is nothing to show or the pill cannot be drawn.
    CIImage applyKeystrokeOverlay(const CIImage& image, const EventState& state);

    /// Empties the cache (end of a recording).
    void cleanup();

    /// The text as the pill sets it, at the size it has on this output.
    NSAttributedString pillText(const std::string& text, CGFloat fade) const;

    // Read-only view for tests and tools.
    OverlayCacheState cacheState() const;

    const CGFloat fontShareOfHeight = 0.04;
    const NSFontWeight fontWeight = NSFontWeightBold;
    const CGFloat paddingInFonts = 0.6;
    const CGFloat cornerRadiusInFonts = 0.4;
    /// The pill's lower edge above the frame's, as a share of its height.
    const CGFloat bottomShareOfHeight = 0.08;
    const CGFloat fillAlpha = 0.7;
    const CGFloat outlineAlpha = 0.2;
    const CGFloat outlineWidth = 2.0;
    /// Seconds at full strength after the press, then seconds of linear fade.
    const double holdSeconds = 1.5;
    const double fadeSeconds = 1.0;

private:
    /// The parts of the pill for one text at full strength, each in a bitmap
    /// of the inked rectangle (output space): the fill, the outline, the text.
    struct PillParts {
        std::string text;
        CGRect inked;
        CGImageRef fill, outline, label;
    };

    /// A fresh drawing of the pill for `text`, faded as at this moment;
    /// absent when it has faded out or no bitmap can be had.
    std::optional<CIImage> drawPill(const std::string& text, double lastKeystrokeTime);
    /// The parts for `text`, drawn when the text differs from the last one;
    /// null when nothing of the pill lies on the frame or no bitmap can be had.
    const PillParts* pillParts(const std::string& text);

    const CGSize targetOutputSize_;
    std::shared_ptr<CIFilter> sourceOverCompositingFilter_;
    std::shared_ptr<const WallClock> clock_;
    OSAllocatedUnfairLock<OverlayCacheState> overlayCacheLock;
    // The parts of the last text drawn; touched by drawPill alone, on the frame queue.
    std::optional<PillParts> parts_;
};

} // namespace vantrel
