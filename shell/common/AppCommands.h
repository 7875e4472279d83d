#pragma once
// The app-wide commands of the tray menu (settings, update check, quit), for
// the windows that must offer them when the desktop has no tray to hold the
// menu. The app sets them up once at start.

#include <QObject>
#include <functional>

namespace vantrel {

class AppCommands final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool trayAvailable READ trayAvailable NOTIFY trayAvailableChanged)

public:
    static AppCommands& shared();

    /// False when no tray host is there: the dashboard then carries the commands.
    bool trayAvailable() const { return trayAvailable_; }
    void setTrayAvailable(bool value);

    Q_INVOKABLE void openSettings() {
        if (onOpenSettings) onOpenSettings();
    }
    Q_INVOKABLE void checkForUpdates() {
        if (onCheckForUpdates) onCheckForUpdates();
    }
    Q_INVOKABLE void quit() {
        if (onQuit) onQuit();
    }

    std::function<void()> onOpenSettings;
    std::function<void()> onCheckForUpdates;
    std::function<void()> onQuit;

signals:
    void trayAvailableChanged();

private:
    bool trayAvailable_ = true;
};

} // namespace vantrel
