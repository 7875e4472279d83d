// The text of a key press and the rules for labels under the pointer.
#include "input/KeyText.h"

#include "input/CursorTextRules.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {

NSEvent key(uint16_t keyCode, std::optional<std::string> ignoring, std::optional<std::string> characters,
            uint64_t flags = 0) {
    NSEvent event;
    event.type = NSEventType::keyDown;
    event.keyCode = keyCode;
    event.charactersIgnoringModifiers = std::move(ignoring);
    event.characters = std::move(characters);
    event.modifierFlags.rawValue = flags;
    return event;
}

} // namespace

TEST(KeyText, ModifierGlyphsComeInTheirFixedOrder) {
    using F = NSEventModifierFlags;
    EXPECT_EQ(modifierGlyphs({F::command | F::shift}), (std::vector<std::string>{"⇧", "⌘"}));
    EXPECT_EQ(modifierGlyphs({F::command | F::shift | F::option | F::control}),
              (std::vector<std::string>{"⌃", "⌥", "⇧", "⌘"}));
    EXPECT_TRUE(modifierGlyphs({0x10000 /* caps lock */}).empty());
}

TEST(KeyText, NamesComeFromTheTablesThenTheCharacters) {
    EXPECT_EQ(keyText(key(36, "\r", "\r")), "⏎ Enter");
    EXPECT_EQ(keyText(key(76, "\x03", "\x03")), "⏎ Enter");
    EXPECT_EQ(keyText(key(123, "", "")), "←");
    EXPECT_EQ(keyText(key(117, "", "")), "⌦ Fwd Del");
    EXPECT_EQ(keyText(key(71, "", "")), "⌧ Clear");
    EXPECT_EQ(keyText(key(111, "", "")), "F12");
    EXPECT_EQ(keyText(key(49, " ", " ")), "␣ Space");
    // Characters are upper-cased; control characters give way to the key without modifiers.
    EXPECT_EQ(keyText(key(40, "k", "\v")), "K");
    EXPECT_EQ(keyText(key(40, std::nullopt, "k")), "K");
    EXPECT_EQ(keyText(key(27, "ß", "ß")), "SS");
    // A dead key has no characters: the base table, or "?".
    EXPECT_EQ(keyText(key(50, "", "")), "`");
    EXPECT_EQ(keyText(key(10, "", "")), "?");
    // F13 and above: private-use characters, in no table.
    EXPECT_EQ(keyText(key(105, "\uF710", "\uF710")), "?");
    EXPECT_EQ(keyText(key(105, "", "")), "?");

    int special = 0, base = 0;
    for (int code = 0; code < 256; ++code) {
        special += specialKeyName(static_cast<uint16_t>(code)) != nullptr;
        base += baseKeyName(static_cast<uint16_t>(code)) != nullptr;
    }
    EXPECT_EQ(special, 28);
    EXPECT_EQ(base, 47);
    for (uint16_t absent : {10, 36, 48, 49, 51, 60})
        EXPECT_EQ(baseKeyName(absent), nullptr) << absent;
}

TEST(KeyText, PrintableTextExcludesControlAndPrivateUseCharacters) {
    EXPECT_FALSE(isPrintableText(""));
    EXPECT_TRUE(isPrintableText("a"));
    EXPECT_TRUE(isPrintableText(" "));
    EXPECT_TRUE(isPrintableText("ß"));
    EXPECT_FALSE(isPrintableText("\x1f"));
    EXPECT_FALSE(isPrintableText("a\x7f"));
    EXPECT_FALSE(isPrintableText("\u0085"));
    EXPECT_FALSE(isPrintableText("\u009f"));
    EXPECT_TRUE(isPrintableText("\u00a0"));
    EXPECT_FALSE(isPrintableText("\uE000"));
    EXPECT_FALSE(isPrintableText("\uF8FF"));
    EXPECT_TRUE(isPrintableText("\uF900"));
}

TEST(CursorTextRules, LengthPathAndDateRules) {
    EXPECT_EQ(acceptableCursorText("  OK  "), std::nullopt);
    EXPECT_EQ(acceptableCursorText("\n Save \t"), "Save");
    EXPECT_EQ(acceptableCursorText("abc"), "abc");
    EXPECT_EQ(acceptableCursorText(std::string(50, 'x')), std::string(50, 'x'));
    EXPECT_EQ(acceptableCursorText(std::string(51, 'x')), std::nullopt);
    // Length counts what a reader sees: a flag or a skin tone is one character.
    EXPECT_EQ(acceptableCursorText("a\U0001F44D\U0001F3FD"), std::nullopt);
    EXPECT_EQ(acceptableCursorText("ab\U0001F44D\U0001F3FD"), "ab\U0001F44D\U0001F3FD");
    EXPECT_EQ(acceptableCursorText("/usr/bin"), std::nullopt);
    EXPECT_EQ(acceptableCursorText("and/or"), "and/or");
    for (const char* dateOrTime : {"12:30", "2024-01-05", "3/4", "1:05 PM", "07-12"})
        EXPECT_EQ(acceptableCursorText(dateOrTime), std::nullopt) << dateOrTime;
    EXPECT_EQ(acceptableCursorText("Meeting 12:30"), "Meeting 12:30");
    EXPECT_EQ(acceptableCursorText("12345:6"), "12345:6");
}

TEST(CursorTextRules, OnlyTheSixteenRolesGetALabel) {
    int accepted = 0;
    for (const char* role :
         {"AXButton", "AXMenuItem", "AXMenuBarItem", "AXMenuButton", "AXLink", "AXTabGroup", "AXCheckBox",
          "AXRadioButton", "AXPopUpButton", "AXDisclosureTriangle", "AXTextField", "AXTextArea", "AXComboBox",
          "AXSlider", "AXToolbar", "AXCell"})
        accepted += isCursorTextRole(role);
    EXPECT_EQ(accepted, 16);
    for (const char* role : {"AXStaticText", "AXImage", "AXWindow", "AXGroup", "", "axbutton"})
        EXPECT_FALSE(isCursorTextRole(role)) << role;
    EXPECT_EQ(kCursorTextAttributes[0], "AXTitle");
    EXPECT_EQ(kCursorTextAttributes[2], "AXHelp");
}
