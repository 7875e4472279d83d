#include "platform/accessibility/AccessibilityRoles.h"

#include <atspi/atspi-constants.h>

namespace vantrel {

std::string axRoleForAtspi(const AtspiRoleContext& element) {
    switch (element.role) {
    case ATSPI_ROLE_PUSH_BUTTON:
        return element.opensMenu ? "AXMenuButton" : "AXButton";
    case ATSPI_ROLE_PUSH_BUTTON_MENU:
        return "AXMenuButton";
    case ATSPI_ROLE_TOGGLE_BUTTON:
        return "AXButton";
    case ATSPI_ROLE_MENU_ITEM:
    case ATSPI_ROLE_CHECK_MENU_ITEM:
    case ATSPI_ROLE_RADIO_MENU_ITEM:
    case ATSPI_ROLE_TEAROFF_MENU_ITEM:
        return "AXMenuItem";
    case ATSPI_ROLE_MENU:
        return element.parentRole == ATSPI_ROLE_MENU_BAR ? "AXMenuBarItem" : "AXMenuItem";
    case ATSPI_ROLE_LINK:
        return "AXLink";
    case ATSPI_ROLE_PAGE_TAB_LIST:
        return "AXTabGroup";
    case ATSPI_ROLE_PAGE_TAB:
    case ATSPI_ROLE_RADIO_BUTTON:
        return "AXRadioButton";
    case ATSPI_ROLE_CHECK_BOX:
        return "AXCheckBox";
    case ATSPI_ROLE_COMBO_BOX:
        return element.hasEntryChild ? "AXComboBox" : "AXPopUpButton";
    case ATSPI_ROLE_ARROW:
        return "AXDisclosureTriangle";
    case ATSPI_ROLE_ENTRY:
    case ATSPI_ROLE_PASSWORD_TEXT:
    case ATSPI_ROLE_SPIN_BUTTON:
        return "AXTextField";
    case ATSPI_ROLE_TEXT:
        // GTK 3 gives its one-line entries the role of text.
        return element.singleLine ? "AXTextField" : "AXTextArea";
    case ATSPI_ROLE_DOCUMENT_TEXT:
    case ATSPI_ROLE_TERMINAL:
        return "AXTextArea";
    case ATSPI_ROLE_SLIDER:
        return "AXSlider";
    case ATSPI_ROLE_TOOL_BAR:
        return "AXToolbar";
    case ATSPI_ROLE_TABLE_CELL:
        return "AXCell";
    case ATSPI_ROLE_LABEL:
    case ATSPI_ROLE_STATIC:
        return "AXStaticText";
    case ATSPI_ROLE_IMAGE:
    case ATSPI_ROLE_ICON:
        return "AXImage";
    default:
        return "AXUnknown";
    }
}

} // namespace vantrel
