#include "platform/capture/XcbWindows.h"
#include "platform/capture/WindowOwnerXcb.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/res.h>

namespace vantrel::xcbwindows {

namespace {

// Window managers put the client window one or two levels inside their frame.
constexpr int kClientSearchDepth = 3;
// A parent chain longer than this is not a real window tree.
constexpr int kMaximumAncestors = 32;

template <typename Reply> using ReplyPtr = std::unique_ptr<Reply, decltype(&std::free)>;
template <typename Reply> ReplyPtr<Reply> own(Reply* reply) {
    return {reply, &std::free};
}

bool hasProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property) {
    auto reply = own(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0), nullptr));
    return reply && reply->type != XCB_ATOM_NONE;
}

pid_t pidFromProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t netWmPid) {
    if (netWmPid == XCB_ATOM_NONE) return 0;
    auto reply = own(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, netWmPid, XCB_ATOM_CARDINAL, 0, 1), nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) return 0;
    return static_cast<pid_t>(*static_cast<const uint32_t*>(xcb_get_property_value(reply.get())));
}

std::string textProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property, xcb_atom_t type) {
    if (property == XCB_ATOM_NONE) return {};
    auto reply = own(xcb_get_property_reply(c, xcb_get_property(c, 0, window, property, type, 0, 256), nullptr));
    if (!reply || reply->format != 8) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<size_t>(xcb_get_property_value_length(reply.get()))};
}

std::optional<CGRect> rootRect(xcb_connection_t* c, xcb_window_t window, xcb_window_t root) {
    auto geometry = own(xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    auto origin = own(xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, window, root, 0, 0), nullptr));
    if (!geometry || !origin) return std::nullopt;
    return CGRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
}

} // namespace

xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
    auto reply = own(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

std::vector<xcb_window_t> childrenOf(xcb_connection_t* c, xcb_window_t window) {
    auto tree = own(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

xcb_window_t clientWindow(xcb_connection_t* c, xcb_window_t topLevel, xcb_atom_t wmState) {
    if (wmState == XCB_ATOM_NONE || hasProperty(c, topLevel, wmState)) return topLevel;
    std::vector<xcb_window_t> level = {topLevel};
    for (int depth = 0; depth < kClientSearchDepth && !level.empty(); ++depth) {
        std::vector<xcb_window_t> next;
        for (xcb_window_t window : level)
            for (xcb_window_t child : childrenOf(c, window)) {
                if (hasProperty(c, child, wmState)) return child;
                next.push_back(child);
            }
        level = std::move(next);
    }
    return topLevel;
}

bool hasClientIds(xcb_connection_t* c) {
    return canAskWindowOwners(c);
}

pid_t processOf(xcb_connection_t* c, xcb_window_t window, bool clientIds, xcb_atom_t netWmPid) {
    const pid_t pid = clientIds ? windowOwner(c, askWindowOwner(c, window)) : 0;
    return pid != 0 ? pid : pidFromProperty(c, window, netWmPid);
}

// --- The stack ----------------------------------------------------------------

WindowStack::WindowStack() = default;

WindowStack::~WindowStack() {
    if (connection_) xcb_disconnect(connection_);
}

bool WindowStack::connect() {
    if (connection_ && !xcb_connection_has_error(connection_)) return true;
    if (connection_) xcb_disconnect(connection_);
    int screenNumber = 0;
    connection_ = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection_)) return false;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem) return false;
    root_ = screens.data->root;
    wmState_ = internAtom(connection_, "WM_STATE");
    netWmPid_ = internAtom(connection_, "_NET_WM_PID");
    netWmName_ = internAtom(connection_, "_NET_WM_NAME");
    utf8String_ = internAtom(connection_, "UTF8_STRING");
    clientIds_ = hasClientIds(connection_);
    return true;
}

std::optional<StackedWindow> WindowStack::topmostAt(int x, int y, pid_t ignoredProcess) {
    if (!connect()) return std::nullopt;
    xcb_connection_t* c = connection_;
    const std::vector<xcb_window_t> stack = childrenOf(c, root_);
    // Every window's state and geometry asked at once: one wait, not two per window.
    std::vector<xcb_get_window_attributes_cookie_t> attributes;
    std::vector<xcb_get_geometry_cookie_t> geometries;
    attributes.reserve(stack.size());
    geometries.reserve(stack.size());
    for (xcb_window_t window : stack) {
        attributes.push_back(xcb_get_window_attributes(c, window));
        geometries.push_back(xcb_get_geometry(c, window));
    }
    std::optional<StackedWindow> found;
    for (size_t i = stack.size(); i-- > 0;) {
        auto state = own(xcb_get_window_attributes_reply(c, attributes[i], nullptr));
        auto geometry = own(xcb_get_geometry_reply(c, geometries[i], nullptr));
        if (found || !state || !geometry) continue; // replies are still taken, to free them
        if (state->map_state != XCB_MAP_STATE_VIEWABLE || state->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        // Top-level windows are children of the root: their position is in root coordinates.
        const CGRect frame(geometry->x, geometry->y, geometry->width + 2 * geometry->border_width,
                           geometry->height + 2 * geometry->border_width);
        if (x < frame.minX() || y < frame.minY() || x >= frame.maxX() || y >= frame.maxY()) continue;
        StackedWindow window;
        window.client = clientWindow(c, stack[i], wmState_);
        window.processID = processOf(c, window.client, clientIds_, netWmPid_);
        if (ignoredProcess != 0 && window.processID == ignoredProcess) continue;
        window.frame = frame;
        window.bounds = rootRect(c, window.client, root_).value_or(frame);
        window.title = textProperty(c, window.client, netWmName_, utf8String_);
        if (window.title.empty()) window.title = textProperty(c, window.client, XCB_ATOM_WM_NAME, XCB_ATOM_STRING);
        found = std::move(window);
    }
    return found;
}

pid_t WindowStack::focusedProcess() {
    if (!connect()) return 0;
    xcb_connection_t* c = connection_;
    auto focus = own(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    if (!focus) return 0;
    xcb_window_t window = focus->focus;
    if (window == XCB_NONE || window == XCB_INPUT_FOCUS_POINTER_ROOT || window == root_) {
        // The focus follows the pointer: keys go to the window under it.
        auto pointer = own(xcb_query_pointer_reply(c, xcb_query_pointer(c, root_), nullptr));
        if (!pointer || pointer->child == XCB_NONE) return 0;
        window = pointer->child;
    }
    if (window == lastFocus_) return lastFocusProcess_;
    lastFocus_ = window;
    lastFocusProcess_ = processOfFocus(window);
    return lastFocusProcess_;
}

pid_t WindowStack::processOfFocus(xcb_window_t window) {
    xcb_connection_t* c = connection_;
    // Any window of a client names it through X-Resource; _NET_WM_PID sits on
    // the client's top-level window only.
    if (clientIds_)
        if (const pid_t pid = windowOwner(c, askWindowOwner(c, window))) return pid;
    for (int depth = 0; depth < kMaximumAncestors; ++depth) {
        auto tree = own(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
        if (!tree || tree->parent == XCB_NONE) return 0;
        if (tree->parent == root_) break;
        window = tree->parent;
    }
    return pidFromProperty(c, clientWindow(c, window, wmState_), netWmPid_);
}

} // namespace vantrel::xcbwindows
