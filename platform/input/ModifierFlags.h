#pragma once
// Keyboard modifiers under the names the logic uses. The bits are those of
// NSEvent.ModifierFlags, so stored shortcuts keep their values; on Linux
// option is Alt and command is Super.

#include <cstdint>

namespace vantrel {

struct NSEventModifierFlags {
    uint64_t rawValue = 0;

    static constexpr uint64_t shift = 0x20000;
    static constexpr uint64_t control = 0x40000;
    static constexpr uint64_t option = 0x80000;
    static constexpr uint64_t command = 0x100000;

    bool contains(uint64_t flag) const { return (rawValue & flag) == flag; }
    friend bool operator==(const NSEventModifierFlags&, const NSEventModifierFlags&) = default;
};

/// The modifiers of a menu item's shortcut (SwiftUI EventModifiers).
struct EventModifiers {
    static constexpr uint8_t shift = 1 << 1;
    static constexpr uint8_t control = 1 << 2;
    static constexpr uint8_t option = 1 << 3;
    static constexpr uint8_t command = 1 << 4;

    uint8_t rawValue = 0;
    bool contains(uint8_t flag) const { return (rawValue & flag) == flag; }
    bool isEmpty() const { return rawValue == 0; }
    friend bool operator==(const EventModifiers&, const EventModifiers&) = default;
};

} // namespace vantrel
