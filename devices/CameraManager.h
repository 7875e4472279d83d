#pragma once
// Opens one camera and keeps its newest picture ready, so that the frame
// path can take the latest image whenever it needs one, without waiting and
// without a queue of frames. Also publishes its running capture session for
// a live preview (CameraPreviewItem).
//
// Threads: everything on the main thread except latestFrame (any thread) and
// captureOutput (captureQueue). startRunning and stopRunning of the session
// run on captureQueue, so neither start nor stop waits for the camera.

#include "devices/ScreenRecorderError.h"
#include "platform/image/CIImage.h"
#include "platform/camera/CaptureSession.h"
#include "platform/core/UnfairLock.h"

#include <QObject>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantrel {

/// The value under frameLock.
struct CameraFrameState {
    CVPixelBufferRef latestPixelBuffer;
};

class CameraManager final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isCapturing READ isCapturing NOTIFY isCapturingChanged)

public:
    /// Opens nothing. `cameras` is where devices are looked up; null means the
    /// system's list (CaptureDeviceList::shared).
    explicit CameraManager(std::shared_ptr<CaptureDeviceList> cameras = nullptr);
    /// Stops a running session and waits for it, so that no frame outlives this object.
    ~CameraManager() override;

    /// Opens the camera (an empty or unknown identifier: the default one).
    /// Returns once the session is configured; it starts running shortly
    /// after on captureQueue. Throws ScreenRecorderError::cameraNotFound on
    /// any failure, leaving nothing behind. Does nothing while a session is
    /// open (starting, running or stopping).
    void startCapture(const std::string& cameraID);
    /// Closes the camera, also one whose start is still under way; the
    /// picture is gone at once. Does nothing when no session is open.
    void stopCapture();

    /// The newest picture, mirrored; absent before the first and after a stop.
    std::optional<CIImage> latestFrame() const;

    bool isCapturing() const { return isCapturing_; }
    /// From the moment it is configured until a stop has finished.
    std::shared_ptr<AVCaptureSession> captureSession() const { return captureSession_; }
    DispatchQueue& captureQueue() { return *captureQueue_; }

    /// The output's delegate call: the sample's picture replaces the last one.
    void captureOutput(const CMSampleBufferRef& sampleBuffer);

    /// Holds the latest picture; taken only to swap or copy one reference.
    OSAllocatedUnfairLock<CameraFrameState> frameLock;

signals:
    void captureSessionChanged();
    void isCapturingChanged();

private:
    void setCaptureSession(std::shared_ptr<AVCaptureSession> session);
    void setIsCapturing(bool capturing);
    void observeSession(const AVCaptureSession& session);

    std::shared_ptr<CaptureDeviceList> cameras_;
    std::shared_ptr<AVCaptureSession> captureSession_;
    std::vector<NSNotificationCenter::Token> captureSessionObservers_;
    bool isCapturing_ = false;
    // From a stop until the session has stopped on captureQueue.
    bool stopRequested_ = false;
    // Last, so that it is joined before anything its blocks touch goes.
    std::unique_ptr<DispatchQueue> captureQueue_;
};

} // namespace vantrel
