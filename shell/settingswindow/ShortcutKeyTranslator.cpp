#include "shell/settingswindow/ShortcutKeyTranslator.h"

#include <QGuiApplication>

namespace vantrel {

namespace {

// The core X modifier bits that xkbcommon's real modifiers map to.
constexpr uint32_t kXShift = 1 << 0;
constexpr uint32_t kXControl = 1 << 2;
constexpr uint32_t kXMod1 = 1 << 3; // Alt
constexpr uint32_t kXMod4 = 1 << 6; // Super

} // namespace

ShortcutKeyTranslator::ShortcutKeyTranslator(std::unique_ptr<KeyboardLayoutXkb> layout)
    : layout_(std::move(layout)) {}

std::unique_ptr<ShortcutKeyTranslator> ShortcutKeyTranslator::forApplication() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) return nullptr;
    auto layout = KeyboardLayoutXkb::forCoreKeyboard(x11->connection());
    if (!layout) return nullptr;
    return std::make_unique<ShortcutKeyTranslator>(std::move(layout));
}

std::optional<NSEvent> ShortcutKeyTranslator::keyDown(quint32 xKeycode, int qtModifiers) {
    if (!layout_) return std::nullopt;
    uint32_t held = 0;
    if (qtModifiers & Qt::ShiftModifier) held |= kXShift;
    if (qtModifiers & Qt::ControlModifier) held |= kXControl;
    if (qtModifiers & Qt::AltModifier) held |= kXMod1;
    if (qtModifiers & Qt::MetaModifier) held |= kXMod4;
    layout_->updateMask(held, 0, 0, 0, 0, 0);
    const KeyTranslation translation = layout_->translate(xKeycode);
    NSEvent event;
    event.type = NSEventType::keyDown;
    event.keyCode = translation.keyCode;
    event.modifierFlags = layout_->modifierFlags();
    event.characters = translation.characters;
    event.charactersIgnoringModifiers = translation.charactersIgnoringModifiers;
    return event;
}

} // namespace vantrel
