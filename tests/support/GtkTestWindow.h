#pragma once
// The small GTK3 window of gtk_test_window.py, run with Debian's
// /usr/bin/python3 on the current $DISPLAY and session bus: a text entry, a
// password entry, labelled buttons and a label, for accessibility tests.

#include "platform/core/Geometry.h"

#include <QProcess>
#include <map>
#include <string>

namespace vantrel::test {

class GtkTestWindow {
public:
    /// Starts the window with the script's options (--at, --button, --second,
    /// --desktop) and waits until it is on screen; check isReady().
    explicit GtkTestWindow(const QStringList& options = {});
    ~GtkTestWindow();

    bool isReady() const { return !rects_.empty(); }
    /// A widget's rectangle in root coordinates: "entry", "password", "save",
    /// "settings", "label"; "button", "second" or "folder" with those options.
    CGRect rect(const std::string& widget) const;
    CGPoint center(const std::string& widget) const;
    /// Gives the keyboard focus to a widget.
    void focus(const std::string& widget);

private:
    QProcess process_;
    std::map<std::string, CGRect> rects_;
};

} // namespace vantrel::test
