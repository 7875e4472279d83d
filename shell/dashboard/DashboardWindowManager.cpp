#include "shell/dashboard/DashboardWindowManager.h"

#include "devices/CameraManager.h"
#include "devices/CameraPreviewItem.h"
#include "devices/MediaDeviceManager.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/common/AppCommands.h"
#include "shell/common/FixedWindow.h"
#include "shell/dashboard/DashboardSystemServices.h"
#include "shell/dashboard/DashboardViewModel.h"
#include "shell/dashboard/DemoLoopPlayer.h"
#include "shell/dashboard/DemoVideoItem.h"
#include "shell/menubar/MenuBarViewModel.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>

namespace vantrel {

namespace {

class ToggleOf final : public RecordingToggle {
public:
    explicit ToggleOf(MenuBarViewModel& model) : model_(&model) {}
    void toggleRecording() override {
        if (model_) model_->toggleRecording();
    }

private:
    QPointer<MenuBarViewModel> model_;
};

void registerViewTypes() {
    static const bool registered = [] {
        qmlRegisterType<CameraPreviewItem>("Vantrel.Dashboard", 1, 0, "CameraPreviewItem");
        qmlRegisterType<DemoVideoItem>("Vantrel.Dashboard", 1, 0, "DemoVideoItem");
        return true;
    }();
    (void)registered;
}

} // namespace

DashboardWindowManager::DashboardWindowManager(Dependencies dependencies)
    : dependencies_(std::move(dependencies)) {}

DashboardWindowManager::~DashboardWindowManager() {
    close();
}

void DashboardWindowManager::show(MenuBarViewModel& viewModel) {
    const bool opening = !window_;
    show(std::make_shared<ToggleOf>(viewModel));
    if (!opening) return;
    // Any state but idle closes it: the recording needs the camera, and the screen.
    stateConnection_ = connect(&viewModel, &MenuBarViewModel::stateChanged, this, [this, &viewModel] {
        if (viewModel.state() != AppRecordingState::idle) close();
    });
}

void DashboardWindowManager::show(std::shared_ptr<RecordingToggle> recording) {
    if (window_) {
        window_->show();
        window_->raise();
        window_->requestActivate();
        return;
    }
    registerViewTypes();
    Dependencies& d = dependencies_;
    if (!d.settings) d.settings = AppSettings::shared();
    if (!d.devices) d.devices = MediaDeviceManager::shared();
    if (!d.permissions)
        d.permissions = std::make_shared<DashboardPermissionsSystem>(PermissionsManager::shared());
    if (!d.demoPlayers) d.demoPlayers = std::make_shared<DemoLoopPlayerFactory>();

    // Each opening has a camera of its own, never the recorder's.
    previewCamera_ = std::make_shared<CameraManager>();
    viewModel_ = std::make_unique<DashboardViewModel>(
        d.settings, d.devices,
        DashboardViewModel::Services{d.permissions,
                                     d.demoPlayers,
                                     std::make_shared<PreviewCameraManager>(previewCamera_),
                                     std::move(recording),
                                     DelayedCalls::mainThread(),
                                     {}});
    // The close button is pressed inside the view: the view goes after its handler has returned.
    viewModel_->onClose = [self = QPointer(this)] {
        QMetaObject::invokeMethod(
            self,
            [self] {
                if (self) self->close();
            },
            Qt::QueuedConnection);
    };

    window_ = std::make_unique<QQuickView>();
    window_->setTitle(QStringLiteral("Vantrel"));
    window_->setFlags(Qt::Window | Qt::FramelessWindowHint);
    window_->setColor(QColor::fromRgbF(0.03f, 0.03f, 0.05f));
    window_->rootContext()->setContextProperty(QStringLiteral("dashboard"), viewModel_.get());
    window_->rootContext()->setContextProperty(QStringLiteral("commands"), &AppCommands::shared());
    window_->setResizeMode(QQuickView::SizeRootObjectToView);
    window_->setSource(QUrl(QStringLiteral("qrc:/vantrel/dashboard/Dashboard.qml")));
    for (const auto& error : window_->errors())
        qWarning("dashboard: %s", qPrintable(error.toString()));
    makeFixedAndCentred(*window_, {kWidth, kHeight});
    applyCaptureSharing();
    connectPreview();
    // Closed by the window manager (Alt+F4): the same as the close button.
    connect(window_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible) viewModel_->close();
    });
    window_->show();
    window_->raise();
    window_->requestActivate();
    viewModel_->appear();
}

void DashboardWindowManager::connectPreview() {
    auto* item = window_->rootObject()
                     ? window_->rootObject()->findChild<CameraPreviewItem*>(QStringLiteral("cameraPreview"))
                     : nullptr;
    if (!item) return;
    QPointer<CameraPreviewItem> preview(item);
    const auto follow = [preview, camera = previewCamera_.get()] {
        if (preview) preview->setSession(camera->captureSession());
    };
    connect(previewCamera_.get(), &CameraManager::captureSessionChanged, item, follow);
    follow();
}

void DashboardWindowManager::applyCaptureSharing() {
    // Whether our windows show in a recording is the screen grab's business; this says which way.
    window_->setProperty("vantrelIncludeInCapture", dependencies_.settings->includeAppInCapture());
}

void DashboardWindowManager::close() {
    if (!window_) return;
    disconnect(stateConnection_);
    // The view model goes last: disappearing stops the preview and the demo.
    viewModel_->onClose = nullptr;
    viewModel_->disappear();
    window_->disconnect(this);
    window_->close();
    window_.reset();
    viewModel_.reset();
    previewCamera_.reset();
}

} // namespace vantrel
