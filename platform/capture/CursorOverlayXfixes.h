#pragma once
// The pointer drawn into a grabbed picture: the server leaves it out of
// GetImage. XFixes gives the cursor's image, hotspot and serial; the image
// is fetched again only when a cursor-notify event says the shape changed,
// and the position comes from QueryPointer each frame.

#include "platform/core/PixelBuffer.h"

#include <cstdint>
#include <vector>
#include <xcb/xcb.h>

namespace vantrel {

class CursorOverlayXfixes {
public:
    /// Null when the server has no XFixes (the picture then has no pointer).
    static std::unique_ptr<CursorOverlayXfixes> open(xcb_connection_t* connection, xcb_window_t root);

    /// Takes the events of the XFixes extension; false for any other event.
    bool handleEvent(const xcb_generic_event_t* event);
    /// Draws the pointer over `frame`, which shows the root rectangle at
    /// (originX, originY). Premultiplied over, clipped to the frame.
    void draw(CVPixelBuffer& frame, int originX, int originY);

private:
    CursorOverlayXfixes(xcb_connection_t* connection, xcb_window_t root, uint8_t firstEvent);
    bool refreshImage();

    xcb_connection_t* connection_;
    xcb_window_t root_;
    uint8_t firstEvent_;
    bool imageStale_ = true;
    uint32_t serial_ = 0;
    int width_ = 0;
    int height_ = 0;
    int hotX_ = 0;
    int hotY_ = 0;
    std::vector<uint32_t> pixels_; // premultiplied ARGB, as XFixes gives it
};

} // namespace vantrel
