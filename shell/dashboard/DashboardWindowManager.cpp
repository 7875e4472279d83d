#include "shell/dashboard/DashboardWindowManager.h"

#include "shell/common/AppCommands.h"
#include "shell/menubar/MenuBarViewModel.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

namespace vantrel {

DashboardWindowManager::DashboardWindowManager() = default;

DashboardWindowManager::~DashboardWindowManager() {
    close();
}

void DashboardWindowManager::show(MenuBarViewModel& viewModel) {
    if (window_) {
        window_->raise();
        window_->activateWindow();
        return;
    }
    auto* window = new QWidget;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QStringLiteral("Vantrel"));
    window->setFixedSize(kWidth, kHeight);
    window->setStyleSheet(QStringLiteral("background:#1c1c1e; color:white;"));
    auto* layout = new QVBoxLayout(window);
    auto* title = new QLabel(QObject::tr("Vantrel"));
    title->setStyleSheet(QStringLiteral("font-size:22px; font-weight:bold;"));
    layout->addWidget(title, 0, Qt::AlignHCenter);
    layout->addStretch();
    auto* start = new QPushButton(QObject::tr("Start Recording"));
    start->setAccessibleName(start->text());
    start->setMinimumHeight(44);
    QObject::connect(start, &QPushButton::clicked, &viewModel, [model = QPointer(&viewModel)] {
        if (model) model->toggleRecording();
    });
    layout->addWidget(start);
    AppCommands& commands = AppCommands::shared();
    if (!commands.trayAvailable()) {
        // No tray to hold the menu: its commands live here.
        const std::pair<QString, void (AppCommands::*)()> items[] = {
            {QObject::tr("Settings..."), &AppCommands::openSettings},
            {QObject::tr("Check for Updates..."), &AppCommands::checkForUpdates},
            {QObject::tr("Quit"), &AppCommands::quit}};
        for (const auto& [text, command] : items) {
            auto* button = new QPushButton(text);
            button->setAccessibleName(text);
            QObject::connect(button, &QPushButton::clicked, &commands, command);
            layout->addWidget(button);
        }
    }
    window_ = window;
    window->show();
    window->raise();
    window->activateWindow();
}

void DashboardWindowManager::close() {
    if (window_) window_->close();
    window_ = nullptr;
}

} // namespace vantrel
