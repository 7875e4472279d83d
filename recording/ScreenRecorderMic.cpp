// The microphone: a capture session of its own beside the stream, whose
// trouble pauses the whole recording rather than letting it go on silently.

#include "ScreenRecorder.h"

#include "platform/core/ConsoleLine.h"

namespace vantrel {

void ScreenRecorder::startMicCapture(const std::string& deviceID) {
    auto session = std::make_shared<AVCaptureAudioSession>();

    std::optional<AVCaptureDevice> device;
    if (!deviceID.empty()) device = AVCaptureDevice::deviceWithUniqueID(deviceID, AVMediaType::audio);
    if (!device) device = AVCaptureDevice::defaultDeviceWithMediaType(AVMediaType::audio);
    if (!device) {
        printLine("⚠️ マイクデバイスが見つかりません");
        throw ScreenRecorderError::microphoneNotFound();
    }

    NSError error;
    auto input = AVCaptureAudioDeviceInput::initWithDevice(*device, &error);
    if (!input) {
        printLine("⚠️ マイク入力の作成に失敗: " + error.localizedDescription);
        throw ScreenRecorderError::microphoneNotFound();
    }
    if (!session->canAddInput(*input)) {
        printLine("⚠️ マイク入力をセッションに追加できません");
        throw ScreenRecorderError::microphoneNotFound();
    }
    session->addInput(std::move(input));

    auto output = std::make_shared<AVCaptureAudioDataOutput>();
    output->setSampleBufferDelegate(
        [weak = weak_from_this()](const CMSampleBufferRef& sample) {
            if (auto self = weak.lock()) self->handleMicSample(sample);
        },
        micCaptureQueue.get());
    if (!session->canAddOutput(*output)) {
        printLine("⚠️ マイク音声出力をセッションに追加できません");
        throw ScreenRecorderError::microphoneNotFound();
    }
    session->addOutput(std::move(output));

    micCaptureSession = session;
    auto& center = NSNotificationCenter::defaultCenter();
    micSessionObservers.push_back(center.addObserverForName(
        AVCaptureSessionRuntimeErrorNotification, session.get(),
        [weak = weak_from_this()](const NSNotification& notification) {
            auto self = weak.lock();
            if (!self) return;
            const auto value = notification.userInfo.find(AVCaptureSessionErrorKey);
            printLine("⚠️ Mic Capture Session Runtime Error: " +
                      (value != notification.userInfo.end() ? value->second : std::string("Unknown")));
            self->pause();
        }));
    micSessionObservers.push_back(center.addObserverForName(
        AVCaptureSessionWasInterruptedNotification, session.get(), [weak = weak_from_this()](const NSNotification&) {
            auto self = weak.lock();
            if (!self) return;
            printLine("⚠️ Mic Capture Session Interrupted");
            self->pause();
        }));

    // A slow device never blocks the main thread; the block holds the session, not the recorder.
    micCaptureQueue->async([session] { session->startRunning(); });
}

void ScreenRecorder::stopMicCapture() {
    for (auto token : micSessionObservers)
        NSNotificationCenter::defaultCenter().removeObserver(token);
    micSessionObservers.clear();

    // Returns at once: the writers are finished meanwhile, and the last
    // samples are dropped by the state test, not by the session stopping.
    micCaptureQueue->async([weak = weak_from_this()] {
        if (auto self = weak.lock()) {
            // Read on this queue only here; written on the main thread.
            if (auto session = self->micCaptureSession) session->stopRunning();
        }
        DispatchQueue::main().async([weak] {
            if (auto self = weak.lock()) self->micCaptureSession.reset();
        });
    });
}

} // namespace vantrel
