#pragma once
// Reading a monitor's EDID block.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vantrel {

/// The product name of the "monitor name" descriptor (tag 0xFC) of a base
/// EDID block, trimmed; absent when the block is short, has a wrong header or no name.
std::optional<std::string> edidProductName(std::span<const uint8_t> edid);

} // namespace vantrel
