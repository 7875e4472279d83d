#include "platform/capture/OwnWindowEraserComposite.h"
#include "platform/capture/WindowOwnerXcb.h"

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
                                                                         std::vector<xcb_window_t> windows,
                                                                         std::vector<pid_t> processes,
                                                                         std::vector<xcb_window_t> exceptions) {
    if (windows.empty() && processes.empty()) return nullptr;
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
    eraser->processes_ = std::move(processes);
    eraser->exceptions_ = std::move(exceptions);
    eraser->canAskOwners_ = !eraser->processes_.empty() && canAskWindowOwners(c);
    xcb_composite_redirect_subwindows(c, root, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    const char rootPixmapName[] = "_XROOTPMAP_ID", wmStateName[] = "WM_STATE";
    auto rootPixmapCookie = xcb_intern_atom(c, 1, sizeof rootPixmapName - 1, rootPixmapName);
    auto wmStateCookie = xcb_intern_atom(c, 0, sizeof wmStateName - 1, wmStateName);
    if (auto atom = own(xcb_intern_atom_reply(c, rootPixmapCookie, nullptr))) eraser->rootPixmapAtom_ = atom->atom;
    if (auto atom = own(xcb_intern_atom_reply(c, wmStateCookie, nullptr))) eraser->wmStateAtom_ = atom->atom;

    // Events first, then the state: a change between the two arrives as an event.
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &mask);
    for (xcb_window_t window : windows)
        eraser->pending_.push_back({Question::place, window, window});
    // A window of ours made since the caller's list was taken is found the
    // way a new one is: by asking who made each child of the root.
    if (eraser->canAskOwners_)
        if (auto tree = own(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr))) {
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
                if (std::find(windows.begin(), windows.end(), children[i]) == windows.end())
                    eraser->pending_.push_back({Question::owner, children[i], children[i]});
        }
    eraser->settle();
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

void OwnWindowEraserComposite::track(xcb_window_t window, xcb_window_t client, bool mapped, PixelRect outer) {
    if (Tracked* t = find(window)) {
        *t = {window, client, mapped, outer};
        return;
    }
    windows_.push_back({window, client, mapped, outer});
}

void OwnWindowEraserComposite::forget(xcb_window_t window) {
    std::erase_if(windows_, [window](const Tracked& t) { return t.window == window; });
    std::erase_if(pending_, [window](const Pending& p) { return p.window == window; });
    std::erase_if(framed_, [window](const Pending& p) { return p.window == window; });
}

void OwnWindowEraserComposite::handleReparent(xcb_window_t window, xcb_window_t parent) {
    if (parent == root_) {
        // Back on the root, as when a window manager quits: the window is its own top level again.
        for (Tracked& t : windows_)
            if (t.client == window) t.window = window;
        std::erase_if(framed_, [window](const Pending& p) { return p.client == window; });
        if (canAskOwners_) pending_.push_back({Question::owner, window, window});
        return;
    }
    // Off the root: into a window manager's frame, or embedded in another
    // application's window (a tray icon), which is theirs to show. Which of
    // the two is known once that window is mapped.
    const bool ours = find(window) != nullptr;
    std::erase_if(windows_, [window](const Tracked& t) { return t.window == window; });
    for (Pending& p : pending_)
        if (p.window == window && p.question == Question::owner) p.window = parent;
    if (ours) framed_.push_back({Question::frame, parent, window});
}

bool OwnWindowEraserComposite::handleEvent(const xcb_generic_event_t* event) {
    switch (event->response_type & 0x7f) {
    case XCB_CREATE_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_create_notify_event_t*>(event);
        if (canAskOwners_ && e->parent == root_) pending_.push_back({Question::owner, e->window, e->window});
        return true;
    }
    case XCB_MAP_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_map_notify_event_t*>(event);
        if (Tracked* t = find(e->window)) t->mapped = true;
        for (const Pending& p : framed_)
            if (p.window == e->window) pending_.push_back(p);
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
        forget(reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window);
        return true;
    }
    case XCB_REPARENT_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_reparent_notify_event_t*>(event);
        handleReparent(e->window, e->parent);
        return true;
    }
    case XCB_GRAVITY_NOTIFY:
    case XCB_CIRCULATE_NOTIFY:
        return true;
    default:
        return false;
    }
}

void OwnWindowEraserComposite::settle() {
    // A window of ours found inside another one is asked about in a second round.
    for (int round = 0; round < 2 && !pending_.empty(); ++round) {
        struct Asked {
            Pending pending;
            xcb_get_window_attributes_cookie_t attributes;
            xcb_get_geometry_cookie_t geometry;
            xcb_res_query_client_ids_cookie_t owner;
            xcb_get_property_cookie_t wmState;
        };
        std::vector<Asked> asked;
        asked.reserve(pending_.size());
        xcb_connection_t* c = connection_;
        for (const Pending& p : pending_) {
            Asked a{p, xcb_get_window_attributes(c, p.window), xcb_get_geometry(c, p.window), {}, {}};
            if (p.question == Question::owner) a.owner = askWindowOwner(c, p.client);
            if (p.question == Question::frame)
                a.wmState = xcb_get_property(c, 0, p.client, wmStateAtom_, XCB_GET_PROPERTY_TYPE_ANY, 0, 0);
            asked.push_back(a);
        }
        pending_.clear();
        for (const Asked& a : asked) {
            auto attr = own(xcb_get_window_attributes_reply(c, a.attributes, nullptr));
            auto geometry = own(xcb_get_geometry_reply(c, a.geometry, nullptr));
            bool ours = a.pending.question == Question::place;
            if (a.pending.question == Question::owner) {
                const pid_t owner = windowOwner(c, a.owner);
                ours = std::find(processes_.begin(), processes_.end(), owner) != processes_.end() &&
                       std::find(exceptions_.begin(), exceptions_.end(), a.pending.client) == exceptions_.end();
                // Ours, but already inside another window: that one is asked about next.
                if (ours && a.pending.window != a.pending.client) {
                    framed_.push_back({Question::frame, a.pending.window, a.pending.client});
                    pending_.push_back(framed_.back());
                    continue;
                }
            }
            if (a.pending.question == Question::frame) {
                // Window managers mark the windows they manage with WM_STATE; an embedder does not.
                auto state = own(xcb_get_property_reply(c, a.wmState, nullptr));
                ours = state && state->type != XCB_ATOM_NONE;
                if (ours)
                    std::erase_if(framed_, [&](const Pending& p) { return p.window == a.pending.window; });
            }
            if (!ours || !attr || !geometry) continue; // not ours, or gone already
            track(a.pending.window, a.pending.client, attr->map_state != XCB_MAP_STATE_UNMAPPED,
                  outerRect(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width));
        }
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
