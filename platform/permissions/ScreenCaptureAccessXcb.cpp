#include "platform/permissions/PrivacyAccess.h"

#include <cstdlib>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace vantrel {

namespace {
// One pixel of 32 bits per pixel is enough to prove that the grab works.
constexpr size_t kProbeBytes = 4;
} // namespace

bool ScreenCaptureAccessXcb::canCapture() {
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    bool granted = false;
    if (!xcb_connection_has_error(c)) {
        auto roots = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber && roots.rem; ++i)
            xcb_screen_next(&roots);
        const xcb_query_extension_reply_t* shm = xcb_get_extension_data(c, &xcb_shm_id);
        const int segmentId = shm && shm->present ? shmget(IPC_PRIVATE, kProbeBytes, IPC_CREAT | 0600) : -1;
        if (segmentId >= 0) {
            void* memory = shmat(segmentId, nullptr, 0);
            if (memory != reinterpret_cast<void*>(-1)) {
                const xcb_shm_seg_t segment = xcb_generate_id(c);
                xcb_generic_error_t* error = xcb_request_check(
                    c, xcb_shm_attach_checked(c, segment, static_cast<uint32_t>(segmentId), 0));
                if (!error) {
                    xcb_shm_get_image_reply_t* image =
                        xcb_shm_get_image_reply(c,
                                                xcb_shm_get_image(c, roots.data->root, 0, 0, 1, 1, ~0u,
                                                                  XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
                                                &error);
                    granted = image != nullptr;
                    std::free(image);
                    xcb_shm_detach(c, segment);
                    xcb_flush(c);
                }
                std::free(error);
                shmdt(memory);
            }
            shmctl(segmentId, IPC_RMID, nullptr);
        }
    }
    xcb_disconnect(c);
    return granted;
}

} // namespace vantrel
