#include "shell/dashboard/DashboardDemos.h"

#include <QtGlobal>
#include <array>

namespace vantrel {

namespace {

// The descriptions are translation keys (QT_TRANSLATE_NOOP), translated where shown.
constexpr std::array<DashboardDemo, 8> kDemos = {{
    {"autoZoom", "Auto Zoom", "Auto Zoom: ENABLED", "Auto Zoom: DISABLED", "magnifyingglass",
     "magnifyingglass", "demo_autozoom",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "The camera follows your every move.\nSmooth, cinematic zoom tracks "
                       "your mouse and keyboard focus so viewers never lose sight of the action.")},
    {"systemAudio", "System Audio", "System Audio: ON", "System Audio: OFF", "speaker.wave.2",
     "speaker.wave.2", "demo_sysaudio",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Capture everything your computer plays.\nSystem sounds, music, and app "
                       "audio are mixed directly into the recording — no extra setup needed.")},
    {"microphone", "Microphone", "Microphone: ON", "Microphone: OFF", "mic", "mic", "demo_microphone",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Your voice, in the recording.\nRecord narration or commentary from "
                       "your microphone alongside screen and system audio.")},
    {"keystrokes", "Show Keystrokes", "Show Keystrokes: ON", "Show Keystrokes: OFF", "keyboard", "keyboard",
     "demo_keystrokes",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Every key press, on screen.\nKeystrokes are displayed as an overlay so "
                       "viewers can follow along with every shortcut and command you type.")},
    {"mouseClicks", "Mouse Clicks", "Mouse Clicks: VISIBLE", "Mouse Clicks: HIDDEN", "cursorarrow.rays",
     "cursorarrow.rays", "demo_mouseclicks",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Make every click visible.\nA ripple effect highlights each mouse "
                       "click, making it easy for viewers to follow where you're clicking.")},
    {"cursorText", "Cursor Text", "Cursor Text: ON", "Cursor Text: OFF", "cursorarrow.motionlines",
     "cursorarrow.motionlines", "demo_cursortrack",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Show what's under your cursor.\nButton names and UI element labels "
                       "appear next to the pointer so viewers always know what you're hovering.")},
    {"webcam", "Webcam", "Webcam Overlay: ON", "Webcam Overlay: OFF", "person.crop.rectangle.fill",
     "person.crop.rectangle", "demo_webcam",
     QT_TRANSLATE_NOOP("DashboardViewModel", "Your face, always in the frame.\nOverlay your webcam feed as a "
                                             "Picture-in-Picture in any corner of the recording.")},
    {"start", nullptr, "START RECORDING", "START RECORDING", "record.circle", "record.circle",
     "demo_recording",
     QT_TRANSLATE_NOOP("DashboardViewModel",
                       "Capture every moment, effortlessly.\nOne click starts a crisp, "
                       "full-resolution recording of your screen with all your overlays applied.")},
}};

} // namespace

std::span<const DashboardDemo> dashboardDemos() {
    return kDemos;
}

const DashboardDemo* dashboardDemo(const QString& key) {
    for (const DashboardDemo& demo : kDemos)
        if (key == QLatin1String(demo.key)) return &demo;
    return nullptr;
}

} // namespace vantrel
