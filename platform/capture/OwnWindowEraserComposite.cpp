#include "platform/capture/OwnWindowEraserComposite.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <xcb/composite.h>

namespace vantrel {

namespace {

template <typename Reply> std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
    return {reply, &std::free};
}

constexpr uint32_t kBytesPerPixel = 4;

PixelRect outerRect(int x, int y, int width, int height, int border) {
    return {x, y, width + 2 * border, height + 2 * border};
}

} // namespace

PixelRect PixelRect::intersected(const PixelRect& other) const {
    const int left = std::max(x, other.x), top = std::max(y, other.y);
    const int right = std::min(x + width, other.x + other.width);
    const int bottom = std::min(y + height, other.y + other.height);
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
}

std::unique_ptr<OwnWindowEraserComposite> OwnWindowEraserComposite::open(xcb_connection_t* c,
                                                                         xcb_window_t root, PixelRect monitor,
                                                                         std::vector<xcb_window_t> windows) {
    if (windows.empty()) return nullptr;
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_composite_id);
    // NameWindowPixmap came with Composite 0.2.
    auto version =
        extension && extension->present
            ? own(xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr))
            : own<xcb_composite_query_version_reply_t>(nullptr);
    if (!version || (version->major_version == 0 && version->minor_version < 2)) {
        static bool said = false;
        if (!said)
            std::fprintf(stderr,
                         "The X server has no Composite extension: our own windows stay in the recording.\n");
        said = true;
        return nullptr;
    }

    std::unique_ptr<OwnWindowEraserComposite> eraser(new OwnWindowEraserComposite(c, root, monitor));
    xcb_composite_redirect_subwindows(c, root, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    const char rootPixmapName[] = "_XROOTPMAP_ID";
    auto atom = own(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, sizeof rootPixmapName - 1, rootPixmapName), nullptr));
    if (atom) eraser->rootPixmapAtom_ = atom->atom;

    // Events first, then the state: a change between the two arrives as an event.
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    for (xcb_window_t window : windows)
        xcb_change_window_attributes(c, window, XCB_CW_EVENT_MASK, &mask);
    std::vector<xcb_get_window_attributes_cookie_t> attributes;
    std::vector<xcb_get_geometry_cookie_t> geometries;
    for (xcb_window_t window : windows) {
        attributes.push_back(xcb_get_window_attributes(c, window));
        geometries.push_back(xcb_get_geometry(c, window));
    }
    for (size_t i = 0; i < windows.size(); ++i) {
        auto attr = own(xcb_get_window_attributes_reply(c, attributes[i], nullptr));
        auto geometry = own(xcb_get_geometry_reply(c, geometries[i], nullptr));
        if (!attr || !geometry) continue; // gone already
        eraser->windows_.push_back(
            {windows[i], attr->map_state != XCB_MAP_STATE_UNMAPPED,
             outerRect(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width)});
    }
    return eraser;
}

OwnWindowEraserComposite::OwnWindowEraserComposite(xcb_connection_t* connection, xcb_window_t root,
                                                   PixelRect monitor)
    : connection_(connection), root_(root), monitor_(monitor) {}

OwnWindowEraserComposite::~OwnWindowEraserComposite() {
    if (xcb_connection_has_error(connection_)) return;
    xcb_composite_unredirect_subwindows(connection_, root_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_flush(connection_);
}

OwnWindowEraserComposite::Tracked* OwnWindowEraserComposite::find(xcb_window_t window) {
    for (auto& tracked : windows_)
        if (tracked.window == window) return &tracked;
    return nullptr;
}

bool OwnWindowEraserComposite::isOurs(xcb_window_t window) const {
    return std::any_of(windows_.begin(), windows_.end(),
                       [window](const Tracked& t) { return t.window == window; });
}

bool OwnWindowEraserComposite::handleEvent(const xcb_generic_event_t* event) {
    switch (event->response_type & 0x7f) {
    case XCB_MAP_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_map_notify_event_t*>(event);
        if (Tracked* t = find(e->window)) t->mapped = true;
        return true;
    }
    case XCB_UNMAP_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_unmap_notify_event_t*>(event);
        if (Tracked* t = find(e->window)) t->mapped = false;
        return true;
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
        if (Tracked* t = find(e->window))
            t->outer = outerRect(e->x, e->y, e->width, e->height, e->border_width);
        return true;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        std::erase_if(windows_, [w = e->window](const Tracked& t) { return t.window == w; });
        return true;
    }
    case XCB_GRAVITY_NOTIFY:
    case XCB_REPARENT_NOTIFY:
    case XCB_CIRCULATE_NOTIFY:
        return true;
    default:
        return false;
    }
}

