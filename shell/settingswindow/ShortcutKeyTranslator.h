#pragma once
// Turns a key press in one of our windows into the event the global shortcut
// monitor would see for it: the same xkbcommon keymap, the same shift-only
// characters, the same modifier bits. Qt gives the X keycode and its own
// modifier flags; the modifiers are handed to the keymap as held keys.

#include "platform/input/InputEvents.h"
#include "platform/input/KeyboardLayoutXkb.h"

#include <QtGlobal>
#include <memory>

namespace vantrel {

class ShortcutKeyTranslator {
public:
    /// Over `layout`; a null layout translates nothing (no X server).
    explicit ShortcutKeyTranslator(std::unique_ptr<KeyboardLayoutXkb> layout);
    /// The keymap of the X server our Qt application talks to; null without one.
    static std::unique_ptr<ShortcutKeyTranslator> forApplication();

    /// The key-down event for X keycode `xKeycode` with Qt's `qtModifiers`
    /// (Qt::KeyboardModifiers) held; absent without a keymap.
    std::optional<NSEvent> keyDown(quint32 xKeycode, int qtModifiers);

private:
    std::unique_ptr<KeyboardLayoutXkb> layout_;
};

} // namespace vantrel
