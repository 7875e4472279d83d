// Accessibility switched on while we run: nothing answers before, the AT-SPI
// backend comes up by itself after, with labels and the password field's
// secure input. A process of its own: libatspi keeps the bus it first found.
#include "platform/accessibility/AccessibilityOnDemand.h"

#include "platform/input/InputEvents.h"
#include "platform/permissions/PrivacyAccess.h"
#include "tests/support/GtkTestWindow.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

TEST(AccessibilityOnDemand, TheBackendComesUpWhenAccessibilityIsSwitchedOnLater) {
    qtApp();
    XvfbServer server;
    PrivateSessionBus bus{PrivateSessionBus::Accessibility::disabled};
    ScopedEnv busEnv{"DBUS_SESSION_BUS_ADDRESS", bus.address()};
    GtkTestWindow window;
    ASSERT_TRUE(window.isReady());
    auto accessibility = AccessibilityOnDemand::makeAtspi();
    auto title = [&](const char* widget) {
        AXUIElementRef element;
        std::optional<AXAttributeValue> value;
        const CGPoint at = window.center(widget);
        accessibility->copyElementAtPosition({}, static_cast<float>(at.x), static_cast<float>(at.y), element);
        accessibility->copyAttributeValue(element, "AXTitle", value);
        return value ? std::get<std::string>(*value) : "";
    };

    // Two probes' time with accessibility off: nothing is installed.
    runMainLoopFor(2 * AccessibilityOnDemand::kProbeInterval);
    EXPECT_FALSE(accessibility->backend());
    EXPECT_EQ(title("save"), "");

    AccessibilityTrustDBus().enable();
    ASSERT_TRUE(waitUntil([&] { return accessibility->backend() != nullptr; }, 10s));
    EXPECT_TRUE(waitUntil([&] { return title("save") == "Save Document"; }, 5s));
    window.focus("password");
    EXPECT_TRUE(waitUntil([] { return IsSecureEventInputEnabled(); }, 5s));
    DisableSecureEventInput();
}
