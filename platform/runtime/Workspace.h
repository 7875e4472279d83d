#pragma once
// NSWorkspace openURL: folders and web pages open with the desktop's handler
// (xdg-open); the system-settings pane URLs the logic uses open the desktop's
// matching settings (GNOME Settings, KDE System Settings) when there is one,
// and otherwise print one line that tells the user what to do.

#include <QString>
#include <QStringList>
#include <optional>
#include <string>

namespace vantrel {

/// The program and arguments that open `url` on this desktop, or absent when
/// none is found. Reads $XDG_CURRENT_DESKTOP and looks programs up in $PATH.
struct LaunchCommand {
    QString program;
    QStringList arguments;
};
std::optional<LaunchCommand> launchCommandForURL(const std::string& url);

/// The line printed when `url` cannot be opened: what to do by hand.
std::string manualInstructionForURL(const std::string& url);

struct NSWorkspace {
    /// Starts the matching program detached. False, after printing the
    /// instruction line, when nothing could be started.
    static bool openURL(const std::string& url);
};

} // namespace vantrel
