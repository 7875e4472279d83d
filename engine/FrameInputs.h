#pragma once
// The plain values through which the frame engine sees the rest of the
// system: what the user is doing (EventState) and what they chose for this
// recording (AppSettingsSnapshot). Both are copied whole between threads and
// share nothing once copied. Input fills the first, settings make the second.

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/core/Geometry.h"
#include "platform/core/SharedTypes.h"

namespace vantrel {

/// Which device the user touched last, and with it what the camera follows.
enum class InputMode { mouse, keyboard };

struct EventState {
    /// Points, local to the recorded display, origin at its lower-left corner, y up.
    CGPoint mouseLocation{0, 0};
    /// The left button is down as far as the last mouse event shows.
    bool isMouseClicked = false;
    /// The text of the latest shown key press, such as "⇧ + ⌘ + K".
    std::string activeKeys;
    /// The focused element's frame, global (lower-left of the main screen, y up); absent when unknown.
    std::optional<CGRect> focusedRect;
    InputMode lastInputMode = InputMode::mouse;
    std::string userDescriptionText = "Recording...";
    /// Wall-clock seconds of the last mouse event or shown key press.
    double lastInputTime = 0;
    /// Wall-clock seconds of the last shown key press; 0 while there was none.
    double lastKeystrokeTime = 0;
    /// Label of the element under the resting pointer; absent when there is none to show.
    std::optional<std::string> cursorFollowText;

    /// A state no input has touched yet, stamped with the construction time.
    static EventState initial(double nowSeconds) {
        EventState state;
        state.lastInputTime = nowSeconds;
        return state;
    }
};

enum class WebcamPosition { topLeft, topRight, bottomLeft, bottomRight };
inline constexpr std::array<WebcamPosition, 4> kAllWebcamPositions = {
    WebcamPosition::topLeft, WebcamPosition::topRight, WebcamPosition::bottomLeft, WebcamPosition::bottomRight};

enum class KeystrokeDisplayMode { all, shortcutsOnly };
inline constexpr std::array<KeystrokeDisplayMode, 2> kAllKeystrokeDisplayModes = {KeystrokeDisplayMode::all,
                                                                                  KeystrokeDisplayMode::shortcutsOnly};

/// The raw values are the case names, as stored in the user's settings.
std::string_view rawValue(WebcamPosition position);
std::string_view rawValue(KeystrokeDisplayMode mode);
std::optional<WebcamPosition> webcamPositionFromRaw(std::string_view raw);
std::optional<KeystrokeDisplayMode> keystrokeDisplayModeFromRaw(std::string_view raw);

/// The settings of one recording, fixed when it starts (AppSettings::Snapshot).
/// Defaults are those of a fresh install.
struct AppSettingsSnapshot {
    bool enableAutoZoom = true;
    bool openFinderAfterRecording = true;
    bool saveFullScreenBackup = false;
    bool enableMicAudio = false;
    bool enableSystemAudio = true;
    bool showKeystrokes = false;
    KeystrokeDisplayMode keystrokeDisplayMode = KeystrokeDisplayMode::all;
    bool showMouseClicks = false;
    bool enableCursorFollowText = false;
    bool showWebcam = false;
    WebcamPosition webcamPosition = WebcamPosition::bottomRight;
    URL saveDirectoryURL;
    CGDirectDisplayID selectedDisplayID = 0;
    std::string selectedCameraID;
    std::string selectedMicID;
    /// Our own windows stay in the recorded picture.
    bool includeAppInCapture = false;
};

} // namespace vantrel
