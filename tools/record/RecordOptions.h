#pragma once
// The command line of vantrel-record: how long, which display, where, and
// what to record this time, over the user's own settings.

#include <filesystem>
#include <optional>
#include <string>

namespace vantrel::tools {

struct RecordOptions {
    std::optional<double> seconds;          // absent: until Ctrl+C or SIGTERM
    std::optional<std::string> display;     // a display ID or a monitor name
    std::optional<std::filesystem::path> outDirectory;
    bool full = false;
    bool noSystemAudio = false;
    std::optional<std::string> mic;         // present: record the microphone; empty: the default one
    std::optional<std::string> webcam;      // present: show the webcam; empty: the default one
    std::filesystem::path cameraPathPath;
    std::optional<double> pauseAt;
    std::optional<double> resumeAt;
};

/// Throws std::invalid_argument with a one-line reason for a bad command line.
RecordOptions parseRecordOptions(int argc, char** argv);

inline constexpr const char* recordUsage =
    "usage: vantrel-record [--seconds N] [--display ID|NAME] [--out DIR] [--full] [--no-system-audio]\n"
    "                      [--mic [SOURCE]] [--webcam [ID]] [--camera-path FILE]\n"
    "                      [--pause-at S --resume-at S]\n"
    "Records the screen into the Documents folder (or DIR) until N seconds have passed or Ctrl+C.\n";

} // namespace vantrel::tools
