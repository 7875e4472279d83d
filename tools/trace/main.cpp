// vantrel-trace: records what the real EventMonitor sees on the primary
// monitor for a while, in the trace format vantrel-render replays.
#include "TraceRecorder.h"
#include "input/EventMonitor.h"
#include "platform/accessibility/AccessibilityOnDemand.h"
#include "platform/displays/Displays.h"

#include <QCoreApplication>
#include <iostream>

using namespace vantrel;
using namespace vantrel::tools;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    TraceOptions options;
    try {
        options = parseTraceOptions(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "vantrel-trace: " << error.what() << "\n" << traceUsage;
        return 2;
    }
    const CGDirectDisplayID display = CGMainDisplayID();
    if (display == 0) {
        std::cout << "❌ No X display: set DISPLAY to a running X server." << std::endl;
        return 1;
    }
    // Focus rectangles and labels start whenever the session's accessibility is on.
    Accessibility::setShared(AccessibilityOnDemand::makeAtspi());

    std::ofstream output(options.outPath);
    if (!output) {
        std::cout << "❌ " << options.outPath.string() << ": cannot be written." << std::endl;
        return 1;
    }
    auto monitor = std::make_shared<EventMonitor>();
    monitor->setTargetDisplayID(display);
    monitor->startMonitoring();
    TraceRecorder recorder(monitor, output);
    recorder.start(options.seconds, [&] {
        monitor->stopMonitoring();
        app.quit();
    });
    const int status = app.exec();
    std::cout << "✅ " << recorder.framesWritten() << " frames written to " << options.outPath.string()
              << std::endl;
    return status;
}
