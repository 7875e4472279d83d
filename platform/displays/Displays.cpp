#include "platform/displays/Displays.h"

#include "platform/capture/ScreenStream.h"
#include "platform/runtime/BackgroundTask.h"

#include <algorithm>
#include <set>

namespace vantrel {

namespace {

constexpr uint32_t kFnvOffsetBasis = 2166136261u;
constexpr uint32_t kFnvPrime = 16777619u;

// The lookups run for every pointer event: they read the list's snapshot,
// which costs no round trip, and hold it while they look.
std::shared_ptr<const std::vector<Monitor>> knownMonitors() {
    static const auto none = std::make_shared<const std::vector<Monitor>>();
    auto monitors = DisplayList::shared()->snapshot();
    return monitors ? monitors : none;
}

const Monitor* mainMonitor(const std::vector<Monitor>& monitors) {
    auto primary = std::find_if(monitors.begin(), monitors.end(), [](const Monitor& m) { return m.primary; });
    if (primary != monitors.end()) return &*primary;
    return monitors.empty() ? nullptr : &monitors.front();
}

SCDisplay displayFor(const Monitor& monitor) {
    return {displayIDForMonitorName(monitor.name), static_cast<int>(monitor.rootFrame.width()),
            static_cast<int>(monitor.rootFrame.height()), monitor.rootFrame};
}

// Who listens for reconfiguration, and the monitors they last heard about.
struct Reconfiguration {
    std::vector<std::pair<CGDisplayReconfigurationCallBack, void*>> callbacks;
    std::vector<Monitor> known;
};

// Never destroyed: listeners (shared objects) may unregister while static
// objects are torn down at exit, in an order no one controls.
Reconfiguration& reconfiguration() {
    static auto* state = new Reconfiguration;
    return *state;
}

std::map<CGDirectDisplayID, uint32_t> changesBetween(const std::vector<Monitor>& before,
                                                     const std::vector<Monitor>& after) {
    std::map<CGDirectDisplayID, const Monitor*> old, now;
    for (const auto& m : before)
        old[displayIDForMonitorName(m.name)] = &m;
    for (const auto& m : after)
        now[displayIDForMonitorName(m.name)] = &m;
    std::map<CGDirectDisplayID, uint32_t> changes;
    for (const auto& [id, m] : old)
        if (!now.contains(id)) changes[id] |= kCGDisplayRemoveFlag;
    for (const auto& [id, m] : now) {
        auto previous = old.find(id);
        if (previous == old.end()) {
            changes[id] |= kCGDisplayAddFlag;
            continue;
        }
        const CGRect& a = previous->second->rootFrame;
        const CGRect& b = m->rootFrame;
        if (a.origin != b.origin) changes[id] |= kCGDisplayMovedFlag;
        if (a.size != b.size) changes[id] |= kCGDisplaySetModeFlag;
        if (previous->second->primary != m->primary) changes[id] |= kCGDisplaySetMainFlag;
    }
    return changes;
}

void monitorsMayHaveChanged() {
    auto& state = reconfiguration();
    std::vector<Monitor> current;
    try {
        current = DisplayList::shared()->monitors();
    } catch (const DisplayServiceError&) {
        return; // nothing can be said until the server answers again
    }
    const auto changes = changesBetween(state.known, current);
    state.known = std::move(current);
    if (changes.empty()) return;
    // A callback may remove itself (or others) while we call: work on a copy.
    const auto callbacks = state.callbacks;
    for (const auto& [id, flags] : changes)
        for (const auto& [callback, userInfo] : callbacks)
            callback(id, kCGDisplayBeginConfigurationFlag, userInfo);
    for (const auto& [id, flags] : changes)
        for (const auto& [callback, userInfo] : callbacks)
            callback(id, flags, userInfo);
}

} // namespace

CGDirectDisplayID displayIDForMonitorName(std::string_view name) {
    uint32_t hash = kFnvOffsetBasis;
    for (unsigned char c : name) {
        hash ^= c;
        hash *= kFnvPrime;
    }
    // 0 means "no display" everywhere, so it is never an ID.
    return hash == 0 ? 1 : hash;
}

QCoro::Task<SCShareableContent> SCShareableContent::getShareableContent(bool, bool) {
    // The window options do not apply: X11 capture grabs whole monitors, and
    // the applications are listed so that some can be left out of the
    // picture. Listing them costs round trips for every window of the
    // desktop, so the caller's thread (the countdown's) does not wait for them.
    auto listing = runInBackground([] {
        SCShareableContent content;
        for (const Monitor& monitor : DisplayList::shared()->monitors())
            content.displays.push_back(displayFor(monitor));
        if (auto service = ScreenCaptureService::shared()) content.applications = service->applications();
        return content;
    });
    co_return co_await std::move(listing);
}

CGDirectDisplayID CGMainDisplayID() {
    const auto monitors = knownMonitors();
    const Monitor* main = mainMonitor(*monitors);
    return main ? displayIDForMonitorName(main->name) : 0;
}

CGRect CGDisplayBounds(CGDirectDisplayID display) {
    const auto monitors = knownMonitors();
    for (const Monitor& monitor : *monitors)
        if (displayIDForMonitorName(monitor.name) == display) return monitor.rootFrame;
    return CGRect();
}

CGRect globalRectFromRootRect(const CGRect& rootRect, const CGRect& mainDisplayRootRect) {
    return CGRect(rootRect.minX() - mainDisplayRootRect.minX(), mainDisplayRootRect.maxY() - rootRect.maxY(),
                  rootRect.width(), rootRect.height());
}

std::vector<NSScreen> NSScreen::screens() {
    const auto monitors = knownMonitors();
    const Monitor* main = mainMonitor(*monitors);
    std::vector<NSScreen> result;
    if (!main) return result;
    auto add = [&](const Monitor& monitor) {
        NSScreen screen;
        screen.frame = globalRectFromRootRect(monitor.rootFrame, main->rootFrame);
        screen.deviceDescription["NSScreenNumber"] =
            QVariant::fromValue(displayIDForMonitorName(monitor.name));
        screen.localizedName = monitor.productName.empty() ? monitor.name : monitor.productName;
        result.push_back(std::move(screen));
    };
    add(*main);
    for (const Monitor& monitor : *monitors)
        if (&monitor != main) add(monitor);
    return result;
}

void CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo) {
    auto& state = reconfiguration();
    const bool first = state.callbacks.empty();
    state.callbacks.emplace_back(callback, userInfo);
    if (!first) return;
    try {
        state.known = DisplayList::shared()->monitors();
    } catch (const DisplayServiceError&) {
        state.known.clear();
    }
    DisplayList::shared()->setChangeHandler(monitorsMayHaveChanged);
}

void CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo) {
    auto& state = reconfiguration();
    std::erase(state.callbacks, std::make_pair(callback, userInfo));
    if (state.callbacks.empty()) DisplayList::shared()->setChangeHandler({});
}

} // namespace vantrel
