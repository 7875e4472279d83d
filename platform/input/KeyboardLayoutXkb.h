#pragma once
// The user's keyboard layout, through xkbcommon: what a key press means in
// the terms the logic reads from a key event (virtual key code, characters,
// modifier flags). Built from the X server's current keymap, or from layout
// names for tests. Not thread-safe: one owner thread (the input thread).

#include "platform/input/ModifierFlags.h"

#include <cstdint>
#include <memory>
#include <string>

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace vantrel {

struct KeyTranslation {
    uint16_t keyCode = 0;
    /// The text the key makes with every modifier held now (control makes control characters).
    std::string characters;
    /// The text it makes with shift alone, as AppKit's charactersIgnoringModifiers.
    std::string charactersIgnoringModifiers;
    bool isModifier = false;
    /// The layout lets this key repeat while held.
    bool repeats = false;
};

class KeyboardLayoutXkb {
public:
    /// The core keyboard's keymap and state on `connection`, which must have
    /// XKB set up (xkb_x11_setup_xkb_extension). Null when XKB is missing.
    static std::unique_ptr<KeyboardLayoutXkb> fromConnection(xcb_connection_t* connection, int32_t deviceID);
    /// The core keyboard's keymap on a connection that is someone else's (Qt's):
    /// sets XKB up on it and asks which device the core keyboard is now.
    static std::unique_ptr<KeyboardLayoutXkb> forCoreKeyboard(xcb_connection_t* connection);
    /// A keymap compiled from names, such as ("de", ""); null when unknown.
    static std::unique_ptr<KeyboardLayoutXkb> fromNames(const std::string& layout,
                                                        const std::string& variant);
    ~KeyboardLayoutXkb();
    KeyboardLayoutXkb(const KeyboardLayoutXkb&) = delete;
    KeyboardLayoutXkb& operator=(const KeyboardLayoutXkb&) = delete;

    /// The server's word on modifiers and group (an XKB state notification).
    void updateMask(uint32_t depressedMods, uint32_t latchedMods, uint32_t lockedMods, int32_t baseGroup,
                    int32_t latchedGroup, int32_t lockedGroup);
    /// Follows a press or release where no server state arrives (core polling, tests).
    void updateKey(uint32_t xKeycode, bool down);

    KeyTranslation translate(uint32_t xKeycode) const;
    /// Ctrl is control, Alt is option, Shift is shift, Super is command.
    NSEventModifierFlags modifierFlags() const;
    /// The first keycode whose first level makes `keysym` in the active group; 0 when none does.
    uint32_t keycodeForKeysym(uint32_t keysym) const;

private:
    KeyboardLayoutXkb(xkb_context* context, xkb_keymap* keymap, xkb_state* state);
    xkb_context* context_;
    xkb_keymap* keymap_;
    xkb_state* state_;
    xkb_state* shiftOnly_; // the same group, shift alone: for charactersIgnoringModifiers
};

} // namespace vantrel
