#pragma once
// A camera capture session in the shape the logic was designed with: one
// device input (a CameraStream), one video data output that hands BGRA
// sample buffers to a delegate on its queue, and a connection that can
// mirror. While running, a reader thread of the session's own sleeps in the
// stream's poll, converts each frame into a pooled pixel buffer and passes it
// on; a frame that arrives while the delegate still has the previous one is
// dropped, so that a slow consumer never builds a queue.
//
// Threads: configure the session (inputs, outputs, connection) on one thread
// before it runs; startRunning() and stopRunning() block and belong on the
// session's queue; notifications reach observers on the main thread.

#include "platform/camera/CameraFrameConverter.h"
#include "platform/camera/CameraStream.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/core/NSError.h"
#include "platform/runtime/NotificationCenter.h"
#include "platform/core/SampleBuffer.h"

#include <atomic>
#include <memory>
#include <thread>

namespace vantrel {

inline const std::string AVCaptureSessionRuntimeErrorNotification =
    "AVCaptureSessionRuntimeErrorNotification";
inline const std::string AVCaptureSessionWasInterruptedNotification =
    "AVCaptureSessionWasInterruptedNotification";
/// In a runtime error's user info: the error's description.
inline const std::string AVCaptureSessionErrorKey = "AVCaptureSessionErrorKey";

/// "Medium": 640x480, or the nearest size the camera offers, at up to 30 frames a second.
enum class AVCaptureSessionPreset { medium };

class AVCaptureDeviceInput {
public:
    /// Opens the device; null with `error` filled when it cannot be opened.
    static std::shared_ptr<AVCaptureDeviceInput> initWithDevice(const AVCaptureDevice& device,
                                                                NSError* error);
    /// An input over a stream someone made (tests).
    AVCaptureDeviceInput(AVCaptureDevice device, std::unique_ptr<CameraStream> stream);

    const AVCaptureDevice& device() const { return device_; }
    CameraStream& stream() { return *stream_; }
    const CameraStream& stream() const { return *stream_; }

private:
    AVCaptureDevice device_;
    std::unique_ptr<CameraStream> stream_;
};

class AVCaptureConnection {
public:
    /// Every frame passes the converter, which can mirror it.
    bool isVideoMirroringSupported() const { return true; }
    bool isVideoMirrored() const { return mirrored_.load(); }
    void setVideoMirrored(bool mirrored) { mirrored_.store(mirrored); }

private:
    std::atomic<bool> mirrored_{false};
};

class AVCaptureVideoDataOutput {
public:
    using Delegate = std::function<void(const CMSampleBufferRef& sampleBuffer)>;

    /// Drop a frame that arrives while the delegate still works on the last one.
    bool alwaysDiscardsLateVideoFrames = true;
    /// kCVPixelBufferPixelFormatTypeKey: only BGRA can be delivered.
    uint32_t videoSettingsPixelFormatType = kCVPixelFormatType_32BGRA;

    /// The delegate runs on `queue`, which must outlive the running session.
    void setSampleBufferDelegate(Delegate delegate, DispatchQueue* queue);
    /// Present once the output belongs to a session that has an input.
    std::shared_ptr<AVCaptureConnection> connectionWithMediaType(AVMediaType mediaType) const;

private:
    friend class AVCaptureSession;
    Delegate delegate_;
    DispatchQueue* queue_ = nullptr;
    std::shared_ptr<AVCaptureConnection> connection_;
};

class AVCaptureSession {
public:
    static constexpr int kMediumWidth = 640;
    static constexpr int kMediumHeight = 480;
    static constexpr int kMaxFramesPerSecond = 30;
    /// How long the reader sleeps in one wait; it is woken at once by a stop.
    static constexpr int kReadTimeoutMs = 500;

    explicit AVCaptureSession(AVCaptureSessionPreset preset = AVCaptureSessionPreset::medium);
    /// Stops the reader if it still runs.
    ~AVCaptureSession();
    AVCaptureSession(const AVCaptureSession&) = delete;
    AVCaptureSession& operator=(const AVCaptureSession&) = delete;

    AVCaptureSessionPreset sessionPreset() const { return preset_; }

    /// One input, of a camera that offers a format we can convert.
    bool canAddInput(const AVCaptureDeviceInput& input) const;
    void addInput(std::shared_ptr<AVCaptureDeviceInput> input);
    /// One output, asking for BGRA.
    bool canAddOutput(const AVCaptureVideoDataOutput& output) const;
    void addOutput(std::shared_ptr<AVCaptureVideoDataOutput> output);

    /// Sets the format, starts streaming and the reader. A camera that
    /// refuses posts a runtime error instead; the session then does not run.
    void startRunning();
    /// Stops the reader and the stream; frames already queued still arrive.
    void stopRunning();
    bool isRunning() const { return running_.load(); }

    /// The format the camera delivers while running.
    CameraFormat activeFormat() const;

    /// Preview taps: each converted picture, on the reader thread, as the
    /// output's delegate gets it, and whether it was mirrored on the way.
    /// The sink must not block.
    using PreviewSink = std::function<void(const CVPixelBufferRef& picture, bool mirrored)>;
    int addPreviewSink(PreviewSink sink);
    /// A picture already on its way may still reach the sink once.
    void removePreviewSink(int token);

private:
    void read();
    void deliver(const CameraFrame& frame);
    void post(const std::string& name, const std::string& error = {});

    AVCaptureSessionPreset preset_;
    std::shared_ptr<AVCaptureDeviceInput> input_;
    std::shared_ptr<AVCaptureVideoDataOutput> output_;
    std::atomic<bool> running_{false};
    std::atomic<bool> stopRequested_{false};
    std::thread reader_;

    // Reader thread only.
    CameraFrameConverter converter_;
    CVPixelBufferPoolRef pool_;
    /// True while a sample waits on the delegate's queue; shared with the queued block.
    std::shared_ptr<std::atomic<bool>> deliveryPending_ = std::make_shared<std::atomic<bool>>(false);

    mutable std::mutex sinksMutex_;
    std::vector<std::pair<int, PreviewSink>> previewSinks_;
    int nextSinkToken_ = 1;
    CameraFormat activeFormat_;
};

} // namespace vantrel
