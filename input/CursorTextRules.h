#pragma once
// Which elements under a resting pointer get a label, and which texts are
// worth showing: short enough, not a path, not a date or a clock time.

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel {

/// The 16 roles that may get a label.
bool isCursorTextRole(std::string_view role);
/// The attributes tried, in this order.
inline constexpr std::array<std::string_view, 3> kCursorTextAttributes = {"AXTitle", "AXDescription",
                                                                          "AXHelp"};

/// The text with whitespace and newlines removed from both ends, if it is
/// then 3 to 50 characters long (grapheme clusters), does not begin with "/"
/// and does not begin like a date or a time; otherwise nothing.
std::optional<std::string> acceptableCursorText(std::string_view text);

} // namespace vantrel
