#include "shell/settingswindow/SettingsWindowManager.h"

#include "settings/AppSettings.h"

#include <QFormLayout>
#include <QLabel>
#include <QWidget>

namespace vantrel {

SettingsWindowManager::SettingsWindowManager() = default;

SettingsWindowManager::~SettingsWindowManager() {
    if (window_) window_->close();
}

void SettingsWindowManager::show() {
    if (window_) {
        window_->raise();
        window_->activateWindow();
        return;
    }
    auto settings = AppSettings::shared();
    auto* window = new QWidget;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QObject::tr("Settings"));
    auto* form = new QFormLayout(window);
    form->addRow(QObject::tr("Recording shortcut:"), new QLabel(settings->recordingShortcutDisplayString()));
    form->addRow(QObject::tr("Save recordings to:"),
                 new QLabel(QString::fromStdString(settings->saveDirectoryURL().path.string())));
    window_ = window;
    window->show();
}

} // namespace vantrel
