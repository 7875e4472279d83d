#include "platform/capture/ScreenCaptureServiceLinux.h"
#include "platform/capture/ScreenGrabberXcb.h"
#include "platform/capture/WindowOwnerXcb.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <xcb/xcb.h>

namespace vantrel {

namespace {

// Window managers put the client window one or two levels inside their frame.
constexpr int kClientSearchDepth = 3;

struct ConnectionCloser {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, ConnectionCloser>;

template <typename Reply> using ReplyPtr = std::unique_ptr<Reply, decltype(&std::free)>;
template <typename Reply> ReplyPtr<Reply> own(Reply* reply) {
    return {reply, &std::free};
}

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

bool hasProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property) {
    auto reply = own(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0), nullptr));
    return reply && reply->type != XCB_ATOM_NONE;
}

// The window the application itself made: the top-level one when no window
// manager reparents, else the first descendant with WM_STATE inside the frame.
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

pid_t pidFromProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t netWmPid) {
    if (netWmPid == XCB_ATOM_NONE) return 0;
    auto reply = own(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, netWmPid, XCB_ATOM_CARDINAL, 0, 1), nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) return 0;
    return static_cast<pid_t>(*static_cast<const uint32_t*>(xcb_get_property_value(reply.get())));
}

std::string processName(pid_t pid) {
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

} // namespace

std::vector<SCRunningApplication> ScreenCaptureServiceLinux::applications() {
    Connection connection(xcb_connect(nullptr, nullptr));
    xcb_connection_t* c = connection.get();
    if (xcb_connection_has_error(c)) return {};
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    if (!screen) return {};

    const bool haveResources = canAskWindowOwners(c);
    const xcb_atom_t wmState = internAtom(c, "WM_STATE");
    const xcb_atom_t netWmPid = internAtom(c, "_NET_WM_PID");

    std::map<pid_t, SCRunningApplication> byProcess;
    std::vector<pid_t> order;
    for (xcb_window_t topLevel : childrenOf(c, screen->root)) {
        const xcb_window_t client = clientWindow(c, topLevel, wmState);
        pid_t pid = haveResources ? windowOwner(c, askWindowOwner(c, client)) : 0;
        if (pid == 0) pid = pidFromProperty(c, client, netWmPid);
        if (pid == 0) continue;
        auto [entry, added] = byProcess.try_emplace(pid);
        if (added) {
            entry->second.processID = pid;
            entry->second.applicationName = processName(pid);
            order.push_back(pid);
        }
        entry->second.windows.push_back({topLevel});
    }
    std::vector<SCRunningApplication> result;
    result.reserve(order.size());
    for (pid_t pid : order)
        result.push_back(std::move(byProcess[pid]));
    return result;
}

std::unique_ptr<ScreenFrameSource>
ScreenCaptureServiceLinux::makeFrameSource(const SCContentFilter& filter,
                                           const SCStreamConfiguration& configuration, NSError& error) {
    return openScreenGrabberXcb(filter, configuration, error);
}

} // namespace vantrel
