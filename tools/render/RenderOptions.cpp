#include "RenderOptions.h"

#include <charconv>
#include <stdexcept>
#include <string>

namespace vantrel::tools {

namespace {
// Larger than any display, small enough that frame buffers stay sane.
constexpr int kMaxSide = 16384;
} // namespace

void parseSize(std::string_view text, int& width, int& height) {
    const auto x = text.find('x');
    auto whole = [&](std::string_view part, int& out) {
        const auto result = std::from_chars(part.data(), part.data() + part.size(), out);
        return result.ec == std::errc() && result.ptr == part.data() + part.size() && out > 0 &&
               out <= kMaxSide;
    };
    if (x == std::string_view::npos || !whole(text.substr(0, x), width) || !whole(text.substr(x + 1), height))
        throw std::invalid_argument("--size takes WIDTHxHEIGHT, such as 1920x1080, not \"" +
                                    std::string(text) + "\"");
}

RenderOptions parseRenderOptions(int argc, char** argv) {
    RenderOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        auto value = [&]() -> std::string_view {
            if (i + 1 >= argc) throw std::invalid_argument(std::string(arg) + " needs a value");
            return argv[++i];
        };
        if (arg == "--size")
            parseSize(value(), options.width, options.height);
        else if (arg == "--trace")
            options.tracePath = value();
        else if (arg == "--demo")
            options.demo = true;
        else if (arg == "--camera-path")
            options.cameraPathPath = value();
        else if (arg == "--no-auto-zoom")
            options.noAutoZoom = true;
        else if (arg == "--source")
            options.sourcePath = value();
        else if (arg == "--frames-dir")
            options.framesDir = value();
        else if (arg == "--contact-sheet")
            options.contactSheetPath = value();
        else if (arg == "--webcam")
            options.webcamPath = value();
        else if (arg == "--settings")
            options.settingsPath = value();
        else if (arg == "--tile-demo")
            options.tileDemo = value();
        else if (arg == "--output-size")
            parseSize(value(), options.outputWidth, options.outputHeight);
        else if (arg == "--video")
            options.videoPath = value();
        else
            throw std::invalid_argument("unknown option " + std::string(arg));
    }
    if (int(options.demo) + int(!options.tracePath.empty()) + int(!options.tileDemo.empty()) != 1)
        throw std::invalid_argument("give one of --trace FILE, --demo or --tile-demo NAME");
    return options;
}

} // namespace vantrel::tools
