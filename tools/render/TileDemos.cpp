#include "TileDemos.h"

#include "DemoTrace.h"

#include <array>

namespace vantrel::tools {

namespace {

constexpr int kSourceRate = 60, kLoopRate = 30;

AppSettingsSnapshot switches(bool zoom, bool clicks, bool keys, bool cursorText) {
    AppSettingsSnapshot s;
    s.enableAutoZoom = zoom;
    s.showMouseClicks = clicks;
    s.showKeystrokes = keys;
    s.enableCursorFollowText = cursorText;
    return s;
}

// The built-in demo flies to a button (1.0-2.2 s), clicks it (2.5), rests on
// it with its label (to 3.2), clicks the text field (4.0) and types from 4.4.
const std::array<TileDemo, 8> kDemos = {{
    {"autozoom", 0.6, 4.6, switches(true, false, false, false)},
    {"sysaudio", 0.6, 4.6, switches(false, false, false, false)},
    {"microphone", 3.0, 7.0, switches(false, false, false, false), true},
    {"keystrokes", 4.2, 8.2, switches(true, false, true, false)},
    {"mouseclicks", 1.8, 5.0, switches(false, true, false, false)},
    {"cursortrack", 1.2, 4.2, switches(true, false, false, true)},
    {"webcam", 0.6, 4.6, switches(false, false, false, false), true},
    {"recording", 1.8, 6.8, switches(true, true, true, true), true},
}};

} // namespace

const TileDemo* findTileDemo(std::string_view name) {
    for (const TileDemo& demo : kDemos)
        if (name == demo.name) return &demo;
    return nullptr;
}

std::vector<TraceFrame> tileDemoFrames(const TileDemo& demo, int width, int height) {
    const std::vector<TraceFrame> all = makeDemoTrace(width, height);
    std::vector<TraceFrame> frames;
    const int first = static_cast<int>(demo.start * kSourceRate),
              last = static_cast<int>(demo.end * kSourceRate);
    const CMTime origin = all.at(first).presentationTime;
    for (int i = first; i < last && i < static_cast<int>(all.size()); i += kSourceRate / kLoopRate) {
        TraceFrame frame = all[i];
        frame.presentationTime = frame.presentationTime - origin;
        frames.push_back(frame);
    }
    return frames;
}

} // namespace vantrel::tools
