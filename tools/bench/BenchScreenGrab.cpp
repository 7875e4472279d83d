// vantrel-bench-grab: the cost of grabbing one frame of the main display of
// $DISPLAY, without and with the pointer, and with a 400x300 window of ours
// left out of the picture (shown, then hidden).
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

using namespace vantrel;

namespace {

constexpr int kWarmupFrames = 20;
constexpr int kMeasuredFrames = 300;
constexpr int kWindowWidth = 400;
constexpr int kWindowHeight = 300;

// A plain window of this process, as the control bar would be.
class OurWindow {
public:
    OurWindow(int x, int y) : c_(xcb_connect(nullptr, nullptr)) {
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c_)).data;
        window_ = xcb_generate_id(c_);
        const uint32_t values[] = {0xcc3333, 1};
        xcb_create_window(c_, XCB_COPY_FROM_PARENT, window_, screen->root, x, y, kWindowWidth, kWindowHeight,
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        setMapped(true);
    }
    ~OurWindow() { xcb_disconnect(c_); }
    void setMapped(bool mapped) {
        if (mapped)
            xcb_map_window(c_, window_);
        else
            xcb_unmap_window(c_, window_);
        std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }
    uint32_t id() const { return window_; }

private:
    xcb_connection_t* c_;
    xcb_window_t window_ = 0;
};

void measure(const char* label, const SCContentFilter& filter, bool cursor) {
    SCStreamConfiguration configuration;
    configuration.showsCursor = cursor;
    NSError error;
    auto source = ScreenCaptureServiceLinux().makeFrameSource(filter, configuration, error);
    if (!source) {
        std::printf("%-36s cannot grab: %s\n", label, error.localizedDescription.c_str());
        return;
    }
    std::vector<double> ms;
    ms.reserve(kMeasuredFrames);
    bool lost = false;
    for (int i = 0; i < kWarmupFrames + kMeasuredFrames; ++i) {
        const auto start = std::chrono::steady_clock::now();
        CVPixelBufferRef frame = source->grabFrame(lost, error);
        const auto end = std::chrono::steady_clock::now();
        if (lost || !frame) {
            std::printf("%-36s grab failed: %s\n", label, error.localizedDescription.c_str());
            return;
        }
        if (i >= kWarmupFrames) ms.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    }
    std::sort(ms.begin(), ms.end());
    double sum = 0;
    for (double v : ms)
        sum += v;
    // The minimum is the cost on an idle machine; the median what a shared one gives.
    std::printf("%-36s min %.3f ms  median %.3f ms  mean %.3f ms  p95 %.3f ms\n", label, ms.front(),
                ms[ms.size() / 2], sum / ms.size(), ms[ms.size() * 95 / 100]);
}

} // namespace

int main() {
    std::vector<Monitor> monitors;
    try {
        monitors = DisplayList::shared()->monitors();
    } catch (const DisplayServiceError& e) {
        std::fprintf(stderr, "No display server: %s\n", e.what());
        return 1;
    }
    if (monitors.empty()) return 1;
    auto main = std::find_if(monitors.begin(), monitors.end(), [](const Monitor& m) { return m.primary; });
    const Monitor& monitor = main != monitors.end() ? *main : monitors.front();
    const SCDisplay display{displayIDForMonitorName(monitor.name),
                            static_cast<int>(monitor.rootFrame.width()),
                            static_cast<int>(monitor.rootFrame.height()), monitor.rootFrame};
    std::printf("%s, %dx%d, %d frames each\n", monitor.name.c_str(), display.width, display.height,
                kMeasuredFrames);

    measure("no pointer", SCContentFilter(display, {}, {}), false);
    measure("pointer", SCContentFilter(display, {}, {}), true);

    OurWindow ours(static_cast<int>(monitor.rootFrame.minX()) + 200,
                   static_cast<int>(monitor.rootFrame.minY()) + 150);
    const SCRunningApplication us{getpid(), "vantrel-bench-grab", {SCWindow{ours.id()}}};
    const SCContentFilter withoutUs(display, {us}, {});
    measure("pointer, 400x300 window left out", withoutUs, true);
    ours.setMapped(false);
    measure("pointer, that window hidden", withoutUs, true);
    return 0;
}
