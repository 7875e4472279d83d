#pragma once
// Leaves our own windows out of a grabbed picture. The root image shows them
// like any other window; where they lie, the picture is painted again from
// what is beneath: the root background, then every other mapped window that
// reaches into the rectangle, bottom first, each from the pixmap the
// Composite extension keeps for it. The work is proportional to the area of
// our visible windows, and none at all while none is visible on the monitor.
//
// Our windows are followed through the structure events of the root's
// children (create, map, unmap, configure, reparent, destroy), so that
// knowing whether one is visible costs no round trip. Windows our processes
// open later (tooltips, menus, pop-ups, alerts) are recognised when they are
// created: one X-Resource question per new top-level window, asked together
// for all the windows of a frame. A window a window manager puts into its
// frame is followed through that frame. The subwindows of the root are
// redirected automatically, which the server allows beside a compositing
// manager.

#include "platform/core/PixelBuffer.h"

#include <memory>
#include <sys/types.h>
#include <utility>
#include <vector>
#include <xcb/xcb.h>

namespace vantrel {

struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool empty() const { return width <= 0 || height <= 0; }
    PixelRect intersected(const PixelRect& other) const;
};

class OwnWindowEraserComposite {
public:
    /// Null when there is nothing to leave out, or when the server lacks
    /// Composite (said once on standard error; the windows then stay in).
    /// `monitor` is the grabbed rectangle in root coordinates; `windows` the
    /// top-level windows to leave out now; `processes` those whose every
    /// window, present or future, stays out, but for the `exceptions`.
    static std::unique_ptr<OwnWindowEraserComposite> open(xcb_connection_t* connection, xcb_window_t root,
                                                          PixelRect monitor, std::vector<xcb_window_t> windows,
                                                          std::vector<pid_t> processes = {},
                                                          std::vector<xcb_window_t> exceptions = {});
    ~OwnWindowEraserComposite();

    /// Takes the structure events of the root's children; false for any other event.
    bool handleEvent(const xcb_generic_event_t* event);
    /// Asks, in one round trip, about the windows the events since the last
    /// call created or moved into a frame. Call after a batch of events.
    void settle();
    /// True while one of our windows is mapped and reaches into the monitor.
    bool anyVisible() const;
    /// Repaints, in `frame` (the monitor's picture), what our windows cover.
    void erase(CVPixelBuffer& frame);

private:
    struct Tracked {
        xcb_window_t window = 0; // a child of the root: ours, or the frame around ours
        xcb_window_t client = 0; // the window our process made
        bool mapped = false;
        PixelRect outer; // root coordinates, border included
    };
    // A window to ask about in settle(): whose it is (a new child of the
    // root), where it is (ours already), or whether the window it went
    // into is a window manager's frame (ours, reparented).
    enum class Question { owner, place, frame };
    struct Pending {
        Question question;
        xcb_window_t window; // the child of the root to follow
        xcb_window_t client; // the window our process made (the same unless framed)
    };
    struct Layer {
        xcb_window_t window;
        PixelRect outer;
        bool paintable;
    };

    OwnWindowEraserComposite(xcb_connection_t* connection, xcb_window_t root, PixelRect monitor);
    Tracked* find(xcb_window_t window);
    bool isOurs(xcb_window_t window) const;
    void handleReparent(xcb_window_t window, xcb_window_t parent);
    void forget(xcb_window_t window);
    void track(xcb_window_t window, xcb_window_t client, bool mapped, PixelRect outer);
    void paintBackground(CVPixelBuffer& frame, const PixelRect& area, xcb_pixmap_t background);
    void paintWindow(CVPixelBuffer& frame, const PixelRect& area, const Layer& layer);
    void copyImage(CVPixelBuffer& frame, const PixelRect& area, xcb_drawable_t drawable, int sourceX,
                   int sourceY);

    xcb_connection_t* connection_;
    xcb_window_t root_;
    PixelRect monitor_;
    xcb_atom_t rootPixmapAtom_ = XCB_ATOM_NONE;
    std::vector<Tracked> windows_;
    std::vector<pid_t> processes_;
    std::vector<xcb_window_t> exceptions_;
    bool canAskOwners_ = false;
    xcb_atom_t wmStateAtom_ = XCB_ATOM_NONE;
    std::vector<Pending> pending_;
    // Our windows inside a window that is not yet known to be a frame.
    std::vector<Pending> framed_;
    std::vector<Layer> layers_;      // reused from frame to frame
    std::vector<PixelRect> covered_; // reused from frame to frame
    std::vector<std::pair<xcb_get_window_attributes_cookie_t, xcb_get_geometry_cookie_t>> cookies_;
};

} // namespace vantrel
