#include "platform/input/KeyboardLayoutXkb.h"

#include "platform/input/KeyCodes.h"

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace vantrel {

namespace {

uint32_t navigationTwin(xkb_keysym_t keysym) {
    switch (keysym) {
    case XKB_KEY_KP_Home: return XKB_KEY_Home;
    case XKB_KEY_KP_End: return XKB_KEY_End;
    case XKB_KEY_KP_Prior: return XKB_KEY_Prior;
    case XKB_KEY_KP_Next: return XKB_KEY_Next;
    case XKB_KEY_KP_Left: return XKB_KEY_Left;
    case XKB_KEY_KP_Right: return XKB_KEY_Right;
    case XKB_KEY_KP_Up: return XKB_KEY_Up;
    case XKB_KEY_KP_Down: return XKB_KEY_Down;
    case XKB_KEY_KP_Delete: return XKB_KEY_Delete;
    default: return 0;
    }
}

std::string utf8Of(xkb_state* state, xkb_keycode_t keycode) {
    char buffer[64];
    const int length = xkb_state_key_get_utf8(state, keycode, buffer, sizeof buffer);
    if (length <= 0 || length >= static_cast<int>(sizeof buffer)) return {};
    return std::string(buffer, static_cast<size_t>(length));
}

bool isModifierKeysym(xkb_keysym_t keysym) {
    return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||
           (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Last_Group_Lock) ||
           keysym == XKB_KEY_Num_Lock || keysym == XKB_KEY_Mode_switch;
}

} // namespace

KeyboardLayoutXkb::KeyboardLayoutXkb(xkb_context* context, xkb_keymap* keymap, xkb_state* state)
    : context_(context), keymap_(keymap), state_(state), shiftOnly_(xkb_state_new(keymap)) {}

KeyboardLayoutXkb::~KeyboardLayoutXkb() {
    xkb_state_unref(shiftOnly_);
    xkb_state_unref(state_);
    xkb_keymap_unref(keymap_);
    xkb_context_unref(context_);
}

std::unique_ptr<KeyboardLayoutXkb> KeyboardLayoutXkb::forCoreKeyboard(xcb_connection_t* connection) {
    uint16_t major = 0, minor = 0;
    uint8_t eventBase = 0, errorBase = 0;
    if (!xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, &major, &minor, &eventBase,
                                     &errorBase))
        return nullptr;
    const int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
    return device < 0 ? nullptr : fromConnection(connection, device);
}

std::unique_ptr<KeyboardLayoutXkb> KeyboardLayoutXkb::fromConnection(xcb_connection_t* connection,
                                                                     int32_t deviceID) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context) return nullptr;
    xkb_keymap* keymap =
        xkb_x11_keymap_new_from_device(context, connection, deviceID, XKB_KEYMAP_COMPILE_NO_FLAGS);
    xkb_state* state = keymap ? xkb_x11_state_new_from_device(keymap, connection, deviceID) : nullptr;
    if (!state) {
        xkb_keymap_unref(keymap);
        xkb_context_unref(context);
        return nullptr;
    }
    auto layout = std::unique_ptr<KeyboardLayoutXkb>(new KeyboardLayoutXkb(context, keymap, state));
    layout->updateMask(xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED),
                       xkb_state_serialize_mods(state, XKB_STATE_MODS_LATCHED),
                       xkb_state_serialize_mods(state, XKB_STATE_MODS_LOCKED),
                       static_cast<int32_t>(xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_DEPRESSED)),
                       static_cast<int32_t>(xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_LATCHED)),
                       static_cast<int32_t>(xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_LOCKED)));
    return layout;
}

std::unique_ptr<KeyboardLayoutXkb> KeyboardLayoutXkb::fromNames(const std::string& layout,
                                                                const std::string& variant) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context) return nullptr;
    const xkb_rule_names names{"evdev", "pc105", layout.c_str(), variant.c_str(), nullptr};
    xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    xkb_state* state = keymap ? xkb_state_new(keymap) : nullptr;
    if (!state) {
        xkb_keymap_unref(keymap);
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<KeyboardLayoutXkb>(new KeyboardLayoutXkb(context, keymap, state));
}

