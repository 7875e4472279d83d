#pragma once
// The dashboard's window. For now a plain window of the dashboard's size with
// the start button and, when the desktop has no tray, the tray's commands;
// the full dashboard replaces it.

#include <QPointer>
#include <memory>

class QWidget;

namespace vantrel {

class MenuBarViewModel;

class DashboardWindowManager {
public:
    static constexpr int kWidth = 520;
    static constexpr int kHeight = 705;

    DashboardWindowManager();
    ~DashboardWindowManager();

    /// Opens the dashboard, or brings the open one forward.
    void show(MenuBarViewModel& viewModel);
    void close();

private:
    QPointer<QWidget> window_;
};

} // namespace vantrel
