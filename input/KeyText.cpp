#include "KeyText.h"

#include <QList>
#include <QString>
#include <map>

namespace vantrel {

namespace {

const std::map<uint16_t, std::string>& specialKeyNames() {
    static const std::map<uint16_t, std::string> names = {
        {36, "⏎ Enter"}, {48, "⇥ Tab"},   {49, "␣ Space"}, {51, "⌫ Delete"}, {53, "⎋ Esc"},
        {71, "⌧ Clear"}, {76, "⏎ Enter"}, {115, "↖ Home"}, {116, "⇞ PgUp"},  {117, "⌦ Fwd Del"},
        {119, "↘ End"},  {121, "⇟ PgDn"}, {123, "←"},      {124, "→"},       {125, "↓"},
        {126, "↑"},      {122, "F1"},     {120, "F2"},     {99, "F3"},       {118, "F4"},
        {96, "F5"},      {97, "F6"},      {98, "F7"},      {100, "F8"},      {101, "F9"},
        {109, "F10"},    {103, "F11"},    {111, "F12"},
    };
    return names;
}

const std::map<uint16_t, std::string>& baseKeyNames() {
    static const std::map<uint16_t, std::string> names = {
        {0, "A"},   {1, "S"},  {2, "D"},  {3, "F"},  {4, "H"},  {5, "G"},  {6, "Z"},  {7, "X"},
        {8, "C"},   {9, "V"},  {11, "B"}, {12, "Q"}, {13, "W"}, {14, "E"}, {15, "R"}, {16, "Y"},
        {17, "T"},  {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {22, "6"}, {23, "5"}, {24, "="},
        {25, "9"},  {26, "7"}, {27, "-"}, {28, "8"}, {29, "0"}, {30, "]"}, {31, "O"}, {32, "U"},
        {33, "["},  {34, "I"}, {35, "P"}, {37, "L"}, {38, "J"}, {39, "'"}, {40, "K"}, {41, ";"},
        {42, "\\"}, {43, ","}, {44, "/"}, {45, "N"}, {46, "M"}, {47, "."}, {50, "`"},
    };
    return names;
}

const std::string* find(const std::map<uint16_t, std::string>& table, uint16_t keyCode) {
    auto found = table.find(keyCode);
    return found == table.end() ? nullptr : &found->second;
}

std::string upperCased(const std::string& text) {
    // Full Unicode case mapping, as the design's upper-casing: "ß" becomes "SS".
    return QString::fromStdString(text).toUpper().toStdString();
}

} // namespace

const std::string* specialKeyName(uint16_t keyCode) {
    return find(specialKeyNames(), keyCode);
}
const std::string* baseKeyName(uint16_t keyCode) {
    return find(baseKeyNames(), keyCode);
}

std::vector<std::string> modifierGlyphs(NSEventModifierFlags flags) {
    std::vector<std::string> glyphs;
    if (flags.contains(NSEventModifierFlags::control)) glyphs.push_back("⌃");
    if (flags.contains(NSEventModifierFlags::option)) glyphs.push_back("⌥");
    if (flags.contains(NSEventModifierFlags::shift)) glyphs.push_back("⇧");
    if (flags.contains(NSEventModifierFlags::command)) glyphs.push_back("⌘");
    return glyphs;
}

std::string keyText(const NSEvent& event) {
    if (const std::string* name = specialKeyName(event.keyCode)) return *name;
    if (event.charactersIgnoringModifiers && isPrintableText(*event.charactersIgnoringModifiers))
        return upperCased(*event.charactersIgnoringModifiers);
    if (event.characters && isPrintableText(*event.characters)) return upperCased(*event.characters);
    if (const std::string* name = baseKeyName(event.keyCode)) return *name;
    return "?";
}

bool isPrintableText(std::string_view text) {
    if (text.empty()) return false;
    const QString string = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    for (char32_t scalar : string.toUcs4()) {
        if (scalar < 0x20) return false;
        if (scalar >= 0x7F && scalar <= 0x9F) return false;
        if (scalar >= 0xE000 && scalar <= 0xF8FF) return false;
    }
    return true;
}

} // namespace vantrel
