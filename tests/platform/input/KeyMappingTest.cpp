// X keys in the terms the logic's key tables are written in: every row of
// those tables reached through a real US keymap, a German keymap (Z and Y
// swap, ß and dead keys), modifiers and the characters of a press.
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

struct Expected {
    uint32_t keysym;
    uint16_t keyCode;
};

// The keys the logic names, with the codes its tables give them: the
// special keys (28 rows) and the base keys (47 rows).
const Expected kSpecialKeys[] = {
    {XKB_KEY_Return, 36}, {XKB_KEY_Tab, 48},      {XKB_KEY_space, 49},    {XKB_KEY_BackSpace, 51},
    {XKB_KEY_Escape, 53}, {XKB_KEY_Num_Lock, 71}, {XKB_KEY_KP_Enter, 76}, {XKB_KEY_Home, 115},
    {XKB_KEY_Prior, 116}, {XKB_KEY_Delete, 117},  {XKB_KEY_End, 119},     {XKB_KEY_Next, 121},
    {XKB_KEY_Left, 123},  {XKB_KEY_Right, 124},   {XKB_KEY_Down, 125},    {XKB_KEY_Up, 126},
    {XKB_KEY_F1, 122},    {XKB_KEY_F2, 120},      {XKB_KEY_F3, 99},       {XKB_KEY_F4, 118},
    {XKB_KEY_F5, 96},     {XKB_KEY_F6, 97},       {XKB_KEY_F7, 98},       {XKB_KEY_F8, 100},
    {XKB_KEY_F9, 101},    {XKB_KEY_F10, 109},     {XKB_KEY_F11, 103},     {XKB_KEY_F12, 111},
};

const Expected kBaseKeys[] = {
    {XKB_KEY_a, 0},          {XKB_KEY_s, 1},           {XKB_KEY_d, 2},
    {XKB_KEY_f, 3},          {XKB_KEY_h, 4},           {XKB_KEY_g, 5},
    {XKB_KEY_z, 6},          {XKB_KEY_x, 7},           {XKB_KEY_c, 8},
    {XKB_KEY_v, 9},          {XKB_KEY_b, 11},          {XKB_KEY_q, 12},
    {XKB_KEY_w, 13},         {XKB_KEY_e, 14},          {XKB_KEY_r, 15},
    {XKB_KEY_y, 16},         {XKB_KEY_t, 17},          {XKB_KEY_1, 18},
    {XKB_KEY_2, 19},         {XKB_KEY_3, 20},          {XKB_KEY_4, 21},
    {XKB_KEY_6, 22},         {XKB_KEY_5, 23},          {XKB_KEY_equal, 24},
    {XKB_KEY_9, 25},         {XKB_KEY_7, 26},          {XKB_KEY_minus, 27},
    {XKB_KEY_8, 28},         {XKB_KEY_0, 29},          {XKB_KEY_bracketright, 30},
    {XKB_KEY_o, 31},         {XKB_KEY_u, 32},          {XKB_KEY_bracketleft, 33},
    {XKB_KEY_i, 34},         {XKB_KEY_p, 35},          {XKB_KEY_l, 37},
    {XKB_KEY_j, 38},         {XKB_KEY_apostrophe, 39}, {XKB_KEY_k, 40},
    {XKB_KEY_semicolon, 41}, {XKB_KEY_backslash, 42},  {XKB_KEY_comma, 43},
    {XKB_KEY_slash, 44},     {XKB_KEY_n, 45},          {XKB_KEY_m, 46},
    {XKB_KEY_period, 47},    {XKB_KEY_grave, 50},
};

std::unique_ptr<KeyboardLayoutXkb> layout(const char* name) {
    auto result = KeyboardLayoutXkb::fromNames(name, "");
    if (!result) ADD_FAILURE() << "no keymap for layout " << name;
    return result;
}

void press(KeyboardLayoutXkb& keyboard, uint32_t keysym) {
    keyboard.updateKey(keyboard.keycodeForKeysym(keysym), true);
}

} // namespace

TEST(KeyMapping, EveryKeyOfTheLogicsTablesGetsItsCodeThroughAUsKeymap) {
    auto us = layout("us");
    ASSERT_TRUE(us);
    EXPECT_EQ(std::size(kSpecialKeys), 28u);
    EXPECT_EQ(std::size(kBaseKeys), 47u);
    std::vector<Expected> keys(std::begin(kSpecialKeys), std::end(kSpecialKeys));
    keys.insert(keys.end(), std::begin(kBaseKeys), std::end(kBaseKeys));
    for (const Expected& key : keys) {
        const uint32_t keycode = us->keycodeForKeysym(key.keysym);
        ASSERT_NE(keycode, 0u) << "keysym 0x" << std::hex << key.keysym;
        EXPECT_EQ(us->translate(keycode).keyCode, key.keyCode) << "keysym 0x" << std::hex << key.keysym;
    }
}

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
    EXPECT_EQ(macKeyCode(XKB_KEY_F13, x(183)), 105);
    EXPECT_EQ(macKeyCode(XKB_KEY_F20, x(190)), 90);
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
    de->updateKey(x(42), true);
    EXPECT_EQ(de->translate(x(12)).characters, "?");
    de->updateKey(x(42), false);

    // A dead key makes no characters; its place gives the code.
    KeyTranslation dead = de->translate(x(41));
    EXPECT_EQ(dead.characters, "");
    EXPECT_EQ(dead.keyCode, 50);
}

TEST(KeyMapping, ModifiersAndTheCharactersOfAPress) {
    auto us = layout("us");
    ASSERT_TRUE(us);
    EXPECT_EQ(us->modifierFlags().rawValue, 0u);
    EXPECT_EQ(us->translate(x(37)).characters, "k");

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
    EXPECT_EQ(us->translate(x(30)).charactersIgnoringModifiers, "A");

    us->updateKey(us->keycodeForKeysym(XKB_KEY_Control_L), false);
    us->updateKey(us->keycodeForKeysym(XKB_KEY_Alt_L), false);
    us->updateKey(us->keycodeForKeysym(XKB_KEY_Super_L), false);
    EXPECT_EQ(us->modifierFlags().rawValue, NSEventModifierFlags::shift);
    EXPECT_EQ(us->translate(x(2)).characters, "!");
}

TEST(KeyMapping, ModifierKeysAreKnownAndDoNotRepeat) {
    auto us = layout("us");
    ASSERT_TRUE(us);
    for (uint32_t keysym :
         {XKB_KEY_Shift_L, XKB_KEY_Control_R, XKB_KEY_Alt_L, XKB_KEY_Super_L, XKB_KEY_Caps_Lock}) {
        KeyTranslation key = us->translate(us->keycodeForKeysym(keysym));
        EXPECT_TRUE(key.isModifier) << std::hex << keysym;
        EXPECT_FALSE(key.repeats) << std::hex << keysym;
    }
    KeyTranslation a = us->translate(x(30));
    EXPECT_FALSE(a.isModifier);
    EXPECT_TRUE(a.repeats);
    EXPECT_EQ(us->translate(us->keycodeForKeysym(XKB_KEY_F13)).characters, "");
}
