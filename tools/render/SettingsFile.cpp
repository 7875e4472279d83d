#include "SettingsFile.h"

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace vantrel::tools {

AppSettingsSnapshot readSettingsJson(const std::string& text, const std::string& sourceName,
                                     AppSettingsSnapshot settings) {
    nlohmann::json document;
    try {
        document = nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error& error) {
        throw std::runtime_error(sourceName + ": not JSON (" + error.what() + ")");
    }
    if (!document.is_object()) throw std::runtime_error(sourceName + ": expected an object of settings");

    const std::map<std::string, bool AppSettingsSnapshot::*> switches = {
        {"enableAutoZoom", &AppSettingsSnapshot::enableAutoZoom},
        {"showMouseClicks", &AppSettingsSnapshot::showMouseClicks},
        {"showKeystrokes", &AppSettingsSnapshot::showKeystrokes},
        {"enableCursorFollowText", &AppSettingsSnapshot::enableCursorFollowText},
        {"showWebcam", &AppSettingsSnapshot::showWebcam},
    };
    for (const auto& [key, value] : document.items()) {
        if (const auto found = switches.find(key); found != switches.end()) {
            if (!value.is_boolean())
                throw std::runtime_error(sourceName + ": \"" + key + "\" must be true or false");
            settings.*(found->second) = value.get<bool>();
        } else if (key == "webcamPosition") {
            const auto position =
                value.is_string() ? webcamPositionFromRaw(value.get<std::string>()) : std::nullopt;
            if (!position)
                throw std::runtime_error(
                    sourceName + ": \"webcamPosition\" must be topLeft, topRight, bottomLeft or bottomRight");
            settings.webcamPosition = *position;
        } else {
            throw std::runtime_error(sourceName + ": unknown setting \"" + key + "\"");
        }
    }
    return settings;
}

AppSettingsSnapshot readSettingsFile(const std::filesystem::path& path, AppSettingsSnapshot settings) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path.string() + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return readSettingsJson(text.str(), path.string(), settings);
}

} // namespace vantrel::tools
