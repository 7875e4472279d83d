#include "VideoProcessor.h"

namespace vantrel {

namespace {

// The frame interval assumed before there is a previous frame to measure from.
constexpr double kFirstFrameDeltaTime = 1.0 / 60.0;

// One working colour space for every engine of the process, made on first use.
const CGColorSpaceRef& displayP3() {
    static const CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3);
    return space;
}

} // namespace

VideoProcessor::VideoProcessor(CGSize outputSize, std::shared_ptr<const WallClock> clock)
    : ciContext_(std::make_unique<CIContext>(CIContextOptions{false, displayP3()})),
      sourceOverCompositingFilter_(CIFilter::filterWithName("CISourceOverCompositing")),
      colorMatrixFilter_(CIFilter::filterWithName("CIColorMatrix")),
      blendWithMaskFilter_(CIFilter::filterWithName("CIBlendWithMask")), camera_(clock),
      ripples_(sourceOverCompositingFilter_), cursorTooltip_(colorMatrixFilter_),
      keystrokes_(outputSize, sourceOverCompositingFilter_, std::move(clock)),
      webcam_(outputSize, blendWithMaskFilter_), targetOutputSize_(outputSize) {}

CVPixelBufferRef VideoProcessor::process(const CMSampleBufferRef& sampleBuffer, const EventState& state,
                                         const AppSettingsSnapshot& settings,
                                         const std::optional<CIImage>& cameraFrame) {
    const CVPixelBufferRef imageBuffer = CMSampleBufferGetImageBuffer(sampleBuffer);
    if (!imageBuffer) return nullptr;

    CIImage image = CIImage::fromPixelBuffer(imageBuffer);
    const CGSize sourceSize = image.extent().size;
    const CMTime presentationTime = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);

    const double deltaTime = lastFrameTime_
                                 ? CMTimeGetSeconds(CMTimeSubtract(presentationTime, *lastFrameTime_))
                                 : kFirstFrameDeltaTime;
    lastFrameTime_ = presentationTime;

    const CGRect cropRect = updateCamera(state, settings, sourceSize, deltaTime);
    image = applyClickState(image, state, settings, sourceSize, deltaTime);
    if (settings.enableCursorFollowText)
        image = cursorTooltip_.applyCursorTooltip(image, state, sourceSize, deltaTime);

    // Into output space: the two scale factors are kept apart on purpose.
    const CGFloat scaleX = targetOutputSize_.width / cropRect.size.width;
    const CGFloat scaleY = targetOutputSize_.height / cropRect.size.height;
    image = image.croppedTo(cropRect)
                .transformedBy(CGAffineTransform::makeTranslation(-cropRect.origin.x, -cropRect.origin.y))
                .transformedBy(CGAffineTransform::makeScale(scaleX, scaleY));
    if (settings.showKeystrokes) image = keystrokes_.applyKeystrokeOverlay(image, state);
    // The engine draws the picture it is given; whether the webcam is on is
    // the caller's business.
    if (cameraFrame) image = webcam_.applyWebcam(image, *cameraFrame, settings);

    ensurePixelBufferPool(targetOutputSize_);
    if (!pixelBufferPool_) return nullptr;
    CVPixelBufferRef output = CVPixelBufferPoolCreatePixelBuffer(pixelBufferPool_);
    if (!output) return nullptr;
    ciContext_->render(image, *output, CGRect(0, 0, targetOutputSize_.width, targetOutputSize_.height),
                       displayP3());
    return output;
}

CGRect VideoProcessor::updateCamera(const EventState& state, const AppSettingsSnapshot& settings,
                                    CGSize sourceSize, double deltaTime) {
    return camera_.update(state, settings, sourceSize, deltaTime, wasMouseClickedLastFrame_);
}

CIImage VideoProcessor::applyClickState(const CIImage& image, const EventState& state,
                                        const AppSettingsSnapshot& settings, CGSize sourceSize,
                                        double deltaTime) {
    const bool wasClicked = wasMouseClickedLastFrame_;
    wasMouseClickedLastFrame_ = state.isMouseClicked;
    if (!settings.showMouseClicks) return image;

    // A pointer off the frame (on another display) spawns nothing, but the
    // ripples under way still age and the button state is still recorded, so
    // coming back with the button held spawns nothing either.
    const CGPoint mouse = state.mouseLocation;
    if (mouse.x < 0 || mouse.y < 0 || mouse.x > sourceSize.width || mouse.y > sourceSize.height) {
        ripples_.advanceRipples(deltaTime);
        return image;
    }
    if (state.isMouseClicked && !wasClicked) ripples_.spawnRipple(mouse);
    if (ripples_.activeRipples().empty()) return image;
    return ripples_.applyRipples(image, deltaTime);
}

void VideoProcessor::ensurePixelBufferPool(CGSize size) {
    if (pixelBufferPool_) return;
    // A failed creation leaves the field empty and is tried again next frame.
    pixelBufferPool_ = CVPixelBufferPoolCreate({minimumPoolBufferCount_, kCVPixelFormatType_32BGRA,
                                                static_cast<int>(size.width), static_cast<int>(size.height)});
}

void VideoProcessor::cleanup() {
    pixelBufferPool_.reset();
    webcam_.cleanup();
    keystrokes_.cleanup();
    cursorTooltip_.cleanup();
}

} // namespace vantrel
