#pragma once
// Turns a finished fragmented MP4 into an ordinary one (one index for the
// whole file) by copying its packets, without encoding again.

#include <filesystem>
#include <string>

namespace vantrel {

/// Writes a hidden file beside `file` and renames it over `file`. On failure
/// (a full disk, say) the hidden file is removed, `file` is left as it was,
/// and `error` says why.
bool remuxToIndexedMp4(const std::filesystem::path& file, std::string* error);

} // namespace vantrel
