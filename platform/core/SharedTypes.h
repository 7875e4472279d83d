#pragma once
// Small value types that cross folders under the names the logic uses.

#include <cstdint>
#include <filesystem>

namespace vantrel {

/// A display's identity; 0 means none. On X11 it is a hash of the monitor's
/// name, so that it survives unplugging and plugging in again.
using CGDirectDisplayID = uint32_t;

/// A file or folder location.
struct URL {
    std::filesystem::path path;
    friend bool operator==(const URL&, const URL&) = default;
};

} // namespace vantrel
