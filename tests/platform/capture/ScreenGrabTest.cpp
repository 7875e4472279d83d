// Grabs of a real X server (an Xvfb of each test's own): the picture equals
// what other clients show, pixel for pixel and opaque; a monitor gives its
// own rectangle; the pointer is drawn where it is, as XFixes shows it, and
// only when asked; our own windows are painted out with what lies beneath
// them.
#include "platform/displays/Displays.h"
#include "platform/capture/ScreenCaptureServiceLinux.h"
#include "platform/capture/ScreenStream.h"
#include "tests/support/PatternWindow.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <QCoro/QCoroTask>
#include <algorithm>
#include <gtest/gtest.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

uint32_t rgbAt(const CVPixelBuffer& frame, int x, int y) {
    const uint8_t* p = frame.row(y) + static_cast<size_t>(x) * 4;
    return uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

uint8_t alphaAt(const CVPixelBuffer& frame, int x, int y) {
    return frame.row(y)[static_cast<size_t>(x) * 4 + 3];
}

uint32_t gradient(int x, int y) {
    return uint32_t((x * 7) & 0xff) << 16 | uint32_t((y * 5) & 0xff) << 8 | uint32_t((x ^ y) & 0xff);
}

SCShareableContent currentContent() {
    return QCoro::waitFor(SCShareableContent::getShareableContent(false, true));
}

SCDisplay displayNamed(const char* name) {
    for (const auto& display : currentContent().displays)
        if (display.displayID == displayIDForMonitorName(name)) return display;
    return {};
}

SCStreamConfiguration configuration(bool cursor, int queueDepth = 3) {
    SCStreamConfiguration c;
    c.showsCursor = cursor;
    c.minimumFrameInterval = CMTime(1, 60);
    c.queueDepth = queueDepth;
    return c;
}

std::vector<SCRunningApplication> ourApplications(const SCShareableContent& content) {
    std::vector<SCRunningApplication> ours;
    for (const auto& application : content.applications)
        if (application.processID == getpid()) ours.push_back(application);
    return ours;
}

CVPixelBufferRef grabOnce(const SCContentFilter& filter, const SCStreamConfiguration& config) {
    NSError error;
    auto source = ScreenCaptureServiceLinux().makeFrameSource(filter, config, error);
    EXPECT_NE(source, nullptr) << error.localizedDescription;
    if (!source) return nullptr;
    bool lost = false;
    auto frame = source->grabFrame(lost, error);
    EXPECT_FALSE(lost) << error.localizedDescription;
    return frame;
}

// Counts the pixels of `area` (frame coordinates) that differ from `expected(x, y)`.
int mismatches(const CVPixelBuffer& frame, int left, int top, int width, int height,
               const std::function<uint32_t(int, int)>& expected) {
    int wrong = 0;
    for (int y = top; y < top + height; ++y)
        for (int x = left; x < left + width; ++x)
            if (rgbAt(frame, x, y) != (expected(x, y) & 0xffffff)) ++wrong;
    return wrong;
}

struct CursorPicture {
    int left = 0, top = 0, width = 0, height = 0;
    std::vector<uint32_t> argb;
};

CursorPicture cursorNow() {
    CursorPicture picture;
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    xcb_xfixes_query_version_reply_t* version =
        xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr);
    std::free(version);
    auto* image = xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr);
    if (image) {
        picture = {image->x - image->xhot, image->y - image->yhot, image->width, image->height, {}};
        const uint32_t* data = xcb_xfixes_get_cursor_image_cursor_image(image);
        picture.argb.assign(data, data + image->width * image->height);
        std::free(image);
    }
    xcb_disconnect(c);
    return picture;
}

// The pointer over a plain colour, as the screen shows it.
uint32_t cursorOver(const CursorPicture& cursor, int x, int y, uint32_t background) {
    const int cx = x - cursor.left, cy = y - cursor.top;
    if (cx < 0 || cy < 0 || cx >= cursor.width || cy >= cursor.height) return background;
    const uint32_t argb = cursor.argb[cy * cursor.width + cx];
    const uint32_t inverse = 255 - (argb >> 24);
    uint32_t result = 0;
    for (int shift = 0; shift <= 16; shift += 8) {
        const uint32_t s = (argb >> shift) & 0xff, d = (background >> shift) & 0xff;
        result |= std::min<uint32_t>(255, s + (d * inverse + 127) / 255) << shift;
    }
    return result;
}

