// vantrel: the screen recorder as a tray application.
#include "shell/app/QuitSignals.h"
#include "shell/app/SingleInstance.h"
#include "shell/app/VantrelApp.h"
#include "shell/menubar/MenuBarViewModel.h"

#include <QApplication>
#include <QGuiApplication>
#include <csignal>
#include <cstdio>

using namespace vantrel;

int main(int argc, char** argv) {
    // A file that outgrows its limit fails the write instead of killing us.
    std::signal(SIGXFSZ, SIG_IGN);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vantrel"));
    QApplication::setOrganizationName(QStringLiteral("Vantrel"));
    QApplication::setQuitOnLastWindowClosed(false);

    if (SingleInstance::askRunningInstanceToShow()) {
        std::puts("Vantrel is already running: its window is shown.");
        return 0;
    }
    SingleInstance instance;
    if (!instance.listen())
        std::puts("⚠️ A second launch will not find this one: the local socket is taken");

    QuitSignals quitSignals;
    VantrelApp vantrel;
    QObject::connect(&instance, &SingleInstance::showRequested, &vantrel, &VantrelApp::showFirstWindow);
    QObject::connect(&quitSignals, &QuitSignals::quitRequested, &vantrel,
                     [&] { vantrel.viewModel().quitApp(); });
    // The session is ending: stop and finish like Quit.
    QObject::connect(&app, &QGuiApplication::commitDataRequest, &vantrel,
                     [&] { vantrel.viewModel().quitApp(); });
    return app.exec();
}
