#include "PatternWindow.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace vantrel::test {

namespace {

void roundTrip(xcb_connection_t* c) {
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

// Makes the window on `c` and returns its ID, or 0. Runs in the child too,
// so it only uses the connection it is given.
uint32_t makeWindow(xcb_connection_t* c, int x, int y, int width, int height,
                    const PatternWindow::Pattern& pattern) {
    if (xcb_connection_has_error(c)) return 0;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, screen->root_depth, pixmap, screen->root, width, height);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, 0, nullptr);
    // Row by row: a request must stay below the server's size limit.
    std::vector<uint32_t> row(width);
    for (int py = 0; py < height; ++py) {
        for (int px = 0; px < width; ++px)
            row[px] = pattern(px, py) & 0xffffff;
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, width, 1, 0, py, 0, screen->root_depth,
                      width * 4, reinterpret_cast<const uint8_t*>(row.data()));
    }
    const xcb_window_t window = xcb_generate_id(c);
    // Override-redirect: a window manager, if any, leaves it where it is put.
    const uint32_t values[] = {pixmap, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, x, y, width, height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values);
    const pid_t pid = getpid();
    const char name[] = "_NET_WM_PID";
    auto* atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr);
    if (atom) {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom->atom, XCB_ATOM_CARDINAL, 32, 1, &pid);
        std::free(atom);
    }
    xcb_free_gc(c, gc);
    xcb_free_pixmap(c, pixmap);
    xcb_map_window(c, window);
    roundTrip(c);
    return xcb_connection_has_error(c) ? 0 : window;
}

} // namespace

PatternWindow::PatternWindow(int x, int y, int width, int height, Pattern pattern, Owner owner)
    : connection_(xcb_connect(nullptr, nullptr)), pattern_(std::move(pattern)) {
    if (owner == Owner::thisProcess) {
        window_ = makeWindow(connection_, x, y, width, height, pattern_);
        ownerPid_ = getpid();
        return;
    }
    int report[2], alive[2];
    if (pipe(report) != 0 || pipe(alive) != 0) throw std::runtime_error("pipe failed");
    child_ = fork();
    if (child_ == 0) {
        close(report[0]);
        close(alive[1]);
        xcb_connection_t* own = xcb_connect(nullptr, nullptr);
        const uint32_t window = makeWindow(own, x, y, width, height, pattern_);
        if (write(report[1], &window, sizeof window) != sizeof window) _exit(1);
        char byte;
        while (read(alive[0], &byte, 1) > 0) {
        }
        _exit(0); // the server destroys the window with the connection
    }
    close(report[1]);
    close(alive[0]);
    keepAlive_ = alive[1];
    uint32_t window = 0;
    if (read(report[0], &window, sizeof window) == sizeof window) window_ = window;
    close(report[0]);
    ownerPid_ = child_;
}

PatternWindow::~PatternWindow() {
    if (keepAlive_ >= 0) close(keepAlive_);
    if (child_ > 0) waitpid(child_, nullptr, 0);
    xcb_disconnect(connection_);
}

void PatternWindow::sync() {
    roundTrip(connection_);
}

void PatternWindow::map() {
    xcb_map_window(connection_, window_);
    sync();
}

void PatternWindow::unmap() {
    xcb_unmap_window(connection_, window_);
    sync();
}

void PatternWindow::moveTo(int x, int y) {
    const uint32_t values[] = {static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
    xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    sync();
}

PatternWindow::Pattern PatternWindow::solid(uint32_t rgb) {
    return [rgb](int, int) { return rgb; };
}

} // namespace vantrel::test
