#pragma once
// One open camera delivering raw frames: the V4L2 node of a real camera
// (CameraStreamV4L2.h) or the fake camera (FakeCamera.h). The capture session
// drives it from its own threads; nothing here converts pixels (see
// CameraFrameConverter.h).
//
// Contract: a stream is made and configured on the main thread; start(),
// waitForFrame() and stop() are then called from one capture thread at a
// time; wake() may be called from any thread to end a waitForFrame early.

#include "platform/camera/CaptureDevice.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantrel {

enum class CameraPixelFormat { yuyv, nv12, mjpeg };

struct CameraFormat {
    CameraPixelFormat pixelFormat = CameraPixelFormat::yuyv;
    int width = 0;
    int height = 0;
    friend bool operator==(const CameraFormat&, const CameraFormat&) = default;
};

/// A frame as the camera delivered it. The bytes are valid only during the
/// consume call. `bytesPerLine` is that of the first plane (unused for MJPEG).
struct CameraFrame {
    const uint8_t* data = nullptr;
    size_t size = 0;
    size_t bytesPerLine = 0;
    CameraFormat format;
};

/// Among the formats a camera offers, the size nearest to the wanted one
/// (by the difference of areas, then of widths); at that size an
/// uncompressed format before MJPEG. Absent when nothing is offered.
std::optional<CameraFormat> chooseCameraFormat(const std::vector<CameraFormat>& offered, int wantedWidth,
                                               int wantedHeight);

enum class CameraReadStatus {
    frame,        ///< one frame was consumed
    timedOut,     ///< nothing within the time-out
    woken,        ///< wake() was called
    disconnected, ///< the device went away (unplugged)
    failed,       ///< the device reported an error; `error` says which
};

struct CameraReadResult {
    CameraReadStatus status = CameraReadStatus::timedOut;
    std::string error;
};

class CameraStream {
public:
    using Consume = std::function<void(const CameraFrame&)>;

    virtual ~CameraStream() = default;

    /// The formats this camera can deliver that we can convert.
    virtual std::vector<CameraFormat> supportedFormats() const = 0;
    /// Sets the format and asks for at most `maxFramesPerSecond`. False with
    /// `error` set when the device refuses.
    virtual bool configure(const CameraFormat& format, int maxFramesPerSecond, std::string& error) = 0;
    /// The format set by configure().
    virtual CameraFormat format() const = 0;

    virtual bool start(std::string& error) = 0;
    /// Waits up to `timeoutMs` for one frame and hands it to `consume`;
    /// sleeps in poll or a condition, never spins.
    virtual CameraReadResult waitForFrame(int timeoutMs, const Consume& consume) = 0;
    virtual void stop() = 0;
    virtual void wake() = 0;

    /// Opens the device: the fake camera for a "fake:" node, else the V4L2
    /// node. Null with `error` set (a sentence for the log) on failure.
    static std::unique_ptr<CameraStream> open(const AVCaptureDevice& device, std::string& error);
};

} // namespace vantrel
