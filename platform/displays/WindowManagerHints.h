#pragma once
// What the shell asks of the window manager for its floating windows, by
// the EWMH conventions: whether a compositing manager runs (translucent
// windows only look right with one), and a window shown on every desktop
// and kept out of the taskbar and pager. Main thread; each call opens a
// short connection to $DISPLAY and does nothing when there is none.

#include <cstdint>

namespace vantrel {

/// Someone owns the _NET_WM_CM_Sn selection of the default screen.
bool compositingManagerRunning();

/// Sticky, skip-taskbar and skip-pager for a mapped window of ours.
void setWindowOnAllDesktopsSkippingTaskbar(uint32_t window);

} // namespace vantrel
