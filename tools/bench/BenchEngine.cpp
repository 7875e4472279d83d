// vantrel-bench-engine: the steady-state cost of one frame through the
// engine, with a pointer that flies about and clicks.
#include "engine/VideoProcessor.h"
#include "render/RenderOptions.h"
#include "render/SyntheticDesktop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <time.h>
#include <vector>

using namespace vantrel;

namespace {

constexpr int kWarmupFrames = 60;
constexpr int kMeasuredFrames = 600;
constexpr int kFramesPerSecond = 60;
constexpr double kWallStart = 1'800'000'000.0;

// Which overlays are on: none, all, or one of them alone, to see what each costs.
struct Overlays {
    bool clicks = false;
    bool keys = false;
    bool label = false;
    bool webcam = false;
};

struct BenchOptions {
    int width = 1920;
    int height = 1080;
    std::string_view overlayName = "none";
    Overlays overlays;
};

Overlays overlaysNamed(std::string_view name) {
    if (name == "none") return {};
    if (name == "all") return {true, true, true, true};
    if (name == "clicks") return {.clicks = true};
    if (name == "keys") return {.keys = true};
    if (name == "label") return {.label = true};
    if (name == "webcam") return {.webcam = true};
    throw std::invalid_argument("--overlays takes none, all, clicks, keys, label or webcam");
}

BenchOptions parse(int argc, char** argv) {
    BenchOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--size" && i + 1 < argc) {
            tools::parseSize(argv[++i], options.width, options.height);
        } else if (arg == "--overlays" && i + 1 < argc) {
            options.overlayName = argv[++i];
            options.overlays = overlaysNamed(options.overlayName);
        } else {
            throw std::invalid_argument(
                "usage: vantrel-bench-engine [--size WxH] [--overlays none|all|clicks|keys|label|webcam]");
        }
    }
    return options;
}

// Keys pressed this long ago are in the pill's fade: it is drawn anew each frame.
constexpr double kKeystrokeAgeInFade = 1.8;

// The pointer loops over the screen at varying speed and clicks twice a
// second; a label rests beside it and the pill is fading.
EventState stateAt(int frame, double wall, int width, int height) {
    const double t = static_cast<double>(frame) / kFramesPerSecond;
    EventState state = EventState::initial(wall);
    state.mouseLocation = {width * (0.5 + 0.4 * std::sin(t * 0.9)), height * (0.5 + 0.4 * std::sin(t * 1.3))};
    state.isMouseClicked = frame % 30 < 4;
    state.lastInputTime = wall;
    state.activeKeys = "⇧ + ⌘ + K";
    state.lastKeystrokeTime = wall - kKeystrokeAgeInFade;
    state.cursorFollowText = "Save Document";
    return state;
}

// A 1280x720 camera picture, as the webcam delivers it; `tint` tells two apart.
CVPixelBufferRef webcamPicture(uint8_t tint) {
    auto pixels = CVPixelBuffer::create(1280, 720);
    for (int row = 0; row < 720; ++row)
        for (int x = 0; x < 1280; ++x) {
            uint8_t* p = pixels->row(row) + 4 * x;
            p[0] = static_cast<uint8_t>(x / 5);
            p[1] = static_cast<uint8_t>(row / 3);
            p[2] = tint;
            p[3] = 255;
        }
    return pixels;
}

// The camera runs at 30 pictures a second against the screen's 60: each of
// its pictures is composited on two frames, wrapped afresh each time as the
// recorder does.
constexpr int kFramesPerCameraPicture = 2;

// CPU time of this thread: on a machine shared with other work, wall time
// also counts the waits for a core; this counts only the engine's own work.
double threadCpuMillis() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(p * (values.size() - 1))];
}

} // namespace

int main(int argc, char** argv) {
    BenchOptions options;
    try {
        options = parse(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "vantrel-bench-engine: " << error.what() << "\n";
        return 2;
    }
    const auto source = tools::makeSyntheticDesktop(options.width, options.height);
    auto clock = std::make_shared<ManualWallClock>(kWallStart);
    VideoProcessor processor(
        CGSize{static_cast<CGFloat>(options.width), static_cast<CGFloat>(options.height)}, clock);
    AppSettingsSnapshot settings;
    settings.showMouseClicks = options.overlays.clicks;
    settings.showKeystrokes = options.overlays.keys;
    settings.enableCursorFollowText = options.overlays.label;
    settings.showWebcam = options.overlays.webcam;
    const CVPixelBufferRef cameraPictures[2] = {webcamPicture(160), webcamPicture(96)};

    std::vector<double> millis, cpuMillis;
    millis.reserve(kMeasuredFrames);
    cpuMillis.reserve(kMeasuredFrames);
    for (int frame = 0; frame < kWarmupFrames + kMeasuredFrames; ++frame) {
        const double wall = kWallStart + static_cast<double>(frame) / kFramesPerSecond;
        clock->set(wall);
        const auto sample = CMSampleBuffer::makeVideo(source, CMTime(frame * 10, 600));
        const EventState state = stateAt(frame, wall, options.width, options.height);
        std::optional<CIImage> camera;
        if (options.overlays.webcam)
            camera = CIImage::fromPixelBuffer(cameraPictures[frame / kFramesPerCameraPicture % 2]);
        const double cpuStart = threadCpuMillis();
        const auto start = std::chrono::steady_clock::now();
        const auto output = processor.process(sample, state, settings, camera);
        const auto end = std::chrono::steady_clock::now();
        const double cpuEnd = threadCpuMillis();
        if (!output) {
            std::cerr << "vantrel-bench-engine: the engine made no frame\n";
            return 1;
        }
        if (frame >= kWarmupFrames) {
            millis.push_back(std::chrono::duration<double, std::milli>(end - start).count());
            cpuMillis.push_back(cpuEnd - cpuStart);
        }
    }
    std::printf("size=%dx%d overlays=%.*s frames=%d\n", options.width, options.height,
                static_cast<int>(options.overlayName.size()), options.overlayName.data(), kMeasuredFrames);
    std::printf("p95_ms=%.3f\n", percentile(millis, 0.95));
    std::printf("median_ms=%.3f\n", percentile(millis, 0.5));
    std::printf("cpu_median_ms=%.3f\n", percentile(cpuMillis, 0.5));
    return 0;
}
