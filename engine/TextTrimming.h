#pragma once
// Trimming and measuring UTF-8 text the way the overlays judge it.

#include <string>
#include <string_view>

namespace vantrel {

/// Without leading and trailing spaces and tabs (Unicode space separators too);
/// line ends stay.
std::string trimmingWhitespaces(std::string_view text);
/// Without leading and trailing white space of any kind, line ends included.
std::string trimmingWhitespacesAndNewlines(std::string_view text);
/// Characters as a reader counts them (code points, combining marks not counted).
size_t characterCount(std::string_view text);
/// ASCII letters lowered; the rest as it is.
std::string asciiLowercased(std::string_view text);

} // namespace vantrel
