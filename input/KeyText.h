#pragma once
// How a key press becomes the text of the keystroke pill: the glyphs of its
// modifiers, then the key's name from the tables or its characters. The key
// codes are the virtual key codes that platform/KeyCodes.h maps X keys onto.

#include "platform/input/InputEvents.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantrel {

/// Keys with a name of their own; membership also makes a press a shortcut.
const std::string* specialKeyName(uint16_t keyCode);
/// The one-character names of the main block, for keys whose characters cannot be printed.
const std::string* baseKeyName(uint16_t keyCode);

/// "⌃", "⌥", "⇧", "⌘" in this order, each if its flag is set.
std::vector<std::string> modifierGlyphs(NSEventModifierFlags flags);
/// The key's name: special name, printable characters (upper-cased), base name, or "?".
std::string keyText(const NSEvent& event);
/// Not empty, and no control character, C1 control or private-use character.
bool isPrintableText(std::string_view text);

} // namespace vantrel
