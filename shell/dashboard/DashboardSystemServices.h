#pragma once
// The dashboard's services on the real system: the privileges and their
// message boxes, and the preview camera, a CameraManager of the dashboard's
// own (never the recorder's, so that closing the dashboard frees the device
// before a recording opens it). Main thread only.

#include "shell/common/AlertPresenter.h"
#include "shell/dashboard/DashboardServices.h"
#include "shell/menubar/PermissionAlerts.h"

#include <memory>

namespace vantrel {

class CameraManager;
class PermissionsManager;

/// Title and open button as for a recording's alerts; the text says what the
/// switch needs; the buttons are the open-settings one and "Cancel" only.
AlertRequest dashboardPermissionAlert(DashboardPermission permission, AlertLanguage language);

class DashboardPermissionsSystem final : public DashboardPermissions {
public:
    /// `alerts` null: AlertPresenter::shared() (message boxes) at the time of asking.
    explicit DashboardPermissionsSystem(std::shared_ptr<PermissionsManager> permissions,
                                        std::shared_ptr<AlertPresenter> alerts = nullptr);
    bool isAccessibilityTrusted() override;
    int authorizationStatus(DashboardPermission media) override;
    void requestAccess(DashboardPermission media, std::function<void(bool)> done) override;
    void runPermissionAlert(DashboardPermission permission, std::function<void(bool)> done) override;

private:
    std::shared_ptr<PermissionsManager> permissions_;
    std::shared_ptr<AlertPresenter> alerts_;
};

class PreviewCameraManager final : public PreviewCamera {
public:
    explicit PreviewCameraManager(std::shared_ptr<CameraManager> camera);
    void startCapture(const QString& cameraID) override;
    void stopCapture() override;
    bool isCapturing() const override;
    CameraManager& camera() const { return *camera_; }

private:
    std::shared_ptr<CameraManager> camera_;
};

} // namespace vantrel
