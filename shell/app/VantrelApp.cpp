#include "shell/app/VantrelApp.h"

#include "devices/DisplayManager.h"
#include "devices/MediaDeviceManager.h"
#include "platform/accessibility/AccessibilityAtspi.h"
#include "platform/core/ConsoleLine.h"
#include "recording/BookmarkManager.h"
#include "platform/runtime/UserDefaults.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/common/AppCommands.h"
#include "shell/menubar/MenuBarViewModel.h"
#include "shell/onboarding/OnboardingWindowManager.h"
#include "shell/settingswindow/SettingsWindowManager.h"
#include "shell/updates/UpdateAlertsWidgets.h"
#include "shell/updates/UpdateManager.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QMenu>
#include <QPalette>
#include <QSystemTrayIcon>
#include <QTimer>

namespace vantrel {

namespace {

/// The stored shortcut as Qt writes it in a menu, e.g. "Ctrl+Alt+R".
QKeySequence recordingKeySequence(const AppSettings& settings) {
    const NSEventModifierFlags flags = settings.recordingModifierFlags();
    QString text;
    if (flags.contains(NSEventModifierFlags::control)) text += QStringLiteral("Ctrl+");
    if (flags.contains(NSEventModifierFlags::option)) text += QStringLiteral("Alt+");
    if (flags.contains(NSEventModifierFlags::shift)) text += QStringLiteral("Shift+");
    if (flags.contains(NSEventModifierFlags::command)) text += QStringLiteral("Meta+");
    return QKeySequence(text + settings.recordingShortcutKey().left(1).toUpper());
}

} // namespace

VantrelApp::VantrelApp() {
    // The settings read the bookmark store and the display manager, so those come first.
    BookmarkManager::shared();
    displayManager_ = DisplayManager::shared();
    settings_ = AppSettings::shared();
    auto accessibility = std::make_shared<AccessibilityAtspi>();
    if (accessibility->isAvailable()) Accessibility::setShared(accessibility);

    viewModel_ = std::make_unique<MenuBarViewModel>();
    updateManager_ =
        std::make_unique<UpdateManager>(UserDefaults::standard(), std::make_unique<UpdateAlertsWidgets>());
    settingsWindow_ =
        std::make_unique<SettingsWindowManager>(settings_, displayManager_, MediaDeviceManager::shared());

    AppCommands& commands = AppCommands::shared();
    commands.onOpenSettings = [this] { settingsWindow_->show(); };
    commands.onCheckForUpdates = [this] { updateManager_->checkForUpdates(); };
    commands.onQuit = [this] { viewModel_->quitApp(); };
    commands.setTrayAvailable(QSystemTrayIcon::isSystemTrayAvailable());

    buildMenu();
    tray_ = new QSystemTrayIcon(this);
    tray_->setToolTip(QStringLiteral("Vantrel"));
    tray_->setContextMenu(menu_.get());
    // A left click opens the same menu, as a menu-bar item does.
    connect(tray_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger) menu_->popup(QCursor::pos());
    });
    updateIcon();
    connect(viewModel_.get(), &MenuBarViewModel::stateChanged, this, [this] {
        updateIcon();
        updateMenu();
    });
    connect(viewModel_.get(), &MenuBarViewModel::showPauseIconChanged, this, &VantrelApp::updateIcon);
    connect(settings_.get(), &AppSettings::recordingShortcutKeyChanged, this, &VantrelApp::updateMenu);
    connect(settings_.get(), &AppSettings::recordingShortcutModifiersRawChanged, this,
            &VantrelApp::updateMenu);
    tray_->show();
    onboardingManager_ = std::make_unique<OnboardingWindowManager>(
        settings_, PermissionsManager::shared(), [this] { return tray_->geometry(); });
    // The arrow at the tray icon has done its job once the user opens the tray menu.
    connect(menu_.get(), &QMenu::aboutToShow, onboardingManager_.get(),
            &OnboardingWindowManager::dismissMenuBarPointer);
    if (!commands.trayAvailable())
        printLine("⚠️ No system tray on this desktop: the dashboard carries Settings, Check for Updates "
                  "and Quit");

    // The first window once the icon is up, on the next turn of the main loop.
    QTimer::singleShot(0, this, &VantrelApp::showFirstWindow);
}

VantrelApp::~VantrelApp() = default;

void VantrelApp::buildMenu() {
    menu_ = std::make_unique<QMenu>();
    dashboardAction_ = menu_->addAction(tr("Open Dashboard"), this, &VantrelApp::openDashboard);
    pauseAction_ = menu_->addAction(tr("⏸ Pause"), viewModel_.get(), &MenuBarViewModel::togglePause);
    pauseAction_->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+P")));
    menu_->addSeparator();
    QAction* settingsAction =
        menu_->addAction(tr("Settings..."), [] { AppCommands::shared().openSettings(); });
    settingsAction->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    QAction* updatesAction =
        menu_->addAction(tr("Check for Updates..."), [] { AppCommands::shared().checkForUpdates(); });
    // Without a feed address the item says so instead of checking.
    if (!updateManager_->isConfigured()) updatesAction->setText(updateManager_->menuItemTitle());
    menu_->addSeparator();
    QAction* quitAction = menu_->addAction(tr("Quit"), viewModel_.get(), &MenuBarViewModel::quitApp);
    quitAction->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    // The menu only shows these keys; the recording shortcut is global and
    // the others work while the menu is open.
    for (QAction* action : menu_->actions())
        action->setShortcutContext(Qt::WidgetShortcut);
    updateMenu();
}

void VantrelApp::updateMenu() {
    dashboardAction_->setShortcut(recordingKeySequence(*settings_));
    pauseAction_->setVisible(viewModel_->isRecording());
    pauseAction_->setText(viewModel_->isPaused() ? tr("▶ Resume") : tr("⏸ Pause"));
}

void VantrelApp::updateIcon() {
    iconKind_ = trayIconKind(viewModel_->state(), viewModel_->showPauseIcon());
    const QColor foreground = QApplication::palette().color(QPalette::WindowText);
    tray_->setIcon(trayIcon(iconKind_, foreground));
}

void VantrelApp::openDashboard() {
    if (settings_->hasCompletedOnboarding())
        viewModel_->showDashboard();
    else
        onboardingManager_->show();
}

void VantrelApp::showFirstWindow() {
    openDashboard();
}

} // namespace vantrel