bool OwnWindowEraserComposite::anyVisible() const {
    return std::any_of(windows_.begin(), windows_.end(), [this](const Tracked& t) {
        return t.mapped && !t.outer.intersected(monitor_).empty();
    });
}

void OwnWindowEraserComposite::erase(CVPixelBuffer& frame) {
    covered_.clear();
    for (const auto& t : windows_)
        if (t.mapped)
            if (PixelRect area = t.outer.intersected(monitor_); !area.empty()) covered_.push_back(area);
    if (covered_.empty()) return;

    xcb_connection_t* c = connection_;
    auto treeCookie = xcb_query_tree(c, root_);
    auto backgroundCookie = xcb_get_property(c, 0, root_, rootPixmapAtom_, XCB_ATOM_PIXMAP, 0, 1);
    auto tree = own(xcb_query_tree_reply(c, treeCookie, nullptr));
    auto backgroundProperty = own(xcb_get_property_reply(c, backgroundCookie, nullptr));
    if (!tree) return;
    xcb_pixmap_t background = XCB_NONE;
    if (backgroundProperty && backgroundProperty->format == 32 &&
        xcb_get_property_value_length(backgroundProperty.get()) >= 4)
        background = *static_cast<const uint32_t*>(xcb_get_property_value(backgroundProperty.get()));

    // The stack comes bottom to top; ask about every other window at once.
    const xcb_window_t* stack = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    layers_.clear();
    cookies_.clear();
    for (int i = 0; i < count; ++i) {
        if (isOurs(stack[i])) continue;
        cookies_.emplace_back(xcb_get_window_attributes(c, stack[i]), xcb_get_geometry(c, stack[i]));
        layers_.push_back({stack[i], {}, false});
    }
    for (size_t i = 0; i < layers_.size(); ++i) {
        auto attr = own(xcb_get_window_attributes_reply(c, cookies_[i].first, nullptr));
        auto geometry = own(xcb_get_geometry_reply(c, cookies_[i].second, nullptr));
        if (!attr || !geometry) continue;
        layers_[i].outer =
            outerRect(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width);
        layers_[i].paintable = attr->map_state == XCB_MAP_STATE_VIEWABLE &&
                               attr->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                               (geometry->depth == 24 || geometry->depth == 32);
    }

    for (const PixelRect& area : covered_) {
        paintBackground(frame, area, background);
        for (const Layer& layer : layers_)
            if (layer.paintable) paintWindow(frame, area, layer);
    }
}

void OwnWindowEraserComposite::paintBackground(CVPixelBuffer& frame, const PixelRect& area,
                                               xcb_pixmap_t background) {
    for (int y = 0; y < area.height; ++y)
        std::memset(frame.row(area.y - monitor_.y + y) +
                        static_cast<size_t>(area.x - monitor_.x) * kBytesPerPixel,
                    0, static_cast<size_t>(area.width) * kBytesPerPixel);
    if (background == XCB_NONE) return;
    auto geometry =
        own(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, background), nullptr));
    if (!geometry || (geometry->depth != 24 && geometry->depth != 32)) return;
    const PixelRect part = area.intersected({0, 0, geometry->width, geometry->height});
    if (!part.empty()) copyImage(frame, part, background, part.x, part.y);
}

void OwnWindowEraserComposite::paintWindow(CVPixelBuffer& frame, const PixelRect& area, const Layer& layer) {
    const PixelRect part = area.intersected(layer.outer);
    if (part.empty()) return;
    const xcb_pixmap_t pixmap = xcb_generate_id(connection_);
    xcb_composite_name_window_pixmap(connection_, layer.window, pixmap);
    copyImage(frame, part, pixmap, part.x - layer.outer.x, part.y - layer.outer.y);
    xcb_free_pixmap(connection_, pixmap);
}

void OwnWindowEraserComposite::copyImage(CVPixelBuffer& frame, const PixelRect& area, xcb_drawable_t drawable,
                                         int sourceX, int sourceY) {
    auto image = own(xcb_get_image_reply(connection_,
                                         xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                                                       sourceX, sourceY, area.width, area.height, ~0u),
                                         nullptr));
    // A window that went away in between leaves what was painted below it.
    if (!image) return;
    const size_t rowBytes = static_cast<size_t>(area.width) * kBytesPerPixel;
    if (static_cast<size_t>(xcb_get_image_data_length(image.get())) < rowBytes * area.height) return;
    const uint8_t* source = xcb_get_image_data(image.get());
    for (int y = 0; y < area.height; ++y)
        std::memcpy(frame.row(area.y - monitor_.y + y) +
                        static_cast<size_t>(area.x - monitor_.x) * kBytesPerPixel,
                    source + y * rowBytes, rowBytes);
}

} // namespace vantrel
