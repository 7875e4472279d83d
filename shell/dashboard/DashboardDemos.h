#pragma once
// The demos the dashboard plays while the pointer is over a tile, the webcam
// card or the start button: captions for both states, symbol, video and the
// description shown when the video is missing.

#include <QString>
#include <span>

namespace vantrel {

struct DashboardDemo {
    const char* key;         // the hover target
    const char* settingWord; // the caption word that ties it to its setting; null for the button
    const char* titleOn;
    const char* titleOff;
    const char* iconOn;
    const char* iconOff;
    const char* video;
    const char* description;
};

std::span<const DashboardDemo> dashboardDemos();
const DashboardDemo* dashboardDemo(const QString& key);

} // namespace vantrel
