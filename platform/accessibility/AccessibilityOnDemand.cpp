#include "platform/accessibility/AccessibilityOnDemand.h"

#include "platform/accessibility/AccessibilityAtspi.h"
#include "platform/permissions/PrivacyAccess.h"

namespace vantrel {

AccessibilityOnDemand::AccessibilityOnDemand(Probe probe, Make make, std::chrono::milliseconds interval)
    : watcher_([this, probe = std::move(probe), make = std::move(make), interval] { watch(probe, make, interval); }) {}

AccessibilityOnDemand::~AccessibilityOnDemand() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    watcher_.join();
}

std::shared_ptr<AccessibilityOnDemand> AccessibilityOnDemand::makeAtspi() {
    // The probe's D-Bus connection belongs to the watcher thread, made there.
    auto trust = std::make_shared<std::unique_ptr<AccessibilityTrustDBus>>();
    return std::make_shared<AccessibilityOnDemand>(
        [trust] {
            if (!*trust) *trust = std::make_unique<AccessibilityTrustDBus>();
            return (*trust)->isTrusted();
        },
        []() -> std::shared_ptr<Accessibility> {
            auto atspi = std::make_shared<AccessibilityAtspi>();
            return atspi->isAvailable() ? atspi : nullptr;
        });
}

void AccessibilityOnDemand::watch(Probe probe, Make make, std::chrono::milliseconds interval) {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        lock.unlock();
        // libatspi is first touched only once the bus is on: it keeps
        // whatever bus it found at its first use.
        std::shared_ptr<Accessibility> made = probe() ? make() : nullptr;
        lock.lock();
        if (made) {
            backend_ = std::move(made);
            return;
        }
        wake_.wait_for(lock, interval, [this] { return stopping_; });
    }
}

std::shared_ptr<Accessibility> AccessibilityOnDemand::backend() const {
    std::lock_guard lock(mutex_);
    return backend_;
}

AXUIElementRef AccessibilityOnDemand::createSystemWide() {
    if (auto installed = backend()) return installed->createSystemWide();
    return std::make_shared<AXUIElement>();
}

AXError AccessibilityOnDemand::copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                                                  std::optional<AXAttributeValue>& value) {
    value.reset();
    if (auto installed = backend()) return installed->copyAttributeValue(element, attribute, value);
    return kAXErrorAPIDisabled;
}

AXError AccessibilityOnDemand::copyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                                     AXUIElementRef& element) {
    element.reset();
    if (auto installed = backend()) return installed->copyElementAtPosition(application, x, y, element);
    return kAXErrorAPIDisabled;
}

} // namespace vantrel
