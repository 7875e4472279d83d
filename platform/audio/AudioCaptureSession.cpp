#include "platform/audio/AudioCaptureSession.h"

#include "platform/runtime/NotificationCenter.h"
#include "platform/audio/PulseServerQuery.h"

namespace vantrel {

namespace {

std::mutex factoryMutex;
AVCaptureAudioSession::SourceFactory& installedFactory() {
    static AVCaptureAudioSession::SourceFactory factory;
    return factory;
}

std::unique_ptr<AudioSampleSource> openSource(const AVCaptureDevice& device) {
    AVCaptureAudioSession::SourceFactory factory;
    {
        std::lock_guard guard(factoryMutex);
        factory = installedFactory();
    }
    // The microphone's own rate and channels: no resampling on our side; the
    // writer converts once, where it encodes.
    if (!factory) return makePulseRecordSource(device.node, 0, 0);
    return factory(device);
}

} // namespace

std::shared_ptr<AVCaptureAudioDeviceInput>
AVCaptureAudioDeviceInput::initWithDevice(const AVCaptureDevice& device, NSError* error) {
    NSError why;
    if (device.node.empty()) {
        why.localizedDescription = "The microphone \"" + device.localizedName + "\" names no audio source";
    } else if (pulseFindSource(device.node, why)) {
        return std::make_shared<AVCaptureAudioDeviceInput>(device);
    }
    if (error) *error = why;
    return nullptr;
}

void AVCaptureAudioDataOutput::setSampleBufferDelegate(Delegate delegate, DispatchQueue* queue) {
    delegate_ = std::move(delegate);
    queue_ = queue;
}

AVCaptureAudioSession::AVCaptureAudioSession() = default;

AVCaptureAudioSession::~AVCaptureAudioSession() {
    stopRunning();
}

bool AVCaptureAudioSession::canAddInput(const AVCaptureAudioDeviceInput&) const {
    return !input_;
}

void AVCaptureAudioSession::addInput(std::shared_ptr<AVCaptureAudioDeviceInput> input) {
    if (!input_) input_ = std::move(input);
}

bool AVCaptureAudioSession::canAddOutput(const AVCaptureAudioDataOutput&) const {
    return !output_;
}

void AVCaptureAudioSession::addOutput(std::shared_ptr<AVCaptureAudioDataOutput> output) {
    if (!output_) output_ = std::move(output);
}

void AVCaptureAudioSession::setSourceFactory(SourceFactory factory) {
    std::lock_guard guard(factoryMutex);
    installedFactory() = std::move(factory);
}

void AVCaptureAudioSession::startRunning() {
    if (running_.load() || !input_ || !output_) return;
    // A source left over from a run that ended by itself.
    if (source_) source_->stop();
    source_ = openSource(input_->device());
    if (!source_) {
        post(AVCaptureSessionRuntimeErrorNotification,
             "Cannot open the microphone \"" + input_->device().localizedName + "\"");
        return;
    }
    // Copies: the output may be reconfigured only while the session is stopped.
    auto onSample = [delegate = output_->delegate_,
                     queue = output_->queue_](const CMSampleBufferRef& sample) {
        if (delegate && queue) queue->async([delegate, sample] { delegate(sample); });
    };
    auto onEnd = [this](const NSError& error, bool deviceGone) {
        running_.store(false);
        if (deviceGone)
            post(AVCaptureSessionWasInterruptedNotification);
        else
            post(AVCaptureSessionRuntimeErrorNotification, error.localizedDescription);
    };
    NSError error;
    // Running before the first sample can arrive, so that an end reported at
    // once is not overwritten.
    running_.store(true);
    if (!source_->start(std::move(onSample), std::move(onEnd), error)) {
        running_.store(false);
        source_.reset();
        post(AVCaptureSessionRuntimeErrorNotification, error.localizedDescription);
    }
}

void AVCaptureAudioSession::stopRunning() {
    if (source_) {
        source_->stop();
        source_.reset();
    }
    running_.store(false);
}

void AVCaptureAudioSession::post(const std::string& name, const std::string& error) {
    NSNotification notification{name, this, {}};
    if (!error.empty()) notification.userInfo[AVCaptureSessionErrorKey] = error;
    NSNotificationCenter::defaultCenter().postNotification(std::move(notification));
}

} // namespace vantrel
