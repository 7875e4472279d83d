#pragma once
// The process's entry: the shared objects in their order, the one
// menu-bar model, the tray icon with its menu, and the first window once
// the icon is up. The app is a tray item: closing its windows leaves it
// running; it ends through Quit, SIGTERM/SIGINT or the end of the session,
// each of which finishes a running recording's files first.

#include "shell/app/TrayIcons.h"

#include <QObject>
#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace vantrel {

class AppSettings;
class DisplayManager;
class MenuBarViewModel;
class OnboardingWindowManager;
class SettingsWindowManager;
class UpdateManager;

class VantrelApp final : public QObject {
    Q_OBJECT

public:
    VantrelApp();
    ~VantrelApp() override;

    MenuBarViewModel& viewModel() { return *viewModel_; }
    /// The kind of icon the tray shows now.
    TrayIconKind currentIconKind() const { return iconKind_; }

    /// What a second launch asks for: the dashboard, or the onboarding when not done.
    void showFirstWindow();
    /// "Open Dashboard" in the menu.
    void openDashboard();

private:
    void buildMenu();
    void updateIcon();
    void updateMenu();

    std::shared_ptr<DisplayManager> displayManager_;
    std::shared_ptr<AppSettings> settings_;
    std::unique_ptr<MenuBarViewModel> viewModel_;
    std::unique_ptr<UpdateManager> updateManager_;
    std::unique_ptr<OnboardingWindowManager> onboardingManager_;
    std::unique_ptr<SettingsWindowManager> settingsWindow_;
    std::unique_ptr<QMenu> menu_;
    QSystemTrayIcon* tray_ = nullptr;
    QAction* dashboardAction_ = nullptr;
    QAction* pauseAction_ = nullptr;
    TrayIconKind iconKind_ = TrayIconKind::idle;
};

} // namespace vantrel