void KeyboardLayoutXkb::updateMask(uint32_t depressedMods, uint32_t latchedMods, uint32_t lockedMods,
                                   int32_t baseGroup, int32_t latchedGroup, int32_t lockedGroup) {
    xkb_state_update_mask(
        state_, depressedMods, latchedMods, lockedMods, static_cast<xkb_layout_index_t>(baseGroup),
        static_cast<xkb_layout_index_t>(latchedGroup), static_cast<xkb_layout_index_t>(lockedGroup));
    const xkb_mod_index_t shift = xkb_keymap_mod_get_index(keymap_, XKB_MOD_NAME_SHIFT);
    const xkb_mod_mask_t shiftMask =
        (shift != XKB_MOD_INVALID &&
         xkb_state_mod_index_is_active(state_, shift, XKB_STATE_MODS_EFFECTIVE) > 0)
            ? (1u << shift)
            : 0;
    const auto group = xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_EFFECTIVE);
    xkb_state_update_mask(shiftOnly_, shiftMask, 0, 0, 0, 0, group);
}

void KeyboardLayoutXkb::updateKey(uint32_t xKeycode, bool down) {
    xkb_state_update_key(state_, xKeycode, down ? XKB_KEY_DOWN : XKB_KEY_UP);
    updateMask(xkb_state_serialize_mods(state_, XKB_STATE_MODS_DEPRESSED),
               xkb_state_serialize_mods(state_, XKB_STATE_MODS_LATCHED),
               xkb_state_serialize_mods(state_, XKB_STATE_MODS_LOCKED),
               static_cast<int32_t>(xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_DEPRESSED)),
               static_cast<int32_t>(xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_LATCHED)),
               static_cast<int32_t>(xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_LOCKED)));
}

KeyTranslation KeyboardLayoutXkb::translate(uint32_t xKeycode) const {
    KeyTranslation result;
    const xkb_layout_index_t group = xkb_state_key_get_layout(state_, xKeycode);
    const xkb_keysym_t* syms = nullptr;
    const int count = group == XKB_LAYOUT_INVALID
                          ? 0
                          : xkb_keymap_key_get_syms_by_level(keymap_, xKeycode, group, 0, &syms);
    const xkb_keysym_t firstLevel = count > 0 ? syms[0] : XKB_KEY_NoSymbol;
    result.keyCode = macKeyCode(firstLevel, xKeycode);
    // With Num Lock off the keypad's keys are arrows, Home, End, the pages and
    // Delete, and are named as those.
    if (const uint32_t twin = navigationTwin(xkb_state_key_get_one_sym(state_, xKeycode)))
        result.keyCode = macKeyCode(twin, 0);
    result.characters = utf8Of(state_, xKeycode);
    result.charactersIgnoringModifiers = utf8Of(shiftOnly_, xKeycode);
    result.isModifier = isModifierKeysym(firstLevel);
    result.repeats = xkb_keymap_key_repeats(keymap_, xKeycode) != 0;
    return result;
}

NSEventModifierFlags KeyboardLayoutXkb::modifierFlags() const {
    NSEventModifierFlags flags;
    auto active = [&](const char* name) {
        return xkb_state_mod_name_is_active(state_, name, XKB_STATE_MODS_EFFECTIVE) > 0;
    };
    if (active(XKB_MOD_NAME_CTRL)) flags.rawValue |= NSEventModifierFlags::control;
    // AltGr (ISO_Level3_Shift, on Mod5 in every stock layout) is the Option
    // key of layouts that type "@" or "€" with it.
    if (active(XKB_MOD_NAME_ALT) || active("Mod5")) flags.rawValue |= NSEventModifierFlags::option;
    if (active(XKB_MOD_NAME_SHIFT)) flags.rawValue |= NSEventModifierFlags::shift;
    if (active(XKB_MOD_NAME_LOGO)) flags.rawValue |= NSEventModifierFlags::command;
    return flags;
}

uint32_t KeyboardLayoutXkb::keycodeForKeysym(uint32_t keysym) const {
    const xkb_keycode_t first = xkb_keymap_min_keycode(keymap_);
    const xkb_keycode_t last = xkb_keymap_max_keycode(keymap_);
    const xkb_layout_index_t group = xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_EFFECTIVE);
    for (xkb_keycode_t keycode = first; keycode <= last; ++keycode) {
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap_, keycode, group, 0, &syms) > 0 && syms[0] == keysym)
            return keycode;
    }
    return 0;
}

} // namespace vantrel
