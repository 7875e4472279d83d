#include "FrameInputs.h"

namespace vantrel {

namespace {
constexpr std::array<std::string_view, 4> kWebcamPositionNames = {"topLeft", "topRight", "bottomLeft",
                                                                  "bottomRight"};
constexpr std::array<std::string_view, 2> kKeystrokeModeNames = {"all", "shortcutsOnly"};
} // namespace

std::string_view rawValue(WebcamPosition position) { return kWebcamPositionNames[static_cast<size_t>(position)]; }

std::string_view rawValue(KeystrokeDisplayMode mode) { return kKeystrokeModeNames[static_cast<size_t>(mode)]; }

std::optional<WebcamPosition> webcamPositionFromRaw(std::string_view raw) {
    for (WebcamPosition position : kAllWebcamPositions)
        if (rawValue(position) == raw) return position;
    return std::nullopt;
}

std::optional<KeystrokeDisplayMode> keystrokeDisplayModeFromRaw(std::string_view raw) {
    for (KeystrokeDisplayMode mode : kAllKeystrokeDisplayModes)
        if (rawValue(mode) == raw) return mode;
    return std::nullopt;
}

} // namespace vantrel
