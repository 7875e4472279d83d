#include "platform/capture/ScreenGrabberXcb.h"

#include "platform/capture/CursorOverlayXfixes.h"
#include "platform/capture/OwnWindowEraserComposite.h"
#include "platform/capture/ShmFrameRing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace vantrel {

namespace {

constexpr uint32_t kOpaque = 0xff000000u;

template <typename Reply> std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
    return {reply, &std::free};
}

const char* const kServerGone = "The connection to the display server was lost.";

// True when the root's depth is stored as 32-bit BGRA pixels, least significant byte first.
bool rootIsBgra(const xcb_setup_t* setup, const xcb_screen_t* screen) {
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
    if (screen->root_depth != 24 && screen->root_depth != 32) return false;
    for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem; xcb_format_next(&f))
        if (f.data->depth == screen->root_depth) return f.data->bits_per_pixel == 32;
    return false;
}

class ScreenGrabberXcb final : public ScreenFrameSource {
public:
    ScreenGrabberXcb(xcb_connection_t* connection, xcb_window_t root, PixelRect area)
        : connection_(connection), root_(root), area_(area) {}

    ~ScreenGrabberXcb() override {
        eraser_.reset();
        cursor_.reset();
        if (ring_) ring_->close();
        xcb_disconnect(connection_);
    }

    bool open(const SCContentFilter& filter, const SCStreamConfiguration& configuration, NSError& error) {
        const xcb_query_extension_reply_t* shm = xcb_get_extension_data(connection_, &xcb_shm_id);
        const int count = std::max(1, configuration.queueDepth) + 1;
        ring_ = ShmFrameRing::create(connection_, count, frameBytes(), shm && shm->present);
        if (!ring_) {
            error.localizedDescription = "There is not enough memory to capture the display.";
            return false;
        }
        if (configuration.showsCursor) cursor_ = CursorOverlayXfixes::open(connection_, root_);

        // The excluded applications' windows of now, and the ones they open later.
        std::vector<xcb_window_t> ours, excepted;
        std::vector<pid_t> processes;
        for (const auto& window : filter.exceptedWindows())
            excepted.push_back(window.windowID);
        for (const auto& application : filter.excludedApplications()) {
            processes.push_back(application.processID);
            for (const auto& window : application.windows)
                if (std::find(excepted.begin(), excepted.end(), window.windowID) == excepted.end())
                    ours.push_back(window.windowID);
        }
        eraser_ = OwnWindowEraserComposite::open(connection_, root_, area_, std::move(ours), std::move(processes),
                                                 std::move(excepted));
        xcb_flush(connection_);
        if (xcb_connection_has_error(connection_)) {
            error.localizedDescription = kServerGone;
            return false;
        }
        return true;
    }

    CVPixelBufferRef grabFrame(bool& lost, NSError& error) override {
        lost = false;
        if (xcb_connection_has_error(connection_)) return serverGone(lost, error);
        const int index = ring_->take();
        if (index < 0) return nullptr;
        if (!grabInto(index)) {
            ring_->give(index);
            if (xcb_connection_has_error(connection_)) return serverGone(lost, error);
            return nullptr;
        }
        // Events read while waiting for the picture tell where our windows
        // and the cursor were when it was taken.
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
            if (!(cursor_ && cursor_->handleEvent(event)) && eraser_) eraser_->handleEvent(event);
            std::free(event);
        }
        if (eraser_) eraser_->settle();
        CVPixelBufferRef frame = ring_->wrap(index, area_.width, area_.height, rowBytes());
        if (!frame) {
            ring_->give(index);
            return nullptr;
        }
        if (eraser_ && eraser_->anyVisible()) eraser_->erase(*frame);
        makeOpaque(*frame);
        if (cursor_) cursor_->draw(*frame, area_.x, area_.y);
        if (xcb_connection_has_error(connection_)) return serverGone(lost, error);
        return frame;
    }

