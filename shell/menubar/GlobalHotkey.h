#pragma once
// The global recording shortcut: key-down monitors that see the keys of
// every application and swallow none, matched against the settings at each
// event, so a changed shortcut needs no reinstall.

#include "platform/input/InputEvents.h"

#include <QString>
#include <memory>

namespace vantrel {

/// Keeps the shortcut's monitors; dropping it removes them.
class GlobalHotkeyToken {
public:
    explicit GlobalHotkeyToken(std::shared_ptr<InputEvents> events) : events_(std::move(events)) {}
    ~GlobalHotkeyToken();
    GlobalHotkeyToken(const GlobalHotkeyToken&) = delete;
    GlobalHotkeyToken& operator=(const GlobalHotkeyToken&) = delete;

    InputEvents::Token globalHotkeyMonitor;
    InputEvents::Token localHotkeyMonitor;

private:
    std::shared_ptr<InputEvents> events_;
};

/// Shift, control, option and command: the modifiers a shortcut is made of.
/// Caps lock, function and every other bit do not count.
constexpr uint64_t kShortcutModifierMask = 0x1E0000;

/// True when `event` is the shortcut: the same key, compared in lower case
/// on the characters without modifiers, and exactly the same modifiers.
bool matchesRecordingShortcut(const NSEvent& event, const QString& shortcutKey, qint64 shortcutModifiersRaw);

} // namespace vantrel
