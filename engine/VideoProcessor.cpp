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
      blendWithMaskFilter_(CIFilter::filterWithName("CIBlendWithMask")), camera_(std::move(clock)),
      cursorTooltip_(colorMatrixFilter_), webcam_(outputSize, blendWithMaskFilter_),
      targetOutputSize_(outputSize) {}

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
                                        const AppSettingsSnapshot& settings, CGSize sourceSize, double) {
    (void)settings;
    (void)sourceSize;
    wasMouseClickedLastFrame_ = state.isMouseClicked;
    return image;
}

void VideoProcessor::ensurePixelBufferPool(CGSize size) {
    if (pixelBufferPool_) return;
    // A failed creation leaves the field empty and is tried again next frame.
    pixelBufferPool_ = CVPixelBufferPoolCreate({minimumPoolBufferCount_, kCVPixelFormatType_32BGRA,
                                                static_cast<int>(size.width), static_cast<int>(size.height)});
}

void VideoProcessor::cleanup() {
    pixelBufferPool_.reset();
}

} // namespace vantrel
