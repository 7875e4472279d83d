// The AT-SPI backend against real GTK3 windows on an X server and
// accessibility bus of the test's own: the roles, the element under a point
// from the topmost window, the focused element's frame, and secure input
// while the password entry has the focus.
#include "platform/accessibility/AccessibilityAtspi.h"

#include "platform/accessibility/AccessibilityRoles.h"
#include "platform/displays/DisplayList.h"
#include "platform/input/InputEvents.h"
#include "tests/support/GtkTestWindow.h"
#include "tests/support/TestServices.h"

#include <atspi/atspi-constants.h>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

// The roles whose AX name depends on where the element sits or what it holds.
TEST(AccessibilityRoles, ContextDecidesBetweenAxNames) {
    auto role = [](int atspi, int parent = 0, bool entry = false, bool menu = false,
                   bool singleLine = false) {
        return axRoleForAtspi({atspi, parent, entry, menu, singleLine});
    };
    EXPECT_EQ(role(ATSPI_ROLE_PUSH_BUTTON, 0, false, true), "AXMenuButton");
    EXPECT_EQ(role(ATSPI_ROLE_MENU, ATSPI_ROLE_MENU_BAR), "AXMenuBarItem");
    EXPECT_EQ(role(ATSPI_ROLE_MENU, ATSPI_ROLE_MENU), "AXMenuItem");
    EXPECT_EQ(role(ATSPI_ROLE_COMBO_BOX), "AXPopUpButton");
    EXPECT_EQ(role(ATSPI_ROLE_COMBO_BOX, 0, true), "AXComboBox");
    EXPECT_EQ(role(ATSPI_ROLE_TEXT, 0, false, false, true), "AXTextField");
}

namespace {

// One X server, accessibility bus and GTK window for the whole suite: libatspi
// finds its bus once per process.
struct Desktop {
    XvfbServer server;
    PrivateSessionBus bus{PrivateSessionBus::Accessibility::enabled};
    ScopedEnv busEnv{"DBUS_SESSION_BUS_ADDRESS", bus.address()};
    GtkTestWindow window;
    std::shared_ptr<AccessibilityAtspi> accessibility = std::make_shared<AccessibilityAtspi>();
};

class AccessibilityAtspiTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { desktop = new Desktop; }
    static void TearDownTestSuite() {
        delete desktop;
        desktop = nullptr;
        DisableSecureEventInput();
    }
    void SetUp() override {
        ASSERT_TRUE(desktop->window.isReady());
        ASSERT_TRUE(desktop->accessibility->isAvailable());
        DisplayList::setShared(nullptr);
    }

    std::optional<std::string> text(const AXUIElementRef& element, const char* attribute) {
        std::optional<AXAttributeValue> value;
        if (desktop->accessibility->copyAttributeValue(element, attribute, value) != kAXErrorSuccess ||
            !value || !std::holds_alternative<std::string>(*value))
            return std::nullopt;
        return std::get<std::string>(*value);
    }
    AXUIElementRef elementAt(CGPoint point) {
        AXUIElementRef element;
        auto system = desktop->accessibility->createSystemWide();
        desktop->accessibility->copyElementAtPosition(system, static_cast<float>(point.x),
                                                      static_cast<float>(point.y), element);
        return element;
    }
    std::optional<CGRect> focusedFrame() {
        auto system = desktop->accessibility->createSystemWide();
        std::optional<AXAttributeValue> focused, position, size;
        if (desktop->accessibility->copyAttributeValue(system, "AXFocusedUIElement", focused) !=
                kAXErrorSuccess ||
            !focused || !isAXUIElement(*focused))
            return std::nullopt;
        auto element = std::get<AXUIElementRef>(*focused);
        if (desktop->accessibility->copyAttributeValue(element, "AXPosition", position) != kAXErrorSuccess ||
            desktop->accessibility->copyAttributeValue(element, "AXSize", size) != kAXErrorSuccess)
            return std::nullopt;
        return CGRect(std::get<CGPoint>(*position), std::get<CGSize>(*size));
    }

    static Desktop* desktop;
};

Desktop* AccessibilityAtspiTest::desktop = nullptr;

} // namespace

// What the user sees at a point is what the stack shows, not what registered first.
TEST_F(AccessibilityAtspiTest, ElementUnderAPointComesFromTheTopmostWindow) {
    const auto title = [&](CGPoint point) { return text(elementAt(point), "AXTitle"); };
    EXPECT_EQ(text(elementAt(desktop->window.center("save")), "AXRole"), "AXButton");
    EXPECT_EQ(title(desktop->window.center("save")), "Save Document");
    EXPECT_EQ(text(elementAt(desktop->window.center("label")), "AXRole"), "AXStaticText");
    EXPECT_EQ(text(elementAt(desktop->window.center("entry")), "AXRole"), "AXTextField");
    EXPECT_FALSE(elementAt({1900, 1000})) << "nothing but the root window there";
    {
        // Two windows of one program at one place: the one mapped later is on top.
        GtkTestWindow program({"--at", "800", "100", "--second", "800", "100", "In Front"});
        ASSERT_TRUE(program.isReady());
        EXPECT_EQ(title(program.center("save")), "In Front");
    }
    {
        // Two programs: the later one covers the earlier one's button.
        GtkTestWindow behind({"--at", "800", "100"});
        GtkTestWindow front({"--at", "800", "100", "--button", "Other Program"});
        ASSERT_TRUE(behind.isReady() && front.isReady());
        EXPECT_EQ(title(behind.center("save")), "Other Program");
    }
    {
        // A full-screen desktop window registered first, kept beneath.
        GtkTestWindow desktopWindow({"--desktop"});
        GtkTestWindow program({"--at", "800", "100"});
        ASSERT_TRUE(desktopWindow.isReady() && program.isReady());
        EXPECT_EQ(title(program.center("save")), "Save Document");
        EXPECT_EQ(title(desktopWindow.center("folder")), "Desktop Folder");
        EXPECT_EQ(title(desktop->window.center("settings")), "Open Settings");
    }
}

TEST_F(AccessibilityAtspiTest, FocusedElementGivesItsFrameAndPasswordFieldsTurnOnSecureInput) {
    desktop->window.focus("entry");
    ASSERT_TRUE(waitUntil([&] { return focusedFrame() == desktop->window.rect("entry"); }, 5s))
        << "entry at " << desktop->window.rect("entry").origin.x;
    EXPECT_FALSE(IsSecureEventInputEnabled());

    desktop->window.focus("password");
    ASSERT_TRUE(waitUntil([&] { return IsSecureEventInputEnabled(); }, 5s));
    EXPECT_EQ(focusedFrame(), desktop->window.rect("password"));

    desktop->window.focus("entry");
    ASSERT_TRUE(waitUntil([&] { return !IsSecureEventInputEnabled(); }, 5s));
}
