#pragma once
// The dashboard's demo loops: for each feature tile a few seconds of the
// built-in demo, with the switches that show that feature, at 30 frames a
// second and starting at time zero so that the loop can repeat.

#include "Trace.h"
#include "engine/FrameInputs.h"

#include <string_view>
#include <vector>

namespace vantrel::tools {

struct TileDemo {
    const char* name;  // "autozoom" for demo_autozoom.mp4
    double start, end; // seconds of the built-in demo
    AppSettingsSnapshot settings;
    bool webcam = false; // the made-up webcam picture in its corner
};

/// The demo of this name, or null.
const TileDemo* findTileDemo(std::string_view name);

/// Its frames for a display of `width` by `height` points.
std::vector<TraceFrame> tileDemoFrames(const TileDemo& demo, int width, int height);

} // namespace vantrel::tools
