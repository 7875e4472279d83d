// A tooltip our process opens after the stream started stays out of the
// frames, wherever it moves, when our process is left out; otherwise it is
// recorded as it is. A real stream on an Xvfb of the test's own.
#include "platform/capture/ScreenStream.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "tests/support/PatternWindow.h"
#include "tests/support/TestServices.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <mutex>
#include <unistd.h>
#include <xcb/xcb.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

constexpr uint32_t kMagenta = 0xff00ff;
constexpr int kWidth = 120, kHeight = 30; // a tooltip's size

uint32_t gradient(int x, int y) {
    return uint32_t((x * 7) & 0xff) << 16 | uint32_t((y * 5) & 0xff) << 8 | uint32_t((x ^ y) & 0xff);
}

/// For each frame, as it arrives (the ring lends only a few buffers): its
/// grab time, and the pixels of the watched rectangle that show the tooltip
/// or differ from the window beneath.
struct FrameChecker final : SCStreamOutput {
    struct Look {
        CMTime grabTime;
        int magenta = 0, notBeneath = 0;
    };
    std::mutex mutex;
    int left = 400, top = 300;
    std::vector<Look> looks;

    void streamDidOutputSampleBuffer(SCStream&, const CMSampleBufferRef& sample, SCStreamOutputType) override {
        const auto frame = CMSampleBufferGetImageBuffer(sample);
        std::lock_guard lock(mutex);
        Look look{sample->presentationTimeStamp()};
        for (int y = top; y < top + kHeight; ++y)
            for (int x = left; x < left + kWidth; ++x) {
                const uint8_t* p = frame->row(y) + x * 4;
                const uint32_t rgb = uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
                look.magenta += rgb == kMagenta;
                look.notBeneath += rgb != gradient(x - 300, y - 200);
            }
        looks.push_back(look);
    }
    /// The first five frames grabbed after `since`.
    std::vector<Look> after(CMTime since) {
        std::vector<Look> found;
        waitUntil(
            [&] {
                std::lock_guard lock(mutex);
                found.clear();
                std::copy_if(looks.begin(), looks.end(), std::back_inserter(found),
                             [&](const Look& look) { return look.grabTime > since; });
                return found.size() >= 5;
            },
            10s);
        return found;
    }
};

} // namespace

class OwnWindowsTest : public ::testing::TestWithParam<bool> {};

TEST_P(OwnWindowsTest, ATooltipOpenedAfterTheStartIsLeftOutWhereverItMovesUnlessWeAreIncluded) {
    const bool leftOut = GetParam();
    qtApp();
    XvfbServer server;
    DisplayList::setShared(nullptr);
    ScreenCaptureService::setShared(nullptr);
    PatternWindow beneath(300, 200, 500, 400, gradient, PatternWindow::Owner::childProcess);
    const auto display = QCoro::waitFor(SCShareableContent::getShareableContent(false, true)).displays.at(0);
    // Our process has no window yet when the stream starts.
    std::vector<SCRunningApplication> excluded;
    if (leftOut) excluded.push_back({getpid(), "", {}});
    SCStreamConfiguration configuration;
    configuration.showsCursor = false;
    SCStream stream(SCContentFilter(display, excluded, {}), configuration, {});
    auto checker = std::make_shared<FrameChecker>();
    DispatchQueue queue("com.vantrel.test.ownWindows", DispatchQoS::userInitiated);
    ASSERT_TRUE(stream.addStreamOutput(checker, SCStreamOutputType::screen, &queue, nullptr));
    QCoro::waitFor(stream.startCapture());

    // An override-redirect window, as tooltips and menus are. Each grab asked
    // for after the server mapped (or moved) it comes after that in the
    // server's order, so no time margin is needed.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const auto sync = [c] { std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); };
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t tooltip = xcb_generate_id(c);
    const uint32_t values[] = {kMagenta, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, tooltip, screen->root, 400, 300, kWidth, kHeight, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(c, tooltip);
    sync();
    auto looks = checker->after(CMClockGetHostTime());
    ASSERT_GE(looks.size(), 5u);
    {
        std::lock_guard lock(checker->mutex);
        checker->left = 600, checker->top = 450;
    }
    const uint32_t position[] = {600, 450};
    xcb_configure_window(c, tooltip, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, position);
    sync();
    const auto moved = checker->after(CMClockGetHostTime());
    ASSERT_GE(moved.size(), 5u);
    looks.insert(looks.end(), moved.begin(), moved.end());
    QCoro::waitFor(stream.stopCapture());
    xcb_disconnect(c);

    for (const auto& look : looks)
        if (leftOut)
            EXPECT_EQ(look.notBeneath, 0) << "the window beneath shows where the tooltip is";
        else
            EXPECT_EQ(look.magenta, kWidth * kHeight);
    DisplayList::setShared(nullptr);
}

INSTANTIATE_TEST_SUITE_P(OurProcess, OwnWindowsTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "LeftOut" : "Included"; });
