#include "RecordOptions.h"

#include <cmath>
#include <stdexcept>
#include <string_view>

namespace vantrel::tools {

namespace {

double parseSeconds(std::string_view flag, const std::string& text) {
    size_t used = 0;
    double value = 0;
    try {
        value = std::stod(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used != text.size() || !std::isfinite(value) || value < 0)
        throw std::invalid_argument(std::string(flag) + " needs a number of seconds, not \"" + text + "\"");
    return value;
}

} // namespace

RecordOptions parseRecordOptions(int argc, char** argv) {
    RecordOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasNext = i + 1 < argc;
        const auto value = [&]() -> std::string {
            if (!hasNext) throw std::invalid_argument(std::string(arg) + " needs a value");
            return argv[++i];
        };
        // Flags whose value may be left out take the next word only when it is not a flag.
        const auto optionalValue = [&]() -> std::string {
            if (hasNext && std::string_view(argv[i + 1]).substr(0, 2) != "--") return argv[++i];
            return {};
        };
        if (arg == "--seconds")
            options.seconds = parseSeconds(arg, value());
        else if (arg == "--display")
            options.display = value();
        else if (arg == "--out")
            options.outDirectory = value();
        else if (arg == "--full")
            options.full = true;
        else if (arg == "--no-system-audio")
            options.noSystemAudio = true;
        else if (arg == "--mic")
            options.mic = optionalValue();
        else if (arg == "--webcam")
            options.webcam = optionalValue();
        else if (arg == "--camera-path")
            options.cameraPathPath = value();
        else if (arg == "--pause-at")
            options.pauseAt = parseSeconds(arg, value());
        else if (arg == "--resume-at")
            options.resumeAt = parseSeconds(arg, value());
        else
            throw std::invalid_argument("unknown option " + std::string(arg));
    }
    if (options.resumeAt && !options.pauseAt) throw std::invalid_argument("--resume-at needs --pause-at");
    if (options.pauseAt && options.resumeAt && *options.resumeAt <= *options.pauseAt)
        throw std::invalid_argument("--resume-at must come after --pause-at");
    if (options.seconds && *options.seconds <= 0) throw std::invalid_argument("--seconds must be more than 0");
    return options;
}

} // namespace vantrel::tools
