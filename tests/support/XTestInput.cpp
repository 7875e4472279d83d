#include "XTestInput.h"

#include <cstdlib>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace vantrel::test {

XTestInput::XTestInput() : connection_(xcb_connect(nullptr, nullptr)) {
    if (isConnected()) root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

XTestInput::~XTestInput() {
    xcb_disconnect(connection_);
}

bool XTestInput::isConnected() const {
    return !xcb_connection_has_error(connection_);
}

void XTestInput::fake(uint8_t type, uint8_t detail, int x, int y) {
    xcb_test_fake_input(connection_, type, detail, XCB_CURRENT_TIME, root_, static_cast<int16_t>(x),
                        static_cast<int16_t>(y), 0);
    // A round trip: the server has handled the fake input when it answers.
    free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

void XTestInput::moveTo(int x, int y) {
    fake(XCB_MOTION_NOTIFY, 0, x, y);
}

void XTestInput::button(uint8_t button, bool down) {
    fake(down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, button);
}

void XTestInput::click(uint8_t button) {
    this->button(button, true);
    this->button(button, false);
}

void XTestInput::key(uint32_t keycode, bool down) {
    fake(down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, static_cast<uint8_t>(keycode));
}

void XTestInput::tap(uint32_t keycode) {
    key(keycode, true);
    key(keycode, false);
}

} // namespace vantrel::test
