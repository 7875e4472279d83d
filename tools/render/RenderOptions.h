#pragma once
// Command line of vantrel-render.

#include "engine/FrameInputs.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace vantrel::tools {

struct RenderOptions {
    int width = 1920;
    int height = 1080;
    bool demo = false;
    std::filesystem::path tracePath;
    std::filesystem::path cameraPathPath;
    std::filesystem::path sourcePath;
    std::filesystem::path framesDir;
    std::filesystem::path contactSheetPath;
    /// A picture that stands for the webcam's ("synthetic": a made-up one); drawn when given.
    std::filesystem::path webcamPath;
    std::filesystem::path settingsPath;
    /// Every how many frames one goes on the contact sheet.
    int contactSheetEvery = 30;
    bool noAutoZoom = false;
    /// One of the dashboard's demo loops by name ("autozoom", ...): trace, switches and webcam.
    std::string tileDemo;
    /// Frames of this size when set (the display keeps --size).
    int outputWidth = 0;
    int outputHeight = 0;
    /// An MP4 of the rendered frames.
    std::filesystem::path videoPath;
};

inline constexpr std::string_view renderUsage =
    "usage: vantrel-render (--trace FILE | --demo | --tile-demo NAME) [--size WxH] [--output-size WxH]\n"
    "                      [--video FILE.mp4] [--camera-path FILE] [--no-auto-zoom]\n"
    "                      [--source IMAGE.png] [--frames-dir DIR] [--contact-sheet FILE.png]\n"
    "                      [--webcam IMAGE.png] [--settings FILE.json]\n";

/// Throws std::invalid_argument with a one-line reason on a bad command line.
RenderOptions parseRenderOptions(int argc, char** argv);

/// "1920x1080" into its two numbers; throws on anything else.
void parseSize(std::string_view text, int& width, int& height);

} // namespace vantrel::tools
