#pragma once
// The settings window ("Settings..." in the tray menu). For now a plain
// window that shows where recordings go and the shortcut; the full settings
// replace it.

#include <QPointer>

class QWidget;

namespace vantrel {

class SettingsWindowManager {
public:
    SettingsWindowManager();
    ~SettingsWindowManager();

    /// Opens the settings window, or brings the open one forward.
    void show();

private:
    QPointer<QWidget> window_;
};

} // namespace vantrel
