#pragma once
// Leaves our own windows out of a grabbed picture. The root image shows them
// like any other window; where they lie, the picture is painted again from
// what is beneath: the root background, then every other mapped window that
// reaches into the rectangle, bottom first, each from the pixmap the
// Composite extension keeps for it. The work is proportional to the area of
// our visible windows, and none at all while none is visible on the monitor.
//
// Our windows are followed through their structure events (map, unmap,
// configure, destroy), so that knowing whether one is visible costs no round
// trip. The subwindows of the root are redirected automatically, which the
// server allows beside a compositing manager.

#include "platform/core/PixelBuffer.h"

#include <memory>
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
    /// `monitor` is the grabbed rectangle in root coordinates.
    static std::unique_ptr<OwnWindowEraserComposite> open(xcb_connection_t* connection, xcb_window_t root,
                                                          PixelRect monitor,
                                                          std::vector<xcb_window_t> windows);
    ~OwnWindowEraserComposite();

    /// Takes the structure events of our windows; false for any other event.
    bool handleEvent(const xcb_generic_event_t* event);
    /// True while one of our windows is mapped and reaches into the monitor.
    bool anyVisible() const;
    /// Repaints, in `frame` (the monitor's picture), what our windows cover.
    void erase(CVPixelBuffer& frame);

private:
    struct Tracked {
        xcb_window_t window = 0;
        bool mapped = false;
        PixelRect outer; // root coordinates, border included
    };
    struct Layer {
        xcb_window_t window;
        PixelRect outer;
        bool paintable;
    };

    OwnWindowEraserComposite(xcb_connection_t* connection, xcb_window_t root, PixelRect monitor);
    Tracked* find(xcb_window_t window);
    bool isOurs(xcb_window_t window) const;
    void paintBackground(CVPixelBuffer& frame, const PixelRect& area, xcb_pixmap_t background);
    void paintWindow(CVPixelBuffer& frame, const PixelRect& area, const Layer& layer);
    void copyImage(CVPixelBuffer& frame, const PixelRect& area, xcb_drawable_t drawable, int sourceX,
                   int sourceY);

    xcb_connection_t* connection_;
    xcb_window_t root_;
    PixelRect monitor_;
    xcb_atom_t rootPixmapAtom_ = XCB_ATOM_NONE;
    std::vector<Tracked> windows_;
    std::vector<Layer> layers_;      // reused from frame to frame
    std::vector<PixelRect> covered_; // reused from frame to frame
    std::vector<std::pair<xcb_get_window_attributes_cookie_t, xcb_get_geometry_cookie_t>> cookies_;
};

} // namespace vantrel
