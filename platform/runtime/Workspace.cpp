#include "platform/runtime/Workspace.h"

#include <QProcess>
#include <QStandardPaths>
#include <array>
#include <cstdio>
#include <string_view>

namespace vantrel {

namespace {

constexpr std::string_view kSettingsScheme = "x-apple.systempreferences:";

struct Pane {
    std::string_view anchor;
    const char* gnomePanel;  // gnome-control-center panel
    const char* kdeModule;   // systemsettings module; null opens the start page
    const char* instruction; // what to do by hand
};

constexpr std::array<Pane, 4> kPanes = {{
    {"Privacy_ScreenCapture", "privacy", nullptr,
     "⚠️ Screen recording needs an X11 session: log in to an X11 session (not Wayland) and check that "
     "DISPLAY is "
     "set."},
    {"Privacy_Accessibility", "universal-access", "kcm_access",
     "⚠️ Turn on assistive technologies in your desktop's accessibility settings, then try again."},
    {"Privacy_Camera", "camera", nullptr,
     "⚠️ Allow camera access: add your user to the \"video\" group (sudo usermod -aG video $USER) and log "
     "in "
     "again."},
    {"Privacy_Microphone", "microphone", "kcm_pulseaudio",
     "⚠️ Allow microphone access in your sound settings, and check that PulseAudio or PipeWire is "
     "running."},
}};

const Pane* paneFor(const std::string& url) {
    if (!std::string_view(url).starts_with(kSettingsScheme)) return nullptr;
    for (const Pane& pane : kPanes)
        if (url.ends_with(pane.anchor)) return &pane;
    return nullptr;
}

bool desktopIs(const char* name) {
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(':').contains(name, Qt::CaseInsensitive);
}

bool onPath(const QString& program) {
    return !QStandardPaths::findExecutable(program).isEmpty();
}

} // namespace

std::optional<LaunchCommand> launchCommandForURL(const std::string& url) {
    const bool isSettings = std::string_view(url).starts_with(kSettingsScheme);
    if (!isSettings) {
        if (!onPath("xdg-open")) return std::nullopt;
        return LaunchCommand{"xdg-open", {QString::fromStdString(url)}};
    }
    const Pane* pane = paneFor(url);
    if ((desktopIs("GNOME") || desktopIs("Unity")) && onPath("gnome-control-center"))
        return LaunchCommand{"gnome-control-center", pane ? QStringList{pane->gnomePanel} : QStringList{}};
    if (desktopIs("KDE") && onPath("systemsettings"))
        return LaunchCommand{"systemsettings",
                             pane && pane->kdeModule ? QStringList{pane->kdeModule} : QStringList{}};
    return std::nullopt;
}

std::string manualInstructionForURL(const std::string& url) {
    const Pane* pane = paneFor(url);
    if (pane) return pane->instruction;
    if (std::string_view(url).starts_with(kSettingsScheme))
        return "⚠️ Open your desktop's settings to change this.";
    return "⚠️ Could not open " + url + ": install xdg-utils so that files and folders can be opened.";
}

bool NSWorkspace::openURL(const std::string& url) {
    if (const auto command = launchCommandForURL(url))
        if (QProcess::startDetached(command->program, command->arguments)) return true;
    const std::string instruction = manualInstructionForURL(url);
    if (!instruction.empty()) {
        std::printf("%s\n", instruction.c_str());
        std::fflush(stdout);
    }
    return false;
}

} // namespace vantrel
