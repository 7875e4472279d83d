#include "shell/dashboard/DashboardSystemServices.h"

#include "devices/CameraManager.h"
#include "platform/permissions/PrivacyAccess.h"
#include "settings/PermissionsManager.h"

namespace vantrel {

namespace {

DeniedPermission::Kind deniedKind(DashboardPermission permission) {
    switch (permission) {
    case DashboardPermission::microphone:
        return DeniedPermission::Kind::microphone;
    case DashboardPermission::camera:
        return DeniedPermission::Kind::camera;
    case DashboardPermission::accessibility:
        break;
    }
    return DeniedPermission::Kind::accessibility;
}

const char* informativeText(DashboardPermission permission, AlertLanguage language) {
    const bool japanese = language == AlertLanguage::japanese;
    switch (permission) {
    case DashboardPermission::microphone:
        return japanese ? "マイク録音を使用するには、システム設定でマイクの許可が必要です。\n\n「マイク設定を"
                          "開く」で"
                          "システム設定を開き、Vantrelを許可してください。"
                        : "Vantrel needs Microphone permission to record audio.\n\nClick \"Open Microphone "
                          "Settings\" to grant access.";
    case DashboardPermission::camera:
        return japanese
                   ? "Webカメラを使用するには、システム設定でカメラの許可が必要です。\n\n「カメラ設定を開く」"
                     "で"
                     "システム設定を開き、Vantrelを許可してください。"
                   : "Vantrel needs Camera permission to show the webcam overlay.\n\nClick \"Open Camera "
                     "Settings\" to grant access.";
    case DashboardPermission::accessibility:
        break;
    }
    return japanese
               ? "この機能を使用するには、システム設定でアクセシビリティの許可が必要です。\n\n「アクセシビリ"
                 "ティを"
                 "開く」でシステム設定を開き、Vantrelを許可してください。"
               : "Vantrel needs Accessibility permission to use this feature.\n\nClick \"Open Accessibility "
                 "Settings\" to grant access.";
}

QCoro::Task<> askAndAnswer(std::shared_ptr<AlertPresenter> alerts, AlertRequest request,
                           std::function<void(bool)> done) {
    const int response = co_await alerts->runModal(std::move(request));
    done(response == kAlertFirstButtonReturn);
}

QCoro::Task<> requestAndAnswer(std::shared_ptr<PermissionsManager> permissions, DashboardPermission media,
                               std::function<void(bool)> done) {
    const bool granted = media == DashboardPermission::camera
                             ? co_await permissions->requestCameraPermission()
                             : co_await AVCaptureDevice::requestAccessForMediaType(AVMediaType::audio);
    done(granted);
}

} // namespace

AlertRequest dashboardPermissionAlert(DashboardPermission permission, AlertLanguage language) {
    const AlertRequest recordingAlert = permissionAlert({deniedKind(permission)}, language);
    AlertRequest request;
    request.messageText = recordingAlert.messageText;
    request.informativeText = QString::fromUtf8(informativeText(permission, language));
    request.buttons << recordingAlert.buttons.front()
                    << (language == AlertLanguage::japanese ? QStringLiteral("キャンセル")
                                                            : QStringLiteral("Cancel"));
    return request;
}

DashboardPermissionsSystem::DashboardPermissionsSystem(std::shared_ptr<PermissionsManager> permissions,
                                                       std::shared_ptr<AlertPresenter> alerts)
    : permissions_(std::move(permissions)), alerts_(std::move(alerts)) {}

bool DashboardPermissionsSystem::isAccessibilityTrusted() {
    return AXIsProcessTrusted();
}

int DashboardPermissionsSystem::authorizationStatus(DashboardPermission media) {
    return AVCaptureDevice::authorizationStatusForMediaType(
        media == DashboardPermission::camera ? AVMediaType::video : AVMediaType::audio);
}

void DashboardPermissionsSystem::requestAccess(DashboardPermission media, std::function<void(bool)> done) {
    requestAndAnswer(permissions_, media, std::move(done));
}

void DashboardPermissionsSystem::runPermissionAlert(DashboardPermission permission,
                                                    std::function<void(bool)> done) {
    askAndAnswer(alerts_ ? alerts_ : AlertPresenter::shared(),
                 dashboardPermissionAlert(permission, currentAlertLanguage()), std::move(done));
}

PreviewCameraManager::PreviewCameraManager(std::shared_ptr<CameraManager> camera)
    : camera_(std::move(camera)) {}

void PreviewCameraManager::startCapture(const QString& cameraID) {
    try {
        camera_->startCapture(cameraID.toStdString());
    } catch (const ScreenRecorderError&) {
        // The preview stays dark; the recording's own checks speak about the camera.
    }
}

void PreviewCameraManager::stopCapture() {
    camera_->stopCapture();
}

bool PreviewCameraManager::isCapturing() const {
    return camera_->isCapturing();
}

} // namespace vantrel
