#include "CameraManager.h"

#include "platform/core/WeakClosure.h"

#include <QPointer>
#include <cstdio>

namespace vantrel {

namespace {

void printLine(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

} // namespace

CameraManager::CameraManager(std::shared_ptr<CaptureDeviceList> cameras)
    : cameras_(cameras ? std::move(cameras) : CaptureDeviceList::shared(AVMediaType::video)),
      captureQueue_(std::make_unique<DispatchQueue>("com.vantrel.cameraQueue", DispatchQoS::userInitiated)) {}

CameraManager::~CameraManager() {
    for (const auto token : captureSessionObservers_)
        NSNotificationCenter::defaultCenter().removeObserver(token);
    if (auto session = captureSession_) captureQueue_->sync([&session] { session->stopRunning(); });
    // Delegate calls already queued run now, while this object is whole.
    captureQueue_.reset();
}

void CameraManager::startCapture(const std::string& cameraID) {
    // A session that is starting or stopping counts as capturing.
    if (captureSession_) return;

    auto session = std::make_shared<AVCaptureSession>(AVCaptureSessionPreset::medium);

    // A camera that went away is silently replaced by the default one.
    std::optional<AVCaptureDevice> device;
    if (!cameraID.empty())
        for (const auto& candidate : cameras_->devices())
            if (candidate.uniqueID == cameraID) {
                device = candidate;
                break;
            }
    if (!device) device = cameras_->defaultDevice();
    if (!device) {
        printLine("⚠️ Webカメラが見つかりません");
        throw ScreenRecorderError::cameraNotFound();
    }

    try {
        NSError error;
        auto input = AVCaptureDeviceInput::initWithDevice(*device, &error);
        if (!input) throw error;
        if (!session->canAddInput(*input)) {
            printLine("⚠️ カメラ入力をセッションに追加できません");
            throw NSError{ScreenRecorderError::cameraNotFound().localizedDescription().toStdString()};
        }
        session->addInput(std::move(input));
    } catch (const NSError& error) {
        // The caller never sees the underlying error.
        printLine("⚠️ カメラ入力の作成に失敗: " + error.localizedDescription);
        throw ScreenRecorderError::cameraNotFound();
    }

    auto output = std::make_shared<AVCaptureVideoDataOutput>();
    output->alwaysDiscardsLateVideoFrames = true;
    output->videoSettingsPixelFormatType = kCVPixelFormatType_32BGRA;
    // Raw `this`: the delegate runs only on captureQueue, which the
    // destructor joins after stopping the session.
    output->setSampleBufferDelegate([this](const CMSampleBufferRef& sample) { captureOutput(sample); },
                                    captureQueue_.get());
    if (!session->canAddOutput(*output)) {
        printLine("⚠️ カメラ出力をセッションに追加できません");
        throw ScreenRecorderError::cameraNotFound();
    }
    session->addOutput(output);

    if (auto connection = output->connectionWithMediaType(AVMediaType::video);
        connection && connection->isVideoMirroringSupported())
        connection->setVideoMirrored(true);

    setCaptureSession(session);
    observeSession(*session);

    captureQueue_->async([session, self = QPointer<CameraManager>(this)] {
        session->startRunning();
        // A camera that another program holds opens fine and fails here: the
        // session has posted its runtime error (the one line the user's log
        // gets) and does not run. Back to idle, so that the next start tries again.
        const bool running = session->isRunning();
        DispatchQueue::main().async([self, session, running] {
            if (!self || self->captureSession_ != session) return;
            // A stop asked for while the camera was starting wins.
            if (running) {
                if (!self->stopRequested_) self->setIsCapturing(true);
                return;
            }
            for (const auto token : self->captureSessionObservers_)
                NSNotificationCenter::defaultCenter().removeObserver(token);
            self->captureSessionObservers_.clear();
            self->setCaptureSession(nullptr);
        });
    });
}

void CameraManager::observeSession(const AVCaptureSession& session) {
    auto& center = NSNotificationCenter::defaultCenter();
    captureSessionObservers_.push_back(center.addObserverForName(
        AVCaptureSessionRuntimeErrorNotification, &session,
        weakly(this, [](CameraManager& manager, const NSNotification& notification) {
            const auto error = notification.userInfo.find(AVCaptureSessionErrorKey);
            printLine("⚠️ Camera Capture Session Runtime Error: " +
                      (error != notification.userInfo.end() ? error->second : std::string("Unknown")));
            manager.stopCapture();
        })));
    captureSessionObservers_.push_back(
        center.addObserverForName(AVCaptureSessionWasInterruptedNotification, &session,
                                  weakly(this, [](CameraManager& manager, const NSNotification&) {
                                      printLine("⚠️ Camera Capture Session Interrupted");
                                      manager.stopCapture();
                                  })));
}

void CameraManager::stopCapture() {
    // Also while the start is still on its way to the camera: the stop
    // queues behind it, so the light never stays on.
    if (!captureSession_ || stopRequested_) return;
    stopRequested_ = true;

    for (const auto token : captureSessionObservers_)
        NSNotificationCenter::defaultCenter().removeObserver(token);
    captureSessionObservers_.clear();

    // The session is the current one: no other can start until isCapturing
    // goes false below, on the main queue.
    captureQueue_->async([session = captureSession_, self = QPointer<CameraManager>(this)] {
        if (session) session->stopRunning();
        DispatchQueue::main().async([self] {
            if (!self) return;
            self->stopRequested_ = false;
            self->setCaptureSession(nullptr);
            if (self->isCapturing_) self->setIsCapturing(false);
        });
    });

    // At once, not after the session has stopped.
    frameLock.withLock([](CameraFrameState& state) { state.latestPixelBuffer = nullptr; });
}

std::optional<CIImage> CameraManager::latestFrame() const {
    auto buffer = frameLock.withLock([](const CameraFrameState& state) { return state.latestPixelBuffer; });
    if (!buffer) return std::nullopt;
    return CIImage::fromPixelBuffer(std::move(buffer));
}

void CameraManager::captureOutput(const CMSampleBufferRef& sampleBuffer) {
    auto buffer = CMSampleBufferGetImageBuffer(sampleBuffer);
    if (!buffer) return;
    // Older pictures are dropped, never queued.
    frameLock.withLock([&buffer](CameraFrameState& state) { state.latestPixelBuffer = std::move(buffer); });
}

void CameraManager::setCaptureSession(std::shared_ptr<AVCaptureSession> session) {
    captureSession_ = std::move(session);
    emit captureSessionChanged();
}

void CameraManager::setIsCapturing(bool capturing) {
    isCapturing_ = capturing;
    emit isCapturingChanged();
}

} // namespace vantrel
