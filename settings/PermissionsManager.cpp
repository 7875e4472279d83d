#include "PermissionsManager.h"

#include "platform/runtime/DispatchQueue.h"
#include "platform/permissions/PrivacyAccess.h"
#include "platform/core/WeakClosure.h"

#include <cstdio>

namespace vantrel {

namespace {

void printLine(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

} // namespace

PermissionsManager::PermissionsManager() {
    hasScreenRecordingPermission_ = CGPreflightScreenCaptureAccess();
    hasAccessibilityPermission_ = AXIsProcessTrusted();
}

PermissionsManager::~PermissionsManager() = default;

std::shared_ptr<PermissionsManager> PermissionsManager::shared() {
    return SharedInstance<PermissionsManager>::getOrMake(
        [] { return std::make_shared<PermissionsManager>(); });
}

void PermissionsManager::setShared(std::shared_ptr<PermissionsManager> manager) {
    SharedInstance<PermissionsManager>::set(std::move(manager));
}

void PermissionsManager::setHasScreenRecordingPermission(bool value) {
    hasScreenRecordingPermission_ = value;
    emit hasScreenRecordingPermissionChanged();
}

void PermissionsManager::setHasAccessibilityPermission(bool value) {
    hasAccessibilityPermission_ = value;
    emit hasAccessibilityPermissionChanged();
}

void PermissionsManager::startMonitoringPermissions() {
    if (monitoringTimer_) return;
    auto tick = weakly(this, [](PermissionsManager& manager) {
        manager.setHasScreenRecordingPermission(CGPreflightScreenCaptureAccess());
        manager.setHasAccessibilityPermission(AXIsProcessTrusted());
    });
    monitoringTimer_ = NSTimer::scheduledTimer(kMonitoringIntervalSeconds, true,
                                               [tick](NSTimer&) { DispatchQueue::main().async(tick); });
}

void PermissionsManager::stopMonitoringPermissions() {
    if (monitoringTimer_) monitoringTimer_->invalidate();
    monitoringTimer_.reset();
}

bool PermissionsManager::checkAllPermissions() {
    return CGPreflightScreenCaptureAccess() && AXIsProcessTrusted();
}

bool PermissionsManager::requestScreenRecordingPermission() {
    if (CGPreflightScreenCaptureAccess()) return true;
    if (CGRequestScreenCaptureAccess()) return true;
    printLine("⚠️ Screen Recording permission is required.");
    return false;
}

bool PermissionsManager::requestAccessibilityPermission() {
    if (AXIsProcessTrustedWithOptions(true)) return true;
    printLine("⚠️ Accessibility permission is required for global shortcuts and focus tracking.");
    return false;
}

QCoro::Task<bool> PermissionsManager::requestCameraPermission() {
    switch (AVCaptureDevice::authorizationStatusForMediaType(AVMediaType::video)) {
    case AVAuthorizationStatusNotDetermined:
        co_return co_await AVCaptureDevice::requestAccessForMediaType(AVMediaType::video);
    case AVAuthorizationStatusRestricted:
    case AVAuthorizationStatusDenied:
        printLine("⚠️ Camera permission is required for webcam PiP.");
        co_return false;
    case AVAuthorizationStatusAuthorized:
        co_return true;
    default:
        co_return false;
    }
}

} // namespace vantrel
