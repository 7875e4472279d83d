#pragma once
// The one table between X11 keys and the virtual key codes of the layout the
// key tables of the logic were written for (the Mac ANSI codes: A is 0, Return
// is 36, F1 is 122). Keys are found by keysym first, so that a German Z key
// is "Z" wherever the layout puts it; a key whose keysym has no row (ß, dead
// keys, Cyrillic letters) falls back on its physical position.

#include <cstdint>
#include <optional>
#include <span>

namespace vantrel {

/// A key code no key of the table has; such a key is shown by its characters or as "?".
inline constexpr uint16_t kUnknownKeyCode = 0xFFFF;

struct KeyCodeRow {
    uint32_t keysym;    // X keysym at the key's first level; 0 for rows found by position only
    uint32_t evdevCode; // Linux input code of the key's usual place (X keycode − 8)
    uint16_t macKeyCode;
};

/// Every row, for tests and tools.
std::span<const KeyCodeRow> keyCodeTable();

/// The virtual key code of a key that makes `keysym` at its first level and
/// sits at X keycode `xKeycode`: by keysym, else by position, else kUnknownKeyCode.
uint16_t macKeyCode(uint32_t keysym, uint32_t xKeycode);

/// X keycodes are evdev codes shifted by 8 on every current X server.
inline constexpr uint32_t kEvdevToXKeycodeOffset = 8;

} // namespace vantrel
