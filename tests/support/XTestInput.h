#pragma once
// Input that tests send to their X server through XTest, as a user's
// devices would. Debian's `xdotool mousemove` does not move the pointer under
// Xvfb; XTest's fake motion does. Every call returns once the server has
// processed it.

#include <cstdint>

struct xcb_connection_t;

namespace vantrel::test {

class XTestInput {
public:
    /// Connects to $DISPLAY.
    XTestInput();
    ~XTestInput();
    XTestInput(const XTestInput&) = delete;
    XTestInput& operator=(const XTestInput&) = delete;

    bool isConnected() const;
    /// Moves the pointer to root coordinates (top left, y down).
    void moveTo(int x, int y);
    void button(uint8_t button, bool down);
    void click(uint8_t button = 1);
    /// `keycode` is an X keycode (evdev code + 8).
    void key(uint32_t keycode, bool down);
    void tap(uint32_t keycode);

private:
    void fake(uint8_t type, uint8_t detail, int x = 0, int y = 0);
    xcb_connection_t* connection_;
    uint32_t root_ = 0;
};

/// X keycodes of keys the tests press, by their US names.
namespace keycode {
inline constexpr uint32_t a = 38, k = 45, z = 52, y = 29, one = 10, ret = 36, leftArrow = 113, f13 = 191;
inline constexpr uint32_t shiftL = 50, controlL = 37, altL = 64, superL = 133;
} // namespace keycode

} // namespace vantrel::test
