#include "platform/input/InputEvents.h"

#include "platform/input/InputEventsXInput2.h"
#include "platform/core/SharedInstance.h"

#include <algorithm>
#include <atomic>

namespace vantrel {

namespace {

std::atomic<bool> secureInput{false};

} // namespace

std::shared_ptr<InputEvents> InputEvents::shared() {
    return SharedInstance<InputEvents>::getOrMake([] { return std::make_shared<InputEventsXInput2>(); });
}

void InputEvents::setShared(std::shared_ptr<InputEvents> events) {
    SharedInstance<InputEvents>::set(std::move(events));
}

void EnableSecureEventInput() {
    secureInput.store(true);
}
void DisableSecureEventInput() {
    secureInput.store(false);
}
bool IsSecureEventInputEnabled() {
    return secureInput.load();
}

// --- Fake -----------------------------------------------------------------

struct InputEventsFake::Registration {
    NSEventMask mask;
    Handler handler;
};

InputEvents::Token InputEventsFake::addGlobalMonitorForEvents(NSEventMask mask, Handler handler) {
    auto registration = std::make_shared<Registration>(Registration{mask, std::move(handler)});
    registrations_.push_back(registration);
    return registration;
}

InputEvents::Token InputEventsFake::addLocalMonitorForEvents(NSEventMask mask, Handler handler) {
    // A local monitor sees nothing the fake's global monitors do not already
    // see; its token exists so that tests can check it is kept and removed.
    if (!giveLocalToken) return nullptr;
    (void)handler;
    auto registration = std::make_shared<Registration>(Registration{mask, [](const NSEvent&) {}});
    registrations_.push_back(registration);
    return registration;
}

void InputEventsFake::removeMonitor(const Token& token) {
    std::erase_if(registrations_, [&](const std::weak_ptr<Registration>& r) {
        auto live = r.lock();
        return !live || live == token;
    });
}

InputEvents::Token InputEventsFake::createKeyEventTap(Handler handler) {
    if (refuseTap) return nullptr;
    return addGlobalMonitorForEvents(maskOf(NSEventType::keyDown) | maskOf(NSEventType::flagsChanged),
                                     std::move(handler));
}

void InputEventsFake::send(const NSEvent& event) {
    const bool isKey = event.type == NSEventType::keyDown || event.type == NSEventType::flagsChanged;
    if (isKey && IsSecureEventInputEnabled()) return;
    const auto registrations = registrations_;
    for (const auto& weak : registrations)
        if (auto registration = weak.lock(); registration && (registration->mask & maskOf(event.type)))
            registration->handler(event);
}

int InputEventsFake::liveRegistrations() const {
    return static_cast<int>(std::count_if(registrations_.begin(), registrations_.end(),
                                          [](const auto& r) { return !r.expired(); }));
}

} // namespace vantrel
