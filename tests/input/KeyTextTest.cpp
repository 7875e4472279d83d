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

TEST(KeyText, NamesComeFromTheTablesThenTheCharacters) {
    EXPECT_EQ(keyText(key(36, "\r", "\r")), "⏎ Enter");
    EXPECT_EQ(keyText(key(76, "\x03", "\x03")), "⏎ Enter");
    // Characters are upper-cased; control characters give way to the key without modifiers.
    EXPECT_EQ(keyText(key(40, "k", "\v")), "K");
    EXPECT_EQ(keyText(key(40, std::nullopt, "k")), "K");
    EXPECT_EQ(keyText(key(27, "ß", "ß")), "SS");
    // A dead key has no characters: the base table, or "?".
    EXPECT_EQ(keyText(key(50, "", "")), "`");
    EXPECT_EQ(keyText(key(10, "", "")), "?");
    // F13 and above: private-use characters, in no table.
    EXPECT_EQ(keyText(key(105, "\uF710", "\uF710")), "?");
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
