#include "platform/camera/CaptureSession.h"

#include "platform/core/CMTime.h"

namespace vantrel {

std::shared_ptr<AVCaptureDeviceInput> AVCaptureDeviceInput::initWithDevice(const AVCaptureDevice& device,
                                                                           NSError* error) {
    std::string reason;
    auto stream = CameraStream::open(device, reason);
    if (!stream) {
        if (error) error->localizedDescription = reason;
        return nullptr;
    }
    return std::make_shared<AVCaptureDeviceInput>(device, std::move(stream));
}

AVCaptureDeviceInput::AVCaptureDeviceInput(AVCaptureDevice device, std::unique_ptr<CameraStream> stream)
    : device_(std::move(device)), stream_(std::move(stream)) {}

void AVCaptureVideoDataOutput::setSampleBufferDelegate(Delegate delegate, DispatchQueue* queue) {
    delegate_ = std::move(delegate);
    queue_ = queue;
}

std::shared_ptr<AVCaptureConnection>
AVCaptureVideoDataOutput::connectionWithMediaType(AVMediaType mediaType) const {
    return mediaType == AVMediaType::video ? connection_ : nullptr;
}

AVCaptureSession::AVCaptureSession(AVCaptureSessionPreset preset) : preset_(preset) {}

AVCaptureSession::~AVCaptureSession() {
    stopRunning();
}

bool AVCaptureSession::canAddInput(const AVCaptureDeviceInput& input) const {
    return !input_ && chooseCameraFormat(input.stream().supportedFormats(), kMediumWidth, kMediumHeight);
}

void AVCaptureSession::addInput(std::shared_ptr<AVCaptureDeviceInput> input) {
    input_ = std::move(input);
    if (output_ && !output_->connection_) output_->connection_ = std::make_shared<AVCaptureConnection>();
}

bool AVCaptureSession::canAddOutput(const AVCaptureVideoDataOutput& output) const {
    return !output_ && output.videoSettingsPixelFormatType == kCVPixelFormatType_32BGRA;
}

void AVCaptureSession::addOutput(std::shared_ptr<AVCaptureVideoDataOutput> output) {
    output_ = std::move(output);
    if (input_ && !output_->connection_) output_->connection_ = std::make_shared<AVCaptureConnection>();
}

CameraFormat AVCaptureSession::activeFormat() const {
    std::lock_guard guard(sinksMutex_);
    return activeFormat_;
}

void AVCaptureSession::startRunning() {
    if (running_.load() || !input_ || !output_) return;
    auto& stream = input_->stream();
    std::string error;
    const auto format = chooseCameraFormat(stream.supportedFormats(), kMediumWidth, kMediumHeight);
    if (!format || !stream.configure(*format, kMaxFramesPerSecond, error) || !stream.start(error)) {
        post(AVCaptureSessionRuntimeErrorNotification, error.empty() ? "No usable camera format" : error);
        return;
    }
    const auto active = stream.format();
    {
        std::lock_guard guard(sinksMutex_);
        activeFormat_ = active;
    }
    pool_ = CVPixelBufferPoolCreate({0, kCVPixelFormatType_32BGRA, active.width, active.height});
    stopRequested_.store(false);
    running_.store(true);
    reader_ = std::thread([this] { read(); });
}

void AVCaptureSession::stopRunning() {
    stopRequested_.store(true);
    if (input_) input_->stream().wake();
    if (reader_.joinable()) reader_.join();
    if (input_) input_->stream().stop();
    running_.store(false);
}

int AVCaptureSession::addPreviewSink(PreviewSink sink) {
    std::lock_guard guard(sinksMutex_);
    previewSinks_.emplace_back(nextSinkToken_, std::move(sink));
    return nextSinkToken_++;
}

void AVCaptureSession::removePreviewSink(int token) {
    std::lock_guard guard(sinksMutex_);
    std::erase_if(previewSinks_, [token](const auto& entry) { return entry.first == token; });
}

void AVCaptureSession::read() {
    auto& stream = input_->stream();
    while (!stopRequested_.load()) {
        const auto result =
            stream.waitForFrame(kReadTimeoutMs, [this](const CameraFrame& frame) { deliver(frame); });
        if (result.status == CameraReadStatus::disconnected) {
            post(AVCaptureSessionWasInterruptedNotification);
            break;
        }
        if (result.status == CameraReadStatus::failed) {
            post(AVCaptureSessionRuntimeErrorNotification, result.error);
            break;
        }
    }
    // A camera that failed has stopped the session on its own.
    running_.store(false);
}

void AVCaptureSession::deliver(const CameraFrame& frame) {
    if (output_->alwaysDiscardsLateVideoFrames && deliveryPending_->load()) return;
    auto picture = CVPixelBufferPoolCreatePixelBuffer(pool_);
    if (!picture) return;
    std::string error;
    const bool mirrored = output_->connection_ && output_->connection_->isVideoMirrored();
    // A damaged frame is skipped; the next one may be fine.
    if (!converter_.convert(frame, mirrored, *picture, error)) return;

    // The sinks run outside the lock: they take locks of their own.
    std::vector<std::pair<int, PreviewSink>> sinks;
    {
        std::lock_guard guard(sinksMutex_);
        sinks = previewSinks_;
    }
    for (const auto& [token, sink] : sinks)
        sink(picture, mirrored);
    if (!output_->delegate_ || !output_->queue_) return;
    auto sample = CMSampleBuffer::makeVideo(std::move(picture), CMClockGetHostTime());
    deliveryPending_->store(true);
    output_->queue_->async(
        [delegate = output_->delegate_, sample = std::move(sample), pending = deliveryPending_] {
            delegate(sample);
            pending->store(false);
        });
}

void AVCaptureSession::post(const std::string& name, const std::string& error) {
    NSNotification notification{name, this, {}};
    if (!error.empty()) notification.userInfo[AVCaptureSessionErrorKey] = error;
    NSNotificationCenter::defaultCenter().postNotification(std::move(notification));
}

} // namespace vantrel