class ScreenGrabTest : public ::testing::Test {
protected:
    void SetUp() override {
        qtApp();
        DisplayList::setShared(nullptr);
        ScreenCaptureService::setShared(nullptr);
    }
    void TearDown() override { DisplayList::setShared(nullptr); }
    XvfbServer server;
};

} // namespace

TEST_F(ScreenGrabTest, TheGrabIsWhatAnotherClientShowsPixelForPixelAndOpaqueOnEachMonitor) {
    ASSERT_TRUE(server.setMonitor("SIDE", 641, 480, 1200, 500));
    PatternWindow other(123, 77, 200, 150, gradient, PatternWindow::Owner::childProcess);
    PatternWindow onSide(1250, 550, 100, 80, gradient, PatternWindow::Owner::childProcess);
    ASSERT_TRUE(other.isValid());
    auto frame = grabOnce(SCContentFilter(displayNamed("screen"), {}, {}), configuration(false));
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(frame->width(), 1920);
    ASSERT_EQ(frame->height(), 1080);
    EXPECT_EQ(mismatches(*frame, 123, 77, 200, 150, [](int x, int y) { return gradient(x - 123, y - 77); }),
              0);
    int transparent = 0;
    for (int y = 0; y < frame->height(); ++y)
        for (int x = 0; x < frame->width(); ++x)
            transparent += alphaAt(*frame, x, y) != 255;
    EXPECT_EQ(transparent, 0);

    const SCDisplay side = displayNamed("SIDE");
    EXPECT_EQ(side.frame, CGRect(1200, 500, 641, 480));
    auto sideFrame = grabOnce(SCContentFilter(side, {}, {}), configuration(false));
    ASSERT_NE(sideFrame, nullptr);
    ASSERT_EQ(sideFrame->width(), 641);
    ASSERT_EQ(sideFrame->height(), 480);
    EXPECT_EQ(mismatches(*sideFrame, 50, 50, 100, 80, [](int x, int y) { return gradient(x - 50, y - 50); }), 0);
    // An odd width, no multiple of four: the last pixels of a row are made opaque too.
    for (int y = 0; y < 480; y += 7)
        ASSERT_EQ(alphaAt(*sideFrame, 640, y), 255) << "row " << y;
}

TEST_F(ScreenGrabTest, ThePointerIsDrawnAsXFixesShowsItAndOnlyWhenAsked) {
    static constexpr uint32_t kGrey = 0x336699;
    PatternWindow backdrop(400, 300, 400, 400, PatternWindow::solid(kGrey),
                           PatternWindow::Owner::childProcess);
    XTestInput input;
    ASSERT_TRUE(input.isConnected());
    input.moveTo(550, 450);
    const SCContentFilter filter(displayNamed("screen"), {}, {});

    NSError error;
    bool lost = false;
    auto source = ScreenCaptureServiceLinux().makeFrameSource(filter, configuration(true), error);
    ASSERT_NE(source, nullptr);
    auto check = [&](const char* when) {
        const CursorPicture cursor = cursorNow();
        ASSERT_GT(cursor.width, 0);
        auto frame = source->grabFrame(lost, error);
        ASSERT_NE(frame, nullptr);
        const int left = cursor.left - 4, top = cursor.top - 4;
        EXPECT_EQ(mismatches(*frame, left, top, cursor.width + 8, cursor.height + 8,
                             [&](int x, int y) { return cursorOver(cursor, x, y, kGrey); }),
                  0)
            << when;
        EXPECT_GT(mismatches(*frame, left, top, cursor.width + 8, cursor.height + 8,
                             [](int, int) { return kGrey; }),
                  0)
            << when << ": the pointer must show";
    };
    check("first position");
    input.moveTo(610, 520);
    check("after a move");

    // Another shape over the backdrop: the grab follows the new image.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_font_t font = xcb_generate_id(c);
    xcb_open_font(c, font, 6, "cursor");
    const xcb_cursor_t shape = xcb_generate_id(c);
    constexpr uint16_t kHand = 58;
    xcb_create_glyph_cursor(c, shape, font, font, kHand, kHand + 1, 0, 0, 0, 0xffff, 0xffff, 0xffff);
    xcb_change_window_attributes(c, backdrop.id(), XCB_CW_CURSOR, &shape);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    check("after a shape change");
    xcb_disconnect(c);

    auto plain = grabOnce(filter, configuration(false));
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(mismatches(*plain, 500, 400, 200, 200, [](int, int) { return kGrey; }), 0);
}

