// vantrel-bench-pointer: how many X round trips one pointer event costs on
// its way through the real input service and EventMonitor on $DISPLAY.
//
// Every xcb reply function ends in xcb_wait_for_reply, called through
// libxcb's symbol table; defining it here puts a counter in front of the real
// one. A reply waited for is a round trip. The pointer is moved with XTest on
// a connection of the benchmark's own, which never waits for a reply.
#include "input/EventMonitor.h"
#include "platform/displays/Displays.h"
#include "platform/input/InputEvents.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <thread>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

std::atomic<long> mainThreadWaits{0}, otherThreadWaits{0};
const std::thread::id mainThread = std::this_thread::get_id();

void countWait() {
    (std::this_thread::get_id() == mainThread ? mainThreadWaits : otherThreadWaits)++;
}

template <typename F> F real(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" void* xcb_wait_for_reply(xcb_connection_t* c, unsigned int request, xcb_generic_error_t** e) {
    static auto next = real<void* (*)(xcb_connection_t*, unsigned int, xcb_generic_error_t**)>(
        "xcb_wait_for_reply");
    countWait();
    return next(c, request, e);
}

extern "C" void* xcb_wait_for_reply64(xcb_connection_t* c, uint64_t request, xcb_generic_error_t** e) {
    static auto next =
        real<void* (*)(xcb_connection_t*, uint64_t, xcb_generic_error_t**)>("xcb_wait_for_reply64");
    countWait();
    return next(c, request, e);
}

using namespace vantrel;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int moves = argc > 1 ? std::atoi(argv[1]) : 300;
    const CGDirectDisplayID display = CGMainDisplayID();
    if (display == 0) {
        std::printf("No X display: set DISPLAY to a running X server.\n");
        return 1;
    }
    auto events = InputEvents::shared();
    constexpr NSEventMask kMoved = maskOf(NSEventType::mouseMoved);
    // Handlers run in the order they were added: these two bracket EventMonitor's.
    long atStart = 0, inHandler = 0, delivered = 0;
    auto before = events->addGlobalMonitorForEvents(kMoved, [&](const NSEvent&) { atStart = mainThreadWaits; });
    auto monitor = std::make_shared<EventMonitor>();
    monitor->setTargetDisplayID(display);
    monitor->startMonitoring();
    auto after = events->addGlobalMonitorForEvents(kMoved, [&](const NSEvent&) {
        inHandler += mainThreadWaits - atStart;
        ++delivered;
    });
    if (!before || !after) {
        std::printf("The input service did not start.\n");
        return 1;
    }

    xcb_connection_t* xtest = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(xtest)).data->root;
    const long otherAtStart = otherThreadWaits;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < moves; ++i) {
        const long expected = delivered + 1;
        xcb_test_fake_input(xtest, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root,
                            static_cast<int16_t>(100 + i % 400), static_cast<int16_t>(100 + i % 2), 0);
        xcb_flush(xtest);
        QElapsedTimer wait;
        wait.start();
        while (delivered < expected && wait.elapsed() < 2000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    const double elapsedMs = static_cast<double>(clock.elapsed());
    monitor->stopMonitoring();
    events->removeMonitor(before);
    events->removeMonitor(after);
    xcb_disconnect(xtest);
    if (delivered == 0) {
        std::printf("No pointer event arrived.\n");
        return 1;
    }
    const auto perEvent = [&](long count) { return static_cast<double>(count) / static_cast<double>(delivered); };
    std::printf("pointer events delivered: %ld of %d moves (%.2f ms each, end to end)\n", delivered, moves,
                elapsedMs / static_cast<double>(delivered));
    std::printf("round trips per event inside EventMonitor's handler (main thread): %.2f\n", perEvent(inHandler));
    std::printf("round trips per event on other threads (the input listener):       %.2f\n",
                perEvent(otherThreadWaits - otherAtStart));
    return 0;
}
