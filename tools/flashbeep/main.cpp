// vantrel-flash-beep: is the sound of a recording in step with its picture?
//
//   vantrel-flash-beep scene [--flashes N] [--interval S] [--lead S] [--sink NAME]...
//       turns the whole X screen white at the same instant as a 1 kHz tone
//       starts in each sink (the default sink without --sink), N times;
//   vantrel-flash-beep analyse FILE...
//       prints, for each audio track, the onset of each tone minus the time
//       of the first white frame of its flash, in milliseconds (negative:
//       the sound comes early).
//
// Record the scene with vantrel-record (--mic with the monitor of a sink
// given to --sink, for the microphone track), then analyse the file.

#include "FlashAnalysis.h"
#include "FlashScene.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

using namespace vantrel::tools;

namespace {

constexpr double kTightSeconds = 0.034;

constexpr const char* kUsage =
    "usage: vantrel-flash-beep scene [--flashes N] [--interval S] [--lead S] [--sink NAME]...\n"
    "       vantrel-flash-beep analyse FILE...\n";

int scene(int argc, char** argv) {
    FlashSceneOptions options;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc) throw std::invalid_argument(arg + " needs a value");
        const char* value = argv[++i];
        if (arg == "--flashes") options.flashes = std::stoi(value);
        else if (arg == "--interval") options.intervalSeconds = std::stod(value);
        else if (arg == "--lead") options.leadSeconds = std::stod(value);
        else if (arg == "--sink") options.sinks.push_back(value);
        else throw std::invalid_argument("unknown option " + arg);
    }
    if (options.intervalSeconds < options.whiteSeconds + 0.2)
        throw std::invalid_argument("--interval must leave the screen black for a while");
    for (double t : runFlashScene(options)) std::printf("flash %.6f\n", t);
    return 0;
}

int analyse(int argc, char** argv) {
    if (argc < 3) throw std::invalid_argument("analyse needs a file");
    for (int i = 2; i < argc; ++i) {
        const FlashAnalysis a = analyseFlashRecording(argv[i]);
        std::printf("%s\nflashes %zu (first white frame, s, and ms since the frame before):", argv[i],
                    a.flashSeconds.size());
        for (size_t f = 0; f < a.flashSeconds.size(); ++f)
            std::printf(" %.3f/%.0f", a.flashSeconds[f], (a.flashSeconds[f] - a.lastBlackSeconds[f]) * 1000);
        std::printf("\n");
        for (const auto& track : a.tracks) {
            std::printf("track %d offsets ms:", track.audioTrack);
            double lo = INFINITY, hi = -INFINITY, sum = 0;
            int n = 0;
            for (size_t f = 0; f < track.offsetsMs.size(); ++f) {
                const double ms = track.offsetsMs[f];
                // A flash whose frame before lies more than two frames back
                // (frames dropped there) says little: shown in brackets, left
                // out of the summary.
                const bool loose = a.flashSeconds[f] - a.lastBlackSeconds[f] > kTightSeconds;
                if (std::isnan(ms) || loose) {
                    std::printf(std::isnan(ms) ? " -" : " (%.1f)", ms);
                    continue;
                }
                std::printf(" %.1f", ms);
                lo = std::min(lo, ms);
                hi = std::max(hi, ms);
                sum += ms;
                ++n;
            }
            if (n > 0) std::printf("  (min %.1f max %.1f mean %.1f)", lo, hi, sum / n);
            std::printf("\n");
        }
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc >= 2 && std::strcmp(argv[1], "scene") == 0) return scene(argc, argv);
        if (argc >= 2 && std::strcmp(argv[1], "analyse") == 0) return analyse(argc, argv);
        std::fputs(kUsage, stderr);
        return 2;
    } catch (const std::invalid_argument& e) {
        std::fprintf(stderr, "%s\n%s", e.what(), kUsage);
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
