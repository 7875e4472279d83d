#pragma once
// Capture devices under the names the logic uses: a camera or a microphone
// with a stable identifier and a human name, and the lists the system keeps
// of them. A camera is a V4L2 node (or the fake camera, see FakeCamera.h); a
// microphone is a PulseAudio source that is not the monitor of a sink.

#include <QCoro/QCoroTask>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantrel {

enum class AVMediaType { video, audio };

/// One device, as a plain value that can be copied between threads.
struct AVCaptureDevice {
    /// Stable across replugging: the /dev/v4l/by-id/ name or the bus info of
    /// a camera, the source name of a microphone.
    std::string uniqueID;
    std::string localizedName;
    AVMediaType mediaType = AVMediaType::video;
    /// Where the device is opened: the V4L2 node, the source name, or the
    /// fake camera's description ("fake:640x480@30").
    std::string node;

    friend bool operator==(const AVCaptureDevice&, const AVCaptureDevice&) = default;

    /// In the list of the device's media type, the first with this identifier.
    static std::optional<AVCaptureDevice> deviceWithUniqueID(const std::string& uniqueID,
                                                             AVMediaType mediaType = AVMediaType::video);
    /// The system's default: the first camera; the server's default source.
    static std::optional<AVCaptureDevice> defaultDeviceWithMediaType(AVMediaType mediaType);

    // Authorisation, in PrivacyAccess.cpp.
    static int authorizationStatusForMediaType(AVMediaType mediaType);
    /// No prompt exists: answers whether the current status is authorised.
    static QCoro::Task<bool> requestAccessForMediaType(AVMediaType mediaType);
};

/// The devices of one media type, kept current by the backend.
///
/// Contract: `devices()` and `defaultDevice()` answer at once from what the
/// backend last learned and never wait for a server or a device; they may be
/// called from any thread. Change handlers run on the main thread, after the
/// new list is readable, once or more per arrival or departure.
class CaptureDeviceList {
public:
    using ChangeHandler = std::function<void()>;

    virtual ~CaptureDeviceList() = default;
    virtual std::vector<AVCaptureDevice> devices() const = 0;
    virtual std::optional<AVCaptureDevice> defaultDevice() const = 0;

    /// Handlers stay until removed; removing an unknown token does nothing.
    int addChangeHandler(ChangeHandler handler);
    void removeChangeHandler(int token);

    /// The list the app uses: cameras from V4L2 (or the fake camera when
    /// VANTREL_FAKE_CAMERA is set), microphones from PulseAudio. Made at first
    /// use; tests install their own.
    static std::shared_ptr<CaptureDeviceList> shared(AVMediaType mediaType);
    static void setShared(AVMediaType mediaType, std::shared_ptr<CaptureDeviceList> list);

protected:
    /// Runs the handlers; main thread.
    void notifyChanged();

private:
    std::vector<std::pair<int, ChangeHandler>> handlers_;
    int nextToken_ = 1;
};

/// An in-memory list that tests change by hand.
class CaptureDeviceListFake final : public CaptureDeviceList {
public:
    std::vector<AVCaptureDevice> devices() const override { return devices_; }
    std::optional<AVCaptureDevice> defaultDevice() const override;

    /// Replaces the list and runs the handlers (main thread).
    void setDevices(std::vector<AVCaptureDevice> devices,
                    std::optional<std::string> defaultID = std::nullopt);

private:
    std::vector<AVCaptureDevice> devices_;
    std::optional<std::string> defaultID_;
};

} // namespace vantrel
