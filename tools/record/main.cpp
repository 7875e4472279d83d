// vantrel-record: the headless recorder. Runs the real ScreenRecorder with
// the user's settings and this run's flags, and leaves the finished files
// where the app would. Standard output carries only the result (the files
// and their frame counts); everything else goes to standard error.
#include "RecordOptions.h"
#include "RecordRun.h"
#include "RunSettings.h"

#include "devices/DisplayManager.h"
#include "platform/accessibility/AccessibilityOnDemand.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"

#include <QCoreApplication>
#include <QTimer>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <unistd.h>

using namespace vantrel;
using namespace vantrel::tools;

namespace {

std::atomic<int> stopSignals{0};

void onStopSignal(int) {
    // A second Ctrl+C leaves at once; the file written so far still plays.
    if (stopSignals.fetch_add(1) > 0) _exit(130);
}

int fail(const std::string& line) {
    std::fprintf(stderr, "vantrel-record: %s\n", line.c_str());
    return 1;
}

/// The display a --display value names: its ID in decimal, or a monitor name.
std::optional<CGDirectDisplayID> findDisplay(const std::string& wanted, const std::vector<Monitor>& monitors) {
    for (const auto& monitor : monitors) {
        const auto id = displayIDForMonitorName(monitor.name);
        if (monitor.name == wanted || std::to_string(id) == wanted) return id;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    RecordOptions options;
    try {
        options = parseRecordOptions(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "vantrel-record: " << error.what() << "\n" << recordUsage;
        return 2;
    }

    // The result goes to the real standard output; the app's own lines to standard error.
    std::FILE* results = fdopen(dup(STDOUT_FILENO), "w");
    dup2(STDERR_FILENO, STDOUT_FILENO);
    // A file that outgrows its limit fails the write instead of killing us,
    // so the recording stops cleanly and what was written stays.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);

    QCoreApplication app(argc, argv);
    std::vector<Monitor> monitors;
    try {
        monitors = DisplayList::shared()->monitors();
    } catch (const DisplayServiceError& error) {
        return fail("no X display (" + error.localizedDescription() + "): set DISPLAY to a running X server");
    }
    if (monitors.empty()) return fail("the X server reports no monitor");
    CGDirectDisplayID display = 0;
    if (options.display) {
        const auto found = findDisplay(*options.display, monitors);
        if (!found) return fail("no display \"" + *options.display + "\"; see xrandr --listmonitors");
        display = *found;
    }
    if (options.outDirectory) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(*options.outDirectory, ignored) ||
            access(options.outDirectory->c_str(), W_OK | X_OK) != 0)
            return fail(options.outDirectory->string() + ": not a folder this user can write to");
    }

    // The settings read the bookmark store and the display manager, so those come first.
    BookmarkManager::shared();
    DisplayManager::shared();
    auto userSettings = AppSettings::shared();
    // Focus rectangles, labels and password safety start whenever the
    // session's accessibility is on, now or later in the run.
    Accessibility::setShared(AccessibilityOnDemand::makeAtspi());

    auto recorder = ScreenRecorder::create(std::make_shared<RunSettings>(userSettings, options, display));
    RecordRun run(recorder, options, results);
    int status = 1;
    QTimer signalWatch;
    QObject::connect(&signalWatch, &QTimer::timeout, [&] {
        if (stopSignals.load() > 0) run.requestStop();
    });
    signalWatch.start(50);
    QTimer::singleShot(0, [&] {
        [](RecordRun& run, int& status) -> QCoro::Task<> {
            status = co_await run.run();
            QCoreApplication::exit(status);
        }(run, status);
    });
    app.exec();
    return status;
}
