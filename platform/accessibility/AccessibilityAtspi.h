#pragma once
// The accessibility service on AT-SPI2 through libatspi. libatspi is not
// thread-safe, so every libatspi call, and the dispatch of its focus events,
// happens on one thread of this object's own, on a main context of its own
// (never the Qt main thread's). Calls from the accessibility queue wait for
// that thread; libatspi's time-out bounds each call to another process.
//
// Focus events keep secure event input on while a password field has the
// focus, so that no key typed into it reaches a tap or a monitor.

#include "platform/accessibility/Accessibility.h"

#include <memory>

namespace vantrel {

class AccessibilityAtspi final : public Accessibility {
public:
    /// Connects to the accessibility bus of the session; check isAvailable().
    AccessibilityAtspi();
    ~AccessibilityAtspi() override;

    /// The accessibility bus answered.
    bool isAvailable() const;

    AXUIElementRef createSystemWide() override;
    AXError copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                               std::optional<AXAttributeValue>& value) override;
    AXError copyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                  AXUIElementRef& element) override;

    /// A hung application costs at most this per call.
    static constexpr int kCallTimeoutMs = 250;
    /// How often focus events are taken from the bus.
    static constexpr int kEventPumpIntervalMs = 30;

    class Worker;

private:
    std::shared_ptr<Worker> worker_;
};

} // namespace vantrel
