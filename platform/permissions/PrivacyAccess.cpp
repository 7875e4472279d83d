#include "platform/permissions/PrivacyAccess.h"

#include <mutex>

namespace vantrel {

namespace {

// One replaceable instance per service, made at first use.
template <typename Interface, typename Backend> class Slot {
public:
    std::shared_ptr<Interface> get() {
        std::lock_guard guard(mutex_);
        if (!value_) value_ = std::make_shared<Backend>();
        return value_;
    }
    void set(std::shared_ptr<Interface> value) {
        std::lock_guard guard(mutex_);
        value_ = std::move(value);
    }

private:
    std::mutex mutex_;
    std::shared_ptr<Interface> value_;
};

Slot<ScreenCaptureAccess, ScreenCaptureAccessXcb> screenCaptureSlot;
Slot<AccessibilityTrust, AccessibilityTrustDBus> accessibilitySlot;
Slot<MediaAuthorization, MediaAuthorizationDevices> mediaSlot;

} // namespace

std::shared_ptr<ScreenCaptureAccess> ScreenCaptureAccess::shared() {
    return screenCaptureSlot.get();
}
void ScreenCaptureAccess::setShared(std::shared_ptr<ScreenCaptureAccess> access) {
    screenCaptureSlot.set(std::move(access));
}

std::shared_ptr<AccessibilityTrust> AccessibilityTrust::shared() {
    return accessibilitySlot.get();
}
void AccessibilityTrust::setShared(std::shared_ptr<AccessibilityTrust> trust) {
    accessibilitySlot.set(std::move(trust));
}

std::shared_ptr<MediaAuthorization> MediaAuthorization::shared() {
    return mediaSlot.get();
}
void MediaAuthorization::setShared(std::shared_ptr<MediaAuthorization> authorization) {
    mediaSlot.set(std::move(authorization));
}

bool CGPreflightScreenCaptureAccess() {
    return ScreenCaptureAccess::shared()->canCapture();
}

bool CGRequestScreenCaptureAccess() {
    return ScreenCaptureAccess::shared()->canCapture();
}

bool AXIsProcessTrusted() {
    return AccessibilityTrust::shared()->isTrusted();
}

bool AXIsProcessTrustedWithOptions(bool prompt) {
    auto trust = AccessibilityTrust::shared();
    if (trust->isTrusted()) return true;
    if (!prompt) return false;
    trust->enable();
    return trust->isTrusted();
}

int AVCaptureDevice::authorizationStatusForMediaType(AVMediaType mediaType) {
    return MediaAuthorization::shared()->authorizationStatus(mediaType);
}

QCoro::Task<bool> AVCaptureDevice::requestAccessForMediaType(AVMediaType mediaType) {
    co_return authorizationStatusForMediaType(mediaType) == AVAuthorizationStatusAuthorized;
}

} // namespace vantrel