private:
    size_t rowBytes() const { return static_cast<size_t>(area_.width) * 4; }
    size_t frameBytes() const { return rowBytes() * area_.height; }

    bool grabInto(int index) {
        if (ring_->shared()) {
            auto reply = own(xcb_shm_get_image_reply(
                connection_,
                xcb_shm_get_image(connection_, root_, area_.x, area_.y, area_.width, area_.height, ~0u,
                                  XCB_IMAGE_FORMAT_Z_PIXMAP, ring_->segment(index), 0),
                nullptr));
            return reply != nullptr;
        }
        auto reply = own(xcb_get_image_reply(connection_,
                                             xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_,
                                                           area_.x, area_.y, area_.width, area_.height, ~0u),
                                             nullptr));
        if (!reply || static_cast<size_t>(xcb_get_image_data_length(reply.get())) < frameBytes())
            return false;
        std::memcpy(ring_->memory(index), xcb_get_image_data(reply.get()), frameBytes());
        return true;
    }

    // The server leaves the fourth byte of a depth-24 pixel at 0.
    static void makeOpaque(CVPixelBuffer& frame) {
        // Four pixels a step: -O2 leaves the plain loop scalar, at three
        // times the cost.
        using Pixels4 = uint32_t __attribute__((vector_size(16)));
        const Pixels4 opaque = {kOpaque, kOpaque, kOpaque, kOpaque};
        const int width = frame.width(), height = frame.height();
        for (int y = 0; y < height; ++y) {
            uint8_t* row = frame.row(y);
            int x = 0;
            for (; x + 4 <= width; x += 4) {
                Pixels4 p;
                std::memcpy(&p, row + x * 4, sizeof p);
                p |= opaque;
                std::memcpy(row + x * 4, &p, sizeof p);
            }
            for (; x < width; ++x)
                row[x * 4 + 3] = 0xff;
        }
    }

    CVPixelBufferRef serverGone(bool& lost, NSError& error) {
        lost = true;
        error.localizedDescription = kServerGone;
        return nullptr;
    }

    xcb_connection_t* connection_;
    xcb_window_t root_;
    PixelRect area_;
    ShmFrameRing* ring_ = nullptr;
    std::unique_ptr<CursorOverlayXfixes> cursor_;
    std::unique_ptr<OwnWindowEraserComposite> eraser_;
};

} // namespace

std::unique_ptr<ScreenFrameSource> openScreenGrabberXcb(const SCContentFilter& filter,
                                                        const SCStreamConfiguration& configuration,
                                                        NSError& error) {
    if (configuration.pixelFormat != kCVPixelFormatType_32BGRA) {
        error.localizedDescription = "The display can only be captured as 32-bit BGRA.";
        return nullptr;
    }
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        error.localizedDescription = "The display server cannot be reached.";
        return nullptr;
    }
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    if (!screen || !rootIsBgra(setup, screen)) {
        xcb_disconnect(connection);
        error.localizedDescription =
            "The display's pixel format cannot be captured (32-bit true colour is needed).";
        return nullptr;
    }
    const CGRect& frame = filter.display().frame;
    const PixelRect wanted{
        static_cast<int>(std::lround(frame.origin.x)), static_cast<int>(std::lround(frame.origin.y)),
        static_cast<int>(std::lround(frame.size.width)), static_cast<int>(std::lround(frame.size.height))};
    const PixelRect area = wanted.intersected({0, 0, screen->width_in_pixels, screen->height_in_pixels});
    if (area.empty() || area.width != wanted.width || area.height != wanted.height) {
        xcb_disconnect(connection);
        error.localizedDescription = "The display is not on the screen any more.";
        return nullptr;
    }
    auto grabber = std::make_unique<ScreenGrabberXcb>(connection, screen->root, area);
    if (!grabber->open(filter, configuration, error)) return nullptr;
    return grabber;
}

} // namespace vantrel
