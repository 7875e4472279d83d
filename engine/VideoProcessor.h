#pragma once
// Turns one captured screen frame into one output frame: the virtual camera
// decides what part of the screen is seen, overlays are burned in, and the
// result is rendered once into a pixel buffer of the output size.
//
// Lives on the frame queue: process() and cleanup() are called from one
// serial queue only, which is why the fields are unguarded.

#include "ClickRipples.h"
#include "CursorTooltip.h"
#include "FrameInputs.h"
#include "KeystrokeOverlay.h"
#include "VirtualCamera.h"
#include "WebcamOverlay.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/core/CMTime.h"
#include "platform/core/PixelBuffer.h"
#include "platform/core/SampleBuffer.h"
#include "platform/core/WallClock.h"

#include <memory>
#include <optional>

namespace vantrel {

class VideoProcessor {
public:
    /// `outputSize` is the size of every output frame; `clock` the wall clock
    /// input stamps are compared with (replays drive their own).
    explicit VideoProcessor(CGSize outputSize, std::shared_ptr<const WallClock> clock = WallClock::system());

    /// The finished frame in a new buffer from the pool, owned by the caller;
    /// null when this sample yields no frame. Never throws, never logs.
    CVPixelBufferRef process(const CMSampleBufferRef& sampleBuffer, const EventState& state,
                             const AppSettingsSnapshot& settings, const std::optional<CIImage>& cameraFrame);

    /// Drops the pool and the cached overlay images; called once at teardown.
    void cleanup();

    /// The crop rectangle (source space) and zoom of the last frame: the
    /// camera path written beside a recording.
    CGRect lastCropRect() const { return camera_.lastCropRect(); }
    CGFloat lastEffectiveZoom() const { return camera_.effectiveZoom(); }
    const ClickRipples& ripples() const { return ripples_; }
    const KeystrokeOverlay& keystrokeOverlay() const { return keystrokes_; }
    CGSize targetOutputSize() const { return targetOutputSize_; }

private:
    CGRect updateCamera(const EventState& state, const AppSettingsSnapshot& settings, CGSize sourceSize,
                        double deltaTime);
    /// Step 6 of a frame: ripples are born on the press edge with the pointer
    /// on the frame, drawn while any is under way, and the button state is
    /// remembered for the next frame.
    CIImage applyClickState(const CIImage& image, const EventState& state,
                            const AppSettingsSnapshot& settings, CGSize sourceSize, double deltaTime);
    void ensurePixelBufferPool(CGSize size);

    std::unique_ptr<CIContext> ciContext_;
    CVPixelBufferPoolRef pixelBufferPool_;
    std::shared_ptr<CIFilter> sourceOverCompositingFilter_;
    std::shared_ptr<CIFilter> colorMatrixFilter_;
    std::shared_ptr<CIFilter> blendWithMaskFilter_;
    std::optional<CMTime> lastFrameTime_;
    VirtualCamera camera_;
    ClickRipples ripples_;
    CursorTooltip cursorTooltip_;
    KeystrokeOverlay keystrokes_;
    WebcamOverlay webcam_;
    bool wasMouseClickedLastFrame_ = false;
    const CGSize targetOutputSize_;
    const int minimumPoolBufferCount_ = 3;
};

} // namespace vantrel
