#include "platform/permissions/PrivacyAccess.h"

#include <cstdlib>
#include <xcb/xcb.h>

namespace vantrel {

// The question is whether capture would work, so it asks what capture needs
// at the least: a plain GetImage of one pixel of the root window. Shared
// memory is only the grabber's faster way; an X server without MIT-SHM
// (forwarded or remote X, VNC and XRDP servers, containers) still records,
// through plain GetImage, so it must not be refused here.
bool ScreenCaptureAccessXcb::canCapture() {
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    bool granted = false;
    if (!xcb_connection_has_error(c)) {
        auto roots = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber && roots.rem; ++i)
            xcb_screen_next(&roots);
        if (roots.rem) {
            xcb_generic_error_t* error = nullptr;
            xcb_get_image_reply_t* image = xcb_get_image_reply(
                c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, roots.data->root, 0, 0, 1, 1, ~0u), &error);
            granted = image != nullptr && error == nullptr;
            std::free(image);
            std::free(error);
        }
    }
    xcb_disconnect(c);
    return granted;
}

} // namespace vantrel
