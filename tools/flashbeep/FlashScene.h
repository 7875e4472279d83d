#pragma once
// The flash-and-beep scene: a window over the whole X screen that turns from
// black to white at the same instant as a 1 kHz tone starts in each of the
// given PulseAudio sinks, so that a recording of the screen and of those
// sinks can be checked for sound in step with the picture.

#include <string>
#include <vector>

namespace vantrel::tools {

struct FlashSceneOptions {
    int flashes = 5;
    double intervalSeconds = 1.5;  // from one flash to the next
    double leadSeconds = 1.0;      // black and silent before the first flash
    double toneSeconds = 0.3;
    double whiteSeconds = 0.5;
    std::vector<std::string> sinks; // empty: the default sink
};

/// Runs the scene on $DISPLAY; returns the host-clock seconds of each flash,
/// or throws std::runtime_error with a one-line reason.
std::vector<double> runFlashScene(const FlashSceneOptions& options);

} // namespace vantrel::tools
