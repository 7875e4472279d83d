#include "platform/capture/CursorOverlayXfixes.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <xcb/xfixes.h>

namespace vantrel {

namespace {

template <typename Reply> std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
    return {reply, &std::free};
}

inline uint8_t over(uint32_t source, uint32_t destination, uint32_t inverseAlpha) {
    // Premultiplied over; +127 rounds the division by 255.
    return static_cast<uint8_t>(std::min<uint32_t>(255, source + (destination * inverseAlpha + 127) / 255));
}

} // namespace

std::unique_ptr<CursorOverlayXfixes> CursorOverlayXfixes::open(xcb_connection_t* connection,
                                                               xcb_window_t root) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (!extension || !extension->present) return nullptr;
    // Cursor notifications need XFixes 2; the version must be asked before any request.
    auto version =
        own(xcb_xfixes_query_version_reply(connection, xcb_xfixes_query_version(connection, 4, 0), nullptr));
    if (!version || version->major_version < 2) return nullptr;
    xcb_xfixes_select_cursor_input(connection, root, XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    return std::unique_ptr<CursorOverlayXfixes>(
        new CursorOverlayXfixes(connection, root, extension->first_event));
}

CursorOverlayXfixes::CursorOverlayXfixes(xcb_connection_t* connection, xcb_window_t root, uint8_t firstEvent)
    : connection_(connection), root_(root), firstEvent_(firstEvent) {}

bool CursorOverlayXfixes::handleEvent(const xcb_generic_event_t* event) {
    if ((event->response_type & 0x7f) != firstEvent_ + XCB_XFIXES_CURSOR_NOTIFY) return false;
    const auto* notify = reinterpret_cast<const xcb_xfixes_cursor_notify_event_t*>(event);
    if (notify->cursor_serial != serial_) imageStale_ = true;
    return true;
}

bool CursorOverlayXfixes::refreshImage() {
    auto image = own(
        xcb_xfixes_get_cursor_image_reply(connection_, xcb_xfixes_get_cursor_image(connection_), nullptr));
    if (!image) return false;
    width_ = image->width;
    height_ = image->height;
    hotX_ = image->xhot;
    hotY_ = image->yhot;
    serial_ = image->cursor_serial;
    const uint32_t* data = xcb_xfixes_get_cursor_image_cursor_image(image.get());
    // Reuses its memory unless the cursor grew: shape changes are rare.
    pixels_.assign(data, data + static_cast<size_t>(width_) * height_);
    imageStale_ = false;
    return true;
}

void CursorOverlayXfixes::draw(CVPixelBuffer& frame, int originX, int originY) {
    if (imageStale_ && !refreshImage()) return;
    auto pointer = own(xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root_), nullptr));
    if (!pointer || !pointer->same_screen || width_ <= 0 || height_ <= 0) return;

    const int left = pointer->root_x - hotX_ - originX;
    const int top = pointer->root_y - hotY_ - originY;
    const int x0 = std::max(0, left), x1 = std::min(frame.width(), left + width_);
    const int y0 = std::max(0, top), y1 = std::min(frame.height(), top + height_);
    for (int y = y0; y < y1; ++y) {
        uint8_t* out = frame.row(y) + static_cast<size_t>(x0) * 4;
        const uint32_t* in = pixels_.data() + static_cast<size_t>(y - top) * width_ + (x0 - left);
        for (int x = x0; x < x1; ++x, out += 4, ++in) {
            const uint32_t argb = *in;
            const uint32_t alpha = argb >> 24;
            if (alpha == 0) continue;
            const uint32_t inverse = 255 - alpha;
            out[0] = over(argb & 0xff, out[0], inverse);
            out[1] = over((argb >> 8) & 0xff, out[1], inverse);
            out[2] = over((argb >> 16) & 0xff, out[2], inverse);
            out[3] = 255;
        }
    }
}

} // namespace vantrel