TEST_F(ScreenGrabTest, OurWindowsAreLeftOutAndWhatIsBeneathShows) {
    PatternWindow beneath(300, 200, 500, 400, gradient, PatternWindow::Owner::childProcess);
    PatternWindow ours(400, 300, 200, 150, PatternWindow::solid(0xff0000), PatternWindow::Owner::thisProcess);
    PatternWindow above(550, 420, 100, 100, PatternWindow::solid(0x00ff00),
                        PatternWindow::Owner::childProcess);
    const SCShareableContent content = currentContent();

    const auto mine = ourApplications(content);
    ASSERT_EQ(mine.size(), 1u);
    EXPECT_NE(std::find(mine[0].windows.begin(), mine[0].windows.end(), SCWindow{ours.id()}),
              mine[0].windows.end());
    auto theirs = std::find_if(content.applications.begin(), content.applications.end(),
                               [&](const auto& a) { return a.processID == beneath.ownerPid(); });
    ASSERT_NE(theirs, content.applications.end());
    EXPECT_EQ(theirs->windows, std::vector<SCWindow>{SCWindow{beneath.id()}});

    const SCDisplay display = displayNamed("screen");
    auto expected = [](int x, int y) {
        if (x >= 550 && y >= 420) return 0x00ff00u; // the window above ours stays
        return gradient(x - 300, y - 200);
    };
    auto included = grabOnce(SCContentFilter(display, {}, {}), configuration(false));
    ASSERT_NE(included, nullptr);
    EXPECT_GT(mismatches(*included, 400, 300, 200, 150, expected), 10000)
        << "our window shows when not excluded";

    auto excluded = grabOnce(SCContentFilter(display, mine, {}), configuration(false));
    ASSERT_NE(excluded, nullptr);
    EXPECT_EQ(mismatches(*excluded, 400, 300, 200, 150, expected), 0);
    EXPECT_EQ(alphaAt(*excluded, 450, 350), 255);
    // Outside our window nothing changed.
    EXPECT_EQ(
        mismatches(*excluded, 300, 200, 100, 400, [](int x, int y) { return gradient(x - 300, y - 200); }),
        0);

    // An excepted window stays in the picture.
    auto excepted = grabOnce(SCContentFilter(display, mine, {SCWindow{ours.id()}}), configuration(false));
    ASSERT_NE(excepted, nullptr);
    EXPECT_EQ(rgbAt(*excepted, 450, 350), 0xff0000u);
}

TEST_F(ScreenGrabTest, UnderAWindowManagerTheFrameIsOurTopLevelWindow) {
    PatternWindow beneath(300, 200, 500, 400, gradient, PatternWindow::Owner::childProcess);
    // The frame belongs to another client, as a window manager's would; our
    // window inside it carries WM_STATE, as managed clients do.
    PatternWindow frame(400, 300, 200, 150, PatternWindow::solid(0x0000ff),
                        PatternWindow::Owner::childProcess);
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t client = xcb_generate_id(c);
    const uint32_t red = 0xff0000;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, client, frame.id(), 10, 20, 180, 120, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL, &red);
    auto* wmState = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 8, "WM_STATE"), nullptr);
    ASSERT_NE(wmState, nullptr);
    const uint32_t normal[] = {1, 0};
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, client, wmState->atom, wmState->atom, 32, 2, normal);
    std::free(wmState);
    xcb_map_window(c, client);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));

    const SCShareableContent content = currentContent();
    const auto mine = ourApplications(content);
    ASSERT_EQ(mine.size(), 1u);
    EXPECT_EQ(mine[0].windows, std::vector<SCWindow>{SCWindow{frame.id()}});

    auto excluded = grabOnce(SCContentFilter(displayNamed("screen"), mine, {}), configuration(false));
    ASSERT_NE(excluded, nullptr);
    EXPECT_EQ(
        mismatches(*excluded, 400, 300, 200, 150, [](int x, int y) { return gradient(x - 300, y - 200); }),
        0);
    xcb_disconnect(c);
}
