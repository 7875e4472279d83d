// X keys in the terms the logic's key tables are written in: the table's
// consistency, a German keymap (Z and Y swap, ß and dead keys), modifiers and
// the characters of a press.
#include "platform/input/KeyCodes.h"
#include "platform/input/KeyboardLayoutXkb.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <vector>
#include <xkbcommon/xkbcommon-keysyms.h>

using namespace vantrel;

namespace {

constexpr uint32_t x(uint32_t evdevCode) {
    return evdevCode + kEvdevToXKeycodeOffset;
}

std::unique_ptr<KeyboardLayoutXkb> layout(const char* name) {
    auto result = KeyboardLayoutXkb::fromNames(name, "");
    if (!result) ADD_FAILURE() << "no keymap for layout " << name;
    return result;
}

void press(KeyboardLayoutXkb& keyboard, uint32_t keysym) {
    keyboard.updateKey(keyboard.keycodeForKeysym(keysym), true);
}

} // namespace

TEST(KeyMapping, TableRowsAreUnambiguous) {
    // A keysym may appear once; a position may have several keysyms (keypad
    // with and without Num Lock, Tab with shift) but only one code.
    std::set<uint32_t> keysyms;
    std::map<uint32_t, uint16_t> codeAtPosition;
    for (const KeyCodeRow& row : keyCodeTable()) {
        if (row.keysym != 0) {
            EXPECT_TRUE(keysyms.insert(row.keysym).second) << "keysym 0x" << std::hex << row.keysym;
        }
        auto [it, fresh] = codeAtPosition.emplace(row.evdevCode, row.macKeyCode);
        if (!fresh) {
            EXPECT_EQ(it->second, row.macKeyCode) << "evdev " << row.evdevCode;
        }
        EXPECT_NE(row.macKeyCode, kUnknownKeyCode);
    }
}

TEST(KeyMapping, UnknownKeysFallBackOnPositionThenOnNothing) {
    EXPECT_EQ(macKeyCode(XKB_KEY_Cyrillic_ef, x(30)), 0); // the A key of a Russian layout
    EXPECT_EQ(macKeyCode(XKB_KEY_NoSymbol, 255), kUnknownKeyCode);
}

TEST(KeyMapping, GermanLayoutSwapsZAndYAndPrintsSharpS) {
    auto de = layout("de");
    ASSERT_TRUE(de);
    // The key at the US Y position makes z: it is Z for the logic too.
    KeyTranslation zKey = de->translate(x(21));
    EXPECT_EQ(zKey.keyCode, 6);
    EXPECT_EQ(zKey.characters, "z");
    KeyTranslation yKey = de->translate(x(44));
    EXPECT_EQ(yKey.keyCode, 16);
    EXPECT_EQ(yKey.charactersIgnoringModifiers, "y");

    // ß has no code of its own; it keeps the code of its place and prints.
    KeyTranslation sharpS = de->translate(x(12));
    EXPECT_EQ(sharpS.characters, "ß");
    EXPECT_EQ(sharpS.charactersIgnoringModifiers, "ß");
    EXPECT_EQ(sharpS.keyCode, 27);

    // A dead key makes no characters; its place gives the code.
    KeyTranslation dead = de->translate(x(41));
    EXPECT_EQ(dead.characters, "");
    EXPECT_EQ(dead.keyCode, 50);
}

TEST(KeyMapping, ModifiersAndTheCharactersOfAPress) {
    auto us = layout("us");
    ASSERT_TRUE(us);
    press(*us, XKB_KEY_Control_L);
    EXPECT_EQ(us->modifierFlags().rawValue, NSEventModifierFlags::control);
    // Control makes a control character; the logic falls back on the key itself.
    KeyTranslation controlK = us->translate(x(37));
    EXPECT_EQ(controlK.characters, "\v");
    EXPECT_EQ(controlK.charactersIgnoringModifiers, "k");

    press(*us, XKB_KEY_Shift_L);
    press(*us, XKB_KEY_Alt_L);
    press(*us, XKB_KEY_Super_L);
    EXPECT_EQ(us->modifierFlags().rawValue, NSEventModifierFlags::control | NSEventModifierFlags::shift |
                                                NSEventModifierFlags::option | NSEventModifierFlags::command);

    us->updateKey(us->keycodeForKeysym(XKB_KEY_Control_L), false);
    us->updateKey(us->keycodeForKeysym(XKB_KEY_Alt_L), false);
    us->updateKey(us->keycodeForKeysym(XKB_KEY_Super_L), false);
    EXPECT_EQ(us->modifierFlags().rawValue, NSEventModifierFlags::shift);
    EXPECT_EQ(us->translate(x(2)).characters, "!");
}

TEST(KeyMapping, KeypadKeysWithNumLockOffAreTheNavigationKeys) {
    auto us = layout("us");
    ASSERT_TRUE(us);
    EXPECT_EQ(us->translate(x(71)).keyCode, us->translate(us->keycodeForKeysym(XKB_KEY_Home)).keyCode);
    EXPECT_EQ(us->translate(x(75)).keyCode, us->translate(us->keycodeForKeysym(XKB_KEY_Left)).keyCode);
    press(*us, XKB_KEY_Num_Lock);
    EXPECT_EQ(us->translate(x(71)).characters, "7");
}

