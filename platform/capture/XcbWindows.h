#pragma once
// Top-level windows of the X server as the window stack and their owners:
// which process made a window (X-Resource, else _NET_WM_PID), which window
// the application itself made inside a window manager's frame, and which
// window is topmost at a point. Shared by the capture's application list,
// the accessibility hit test and the password guard of the key input.

#include "platform/core/Geometry.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>
#include <xcb/xcb.h>

namespace vantrel::xcbwindows {

xcb_atom_t internAtom(xcb_connection_t* c, const char* name);
/// The children of `window`, bottom of the stack first.
std::vector<xcb_window_t> childrenOf(xcb_connection_t* c, xcb_window_t window);
/// The window the application itself made: `topLevel` when no window manager
/// reparents, else the first descendant with WM_STATE inside the frame.
xcb_window_t clientWindow(xcb_connection_t* c, xcb_window_t topLevel, xcb_atom_t wmState);
/// The server offers client IDs (X-Resource 1.2).
bool hasClientIds(xcb_connection_t* c);
/// The process of the client that made `window`; 0 when unknown (a remote client
/// without _NET_WM_PID).
pid_t processOf(xcb_connection_t* c, xcb_window_t window, bool clientIds, xcb_atom_t netWmPid);

/// A viewable top-level window, seen through its client window.
struct StackedWindow {
    xcb_window_t client = 0;
    pid_t processID = 0;
    CGRect frame;  ///< the top-level window (the frame under a window manager), root coordinates
    CGRect bounds; ///< the client window, root coordinates
    std::string title;
};

/// The window stack of the default screen over a connection of its own.
/// Not thread-safe: one owner thread.
class WindowStack {
public:
    WindowStack();
    ~WindowStack();
    WindowStack(const WindowStack&) = delete;
    WindowStack& operator=(const WindowStack&) = delete;

    /// The topmost viewable window containing the root point (x, y), windows of
    /// `ignoredProcess` (our own bar, painted out of the picture) passed over.
    /// The server's own stacking order (QueryTree of the root) is used: it is
    /// the order with or without a window manager, and it also holds the
    /// override-redirect menus and tooltips that a manager's client list lacks.
    std::optional<StackedWindow> topmostAt(int x, int y, pid_t ignoredProcess);

    /// The process owning the window with the keyboard focus (the window under
    /// the pointer while the focus follows the pointer); 0 when unknown.
    pid_t focusedProcess();

private:
    bool connect();
    pid_t processOfFocus(xcb_window_t window);

    xcb_connection_t* connection_ = nullptr;
    xcb_window_t root_ = 0;
    xcb_atom_t wmState_ = XCB_ATOM_NONE, netWmPid_ = XCB_ATOM_NONE, netWmName_ = XCB_ATOM_NONE,
               utf8String_ = XCB_ATOM_NONE;
    bool clientIds_ = false;
    // A window keeps its owner: a key press whose focus did not move costs
    // one round trip.
    xcb_window_t lastFocus_ = XCB_NONE;
    pid_t lastFocusProcess_ = 0;
};

} // namespace vantrel::xcbwindows
