#pragma once
// The accessibility service that comes up whenever the session switches
// accessibility on, at start or later: until then every call fails as with
// accessibility off; a watcher thread asks once a second whether it is on
// and then installs the backend, whose focus watch (and with it the secure
// input of password fields) and hit tests work from that moment. Once
// installed, the backend stays.

#include "platform/accessibility/Accessibility.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace vantrel {

class AccessibilityOnDemand final : public Accessibility {
public:
    /// True when the session's accessibility is on (watcher thread).
    using Probe = std::function<bool()>;
    /// The backend, or null when it could not start yet (watcher thread).
    using Make = std::function<std::shared_ptr<Accessibility>()>;

    AccessibilityOnDemand(Probe probe, Make make, std::chrono::milliseconds interval = kProbeInterval);
    ~AccessibilityOnDemand() override;

    /// AT-SPI, installed when org.a11y.Status.IsEnabled turns true and its bus answers.
    static std::shared_ptr<AccessibilityOnDemand> makeAtspi();

    /// The installed backend; null before.
    std::shared_ptr<Accessibility> backend() const;

    AXUIElementRef createSystemWide() override;
    AXError copyAttributeValue(const AXUIElementRef& element, std::string_view attribute,
                               std::optional<AXAttributeValue>& value) override;
    AXError copyElementAtPosition(const AXUIElementRef& application, float x, float y,
                                  AXUIElementRef& element) override;

    static constexpr std::chrono::milliseconds kProbeInterval{1000};

private:
    void watch(Probe probe, Make make, std::chrono::milliseconds interval);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::shared_ptr<Accessibility> backend_;
    std::thread watcher_;
};

} // namespace vantrel
