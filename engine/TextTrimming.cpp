#include "TextTrimming.h"

#include <cstdint>

namespace vantrel {

namespace {

// Decodes the code point at `i`, moving `i` past it; malformed bytes count as one.
char32_t decodeAt(std::string_view s, size_t& i) {
    const auto lead = static_cast<unsigned char>(s[i]);
    const int length = lead < 0x80           ? 1
                       : (lead >> 5) == 0x6  ? 2
                       : (lead >> 4) == 0xE  ? 3
                       : (lead >> 3) == 0x1E ? 4
                                             : 1;
    if (i + length > s.size() || length == 1) {
        ++i;
        return lead;
    }
    char32_t cp = lead & (0x7F >> length);
    for (int k = 1; k < length; ++k)
        cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
    i += length;
    return cp;
}

bool isSpace(char32_t c) {
    return c == U' ' || c == U'\t' || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
           c == 0x202F || c == 0x205F || c == 0x3000;
}

bool isNewline(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isCombiningMark(char32_t c) {
    return (c >= 0x0300 && c <= 0x036F) || (c >= 0x1AB0 && c <= 0x1AFF) || (c >= 0x1DC0 && c <= 0x1DFF) ||
           (c >= 0x20D0 && c <= 0x20FF) || (c >= 0xFE20 && c <= 0xFE2F) || (c >= 0xFE00 && c <= 0xFE0F);
}

template <typename Trimmed> std::string trim(std::string_view text, Trimmed trimmed) {
    size_t begin = 0, end = 0;
    bool seenKept = false;
    for (size_t i = 0; i < text.size();) {
        const size_t at = i;
        const char32_t c = decodeAt(text, i);
        if (trimmed(c)) continue;
        if (!seenKept) begin = at;
        seenKept = true;
        end = i;
    }
    return seenKept ? std::string(text.substr(begin, end - begin)) : std::string();
}

} // namespace

std::string trimmingWhitespaces(std::string_view text) {
    return trim(text, isSpace);
}

std::string trimmingWhitespacesAndNewlines(std::string_view text) {
    return trim(text, [](char32_t c) { return isSpace(c) || isNewline(c); });
}

size_t characterCount(std::string_view text) {
    size_t count = 0;
    for (size_t i = 0; i < text.size();)
        if (!isCombiningMark(decodeAt(text, i))) ++count;
    return count;
}

std::string asciiLowercased(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lowered;
}

} // namespace vantrel
