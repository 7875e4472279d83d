#pragma once
// AT-SPI roles under the AX role names the logic filters on. One table, in
// one place, so that every toolkit's widgets get the name the logic expects.

#include <string>

namespace vantrel {

/// What decides an element's AX role beyond its own AT-SPI role.
struct AtspiRoleContext {
    int role = 0;               // AtspiRole
    int parentRole = 0;         // AtspiRole of the parent; 0 when unknown
    bool hasEntryChild = false; // a combo box that one can type into
    bool opensMenu = false;     // a push button with a popup menu
    bool singleLine = false;    // a text that holds one line: GTK's entries
};

/// The AX role name ("AXButton", ...), or "AXUnknown" for roles the logic never asks about.
std::string axRoleForAtspi(const AtspiRoleContext& element);

} // namespace vantrel
