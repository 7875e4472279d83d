#include "shell/menubar/GlobalHotkey.h"

namespace vantrel {

GlobalHotkeyToken::~GlobalHotkeyToken() {
    if (globalHotkeyMonitor) events_->removeMonitor(globalHotkeyMonitor);
    if (localHotkeyMonitor) events_->removeMonitor(localHotkeyMonitor);
}

bool matchesRecordingShortcut(const NSEvent& event, const QString& shortcutKey, qint64 shortcutModifiersRaw) {
    const QString key = shortcutKey.toLower();
    const QString pressed = QString::fromStdString(event.charactersIgnoringModifiers.value_or("")).toLower();
    if (key != pressed) return false;
    return (event.modifierFlags.rawValue & kShortcutModifierMask) ==
           (static_cast<uint64_t>(shortcutModifiersRaw) & kShortcutModifierMask);
}

} // namespace vantrel
