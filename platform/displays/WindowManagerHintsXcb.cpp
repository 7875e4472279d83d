#include "platform/displays/WindowManagerHints.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <xcb/xcb.h>

namespace vantrel {

namespace {

struct Connection {
    xcb_connection_t* connection = nullptr;
    xcb_screen_t* screen = nullptr;
    int screenNumber = 0;

    Connection() {
        connection = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(connection)) return;
        auto iterator = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; i < screenNumber && iterator.rem; ++i)
            xcb_screen_next(&iterator);
        screen = iterator.rem ? iterator.data : nullptr;
    }
    ~Connection() { xcb_disconnect(connection); }
    bool ok() const { return screen != nullptr; }

    xcb_atom_t atom(const std::string& name) const {
        auto reply = std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)>(
            xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, name.size(), name.c_str()),
                                  nullptr),
            &std::free);
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    void sendToRoot(uint32_t window, xcb_atom_t type, uint32_t d0, uint32_t d1, uint32_t d2) const {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = type;
        event.data.data32[0] = d0;
        event.data.data32[1] = d1;
        event.data.data32[2] = d2;
        event.data.data32[3] = 1; // from a normal application
        xcb_send_event(connection, 0, screen->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    }
};

} // namespace

bool compositingManagerRunning() {
    Connection x;
    if (!x.ok()) return false;
    const xcb_atom_t selection = x.atom("_NET_WM_CM_S" + std::to_string(x.screenNumber));
    auto reply = std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)>(
        xcb_get_selection_owner_reply(x.connection, xcb_get_selection_owner(x.connection, selection),
                                      nullptr),
        &std::free);
    return reply && reply->owner != XCB_WINDOW_NONE;
}

void setWindowOnAllDesktopsSkippingTaskbar(uint32_t window) {
    Connection x;
    if (!x.ok() || window == 0) return;
    constexpr uint32_t kAdd = 1;
    constexpr uint32_t kAllDesktops = 0xFFFFFFFF;
    const xcb_atom_t state = x.atom("_NET_WM_STATE");
    const xcb_atom_t desktop = x.atom("_NET_WM_DESKTOP");
    // A window manager reads the requests; without one the property stands.
    x.sendToRoot(window, state, kAdd, x.atom("_NET_WM_STATE_STICKY"), x.atom("_NET_WM_STATE_SKIP_TASKBAR"));
    x.sendToRoot(window, state, kAdd, x.atom("_NET_WM_STATE_SKIP_PAGER"), XCB_ATOM_NONE);
    x.sendToRoot(window, desktop, kAllDesktops, 0, 0);
    xcb_change_property(x.connection, XCB_PROP_MODE_REPLACE, window, desktop, XCB_ATOM_CARDINAL, 32, 1,
                        &kAllDesktops);
    xcb_flush(x.connection);
}

} // namespace vantrel
