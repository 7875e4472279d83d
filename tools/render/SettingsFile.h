#pragma once
// The recording switches a replay runs with, from a small JSON file:
// {"enableAutoZoom": true, "showMouseClicks": true, "showKeystrokes": true,
//  "enableCursorFollowText": true, "webcamPosition": "bottomRight"}

#include "engine/FrameInputs.h"

#include <filesystem>
#include <string>

namespace vantrel::tools {

/// `settings` with the file's values laid over it. Throws std::runtime_error
/// naming the file and the key when the file is unreadable, not an object,
/// or holds an unknown key or a value of the wrong kind.
AppSettingsSnapshot readSettingsFile(const std::filesystem::path& path, AppSettingsSnapshot settings);
AppSettingsSnapshot readSettingsJson(const std::string& text, const std::string& sourceName,
                                     AppSettingsSnapshot settings);

} // namespace vantrel::tools
