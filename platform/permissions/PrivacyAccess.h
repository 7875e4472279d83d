#pragma once
// The system's privileges under the names the logic uses: screen capture
// access (Core Graphics), accessibility trust (AXIsProcessTrusted) and the
// camera and microphone authorisation (AVCaptureDevice). Each is one small
// service with a Linux backend; tests put fakes in their place.
//
// X11 has no prompts: asking for a privilege either grants it at once
// (accessibility, which is a desktop-wide switch) or reports how things stand.
// All calls are made on the main thread and may block for a short time-out.

#include "platform/camera/CaptureDevice.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <filesystem>
#include <memory>

namespace vantrel {

class ScreenCaptureAccess {
public:
    virtual ~ScreenCaptureAccess() = default;
    /// True when the display can be opened and a shared-memory grab of the root window succeeds.
    virtual bool canCapture() = 0;
    static std::shared_ptr<ScreenCaptureAccess> shared();
    static void setShared(std::shared_ptr<ScreenCaptureAccess> access);
};

class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;
    /// The accessibility bus is reachable and accessibility is switched on.
    virtual bool isTrusted() = 0;
    /// Switches accessibility on for the desktop, as screen readers do.
    virtual void enable() = 0;
    static std::shared_ptr<AccessibilityTrust> shared();
    static void setShared(std::shared_ptr<AccessibilityTrust> trust);
};

enum AVAuthorizationStatus : int {
    AVAuthorizationStatusNotDetermined = 0,
    AVAuthorizationStatusRestricted = 1,
    AVAuthorizationStatusDenied = 2,
    AVAuthorizationStatusAuthorized = 3,
};

class MediaAuthorization {
public:
    virtual ~MediaAuthorization() = default;
    virtual int authorizationStatus(AVMediaType mediaType) = 0;
    static std::shared_ptr<MediaAuthorization> shared();
    static void setShared(std::shared_ptr<MediaAuthorization> authorization);
};

// --- Linux backends -------------------------------------------------------

/// MIT-SHM grab of one pixel of the root window of $DISPLAY.
class ScreenCaptureAccessXcb final : public ScreenCaptureAccess {
public:
    bool canCapture() override;
};

/// The org.a11y.Bus object on the session bus: its org.a11y.Status.IsEnabled
/// property, and a connection to the accessibility bus it names.
class AccessibilityTrustDBus final : public AccessibilityTrust {
public:
    /// `sessionBusAddress` empty means $DBUS_SESSION_BUS_ADDRESS.
    explicit AccessibilityTrustDBus(QString sessionBusAddress = {});
    ~AccessibilityTrustDBus() override;
    bool isTrusted() override;
    void enable() override;

    static constexpr int kCallTimeoutMs = 500;

private:
    QString sessionBusAddress_;
    QString connectionName_;
};

/// Camera: the V4L2 nodes (`video*` in `deviceDirectory`) can be opened; a node
/// that exists but refuses us (not in the `video` group) means denied.
/// Microphone: the PulseAudio socket accepts a connection; a socket that
/// refuses us means denied. Devices that are absent are no refusal.
class MediaAuthorizationDevices final : public MediaAuthorization {
public:
    explicit MediaAuthorizationDevices(std::filesystem::path deviceDirectory = "/dev");
    int authorizationStatus(AVMediaType mediaType) override;

private:
    std::filesystem::path deviceDirectory_;
};

// --- Fakes for tests --------------------------------------------------------

class ScreenCaptureAccessFake final : public ScreenCaptureAccess {
public:
    bool granted = false;
    int calls = 0;
    bool canCapture() override {
        ++calls;
        return granted;
    }
};

class AccessibilityTrustFake final : public AccessibilityTrust {
public:
    bool trusted = false;
    bool enableGrants = true; // what enable() does to `trusted`
    int trustCalls = 0;
    int enableCalls = 0;
    bool isTrusted() override {
        ++trustCalls;
        return trusted;
    }
    void enable() override {
        ++enableCalls;
        if (enableGrants) trusted = true;
    }
};

class MediaAuthorizationFake final : public MediaAuthorization {
public:
    int videoStatus = AVAuthorizationStatusAuthorized;
    int audioStatus = AVAuthorizationStatusAuthorized;
    int authorizationStatus(AVMediaType mediaType) override {
        return mediaType == AVMediaType::video ? videoStatus : audioStatus;
    }
};

// --- The names the logic calls ----------------------------------------------

bool CGPreflightScreenCaptureAccess();
/// No prompt exists on X11: the same answer as the preflight.
bool CGRequestScreenCaptureAccess();
bool AXIsProcessTrusted();
/// With `prompt` set and the process not trusted, switches accessibility on
/// first; answers the state after that.
bool AXIsProcessTrustedWithOptions(bool prompt);

// AVCaptureDevice::authorizationStatusForMediaType and requestAccessForMediaType
// are declared with the device in CaptureDevice.h.

} // namespace vantrel
