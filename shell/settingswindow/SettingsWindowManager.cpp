#include "shell/settingswindow/SettingsWindowManager.h"

#include "devices/DisplayManager.h"
#include "devices/MediaDeviceManager.h"
#include "settings/AppSettings.h"
#include "shell/common/FixedWindow.h"
#include "shell/settingswindow/FolderIconProvider.h"
#include "shell/settingswindow/SettingsViewModel.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>
#include <QScreen>
#include <QTimer>

namespace vantrel {

namespace {

// The window background under the pages, as the view paints it.
const QColor kWindowColor(0x1c, 0x1c, 0x1e);

} // namespace

SettingsWindowManager::SettingsWindowManager(std::shared_ptr<AppSettings> settings,
                                             std::shared_ptr<DisplayManager> displays,
                                             std::shared_ptr<MediaDeviceManager> devices, QObject* parent)
    : QObject(parent), settings_(std::move(settings)), displays_(std::move(displays)),
      devices_(std::move(devices)) {}

SettingsWindowManager::~SettingsWindowManager() {
    // The view goes before the model its bindings read.
    window_.reset();
    viewModel_.reset();
}

void SettingsWindowManager::show() {
    if (window_) {
        window_->show();
        window_->raise();
        window_->requestActivate();
        return;
    }
    viewModel_ =
        std::make_unique<SettingsViewModel>(settings_, displays_, devices_, FolderChooser::makeFileDialog());
    viewModel_->shortcutField()->setKeyTranslator(ShortcutKeyTranslator::forApplication());

    window_ = std::make_unique<QQuickView>();
    window_->setTitle(tr("Settings"));
    window_->setColor(kWindowColor);
    window_->engine()->addImageProvider(FolderIconProvider::kName, new FolderIconProvider);
    window_->rootContext()->setContextProperty(QStringLiteral("settingsView"), viewModel_.get());
    window_->setResizeMode(QQuickView::SizeRootObjectToView);
    window_->setSource(QUrl(QStringLiteral("qrc:/vantrel/settings/Settings.qml")));
    makeFixedAndCentred(*window_, {kWindowWidth, kWindowHeight});
    // Closed by its title bar: let go of the window once the close has been handled.
    connect(window_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible) QTimer::singleShot(0, this, &SettingsWindowManager::discard);
    });
    window_->show();
    window_->requestActivate();
}

void SettingsWindowManager::discard() {
    if (!window_ || window_->isVisible()) return;
    window_.reset();
    viewModel_.reset();
}

} // namespace vantrel
