#include "platform/capture/ScreenCaptureServiceLinux.h"
#include "platform/capture/ScreenGrabberXcb.h"
#include "platform/capture/XcbWindows.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <xcb/xcb.h>

namespace vantrel {

namespace {

struct ConnectionCloser {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};
using Connection = std::unique_ptr<xcb_connection_t, ConnectionCloser>;

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

    using namespace xcbwindows;
    const bool clientIds = hasClientIds(c);
    const xcb_atom_t wmState = internAtom(c, "WM_STATE");
    const xcb_atom_t netWmPid = internAtom(c, "_NET_WM_PID");

    std::map<pid_t, SCRunningApplication> byProcess;
    std::vector<pid_t> order;
    for (xcb_window_t topLevel : childrenOf(c, screen->root)) {
        const xcb_window_t client = clientWindow(c, topLevel, wmState);
        const pid_t pid = processOf(c, client, clientIds, netWmPid);
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
