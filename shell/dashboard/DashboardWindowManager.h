#pragma once
// Owns the dashboard's window while it is open: a fixed 520x705 dark window
// without a title bar, centred, holding the Qt Quick view over a new
// DashboardViewModel and a new preview camera for each opening. It closes
// by its own close button and whenever the app's state leaves idle, so the
// preview has let go of the camera before a recording opens it. Main thread only.

#include "shell/dashboard/DashboardServices.h"

#include <QMetaObject>
#include <QObject>
#include <memory>

class QQuickView;

namespace vantrel {

class AppSettings;
class CameraManager;
class DashboardViewModel;
class MediaDeviceManager;
class MenuBarViewModel;

class DashboardWindowManager final : public QObject {
    Q_OBJECT

public:
    static constexpr int kWidth = 520;
    static constexpr int kHeight = 705;

    /// What the windows are built on; empty fields are the app's shared objects.
    struct Dependencies {
        std::shared_ptr<AppSettings> settings;
        std::shared_ptr<MediaDeviceManager> devices;
        std::shared_ptr<DashboardPermissions> permissions;
        std::shared_ptr<DemoPlayerFactory> demoPlayers;
    };

    explicit DashboardWindowManager(Dependencies dependencies = {});
    ~DashboardWindowManager() override;

    /// Opens the dashboard, or brings the open one forward; it closes when the model leaves idle.
    void show(MenuBarViewModel& viewModel);
    /// The same with only the start button's way in (tests).
    void show(std::shared_ptr<RecordingToggle> recording);
    void close();

    QQuickView* window() const { return window_.get(); }
    DashboardViewModel* viewModel() const { return viewModel_.get(); }
    CameraManager* previewCamera() const { return previewCamera_.get(); }

private:
    void applyCaptureSharing();
    void connectPreview();

    Dependencies dependencies_;
    std::shared_ptr<CameraManager> previewCamera_;
    std::unique_ptr<DashboardViewModel> viewModel_;
    std::unique_ptr<QQuickView> window_;
    QMetaObject::Connection stateConnection_;
};

} // namespace vantrel
