#include "platform/displays/DisplayListXcb.h"

#include "platform/displays/Edid.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <cstdlib>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace vantrel {

namespace {

constexpr uint32_t kRandrMajor = 1;
constexpr uint32_t kRandrMinor = 5;
// 128 longs: the base EDID block and its first extension.
constexpr uint32_t kEdidLongs = 128;

template <typename T> struct Reply {
    T* value = nullptr;
    ~Reply() { std::free(value); }
    T* operator->() const { return value; }
    explicit operator bool() const { return value != nullptr; }
};

std::string displayName() {
    const char* name = std::getenv("DISPLAY");
    return name && *name ? name : "(DISPLAY is not set)";
}

std::string atomName(xcb_connection_t* c, xcb_atom_t atom) {
    Reply<xcb_get_atom_name_reply_t> reply{xcb_get_atom_name_reply(c, xcb_get_atom_name(c, atom), nullptr)};
    if (!reply) return {};
    return std::string(xcb_get_atom_name_name(reply.value),
                       static_cast<size_t>(xcb_get_atom_name_name_length(reply.value)));
}

std::string productName(xcb_connection_t* c, const xcb_randr_output_t* outputs, int count) {
    Reply<xcb_intern_atom_reply_t> edidAtom{
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, 4, "EDID"), nullptr)};
    if (!edidAtom || edidAtom->atom == XCB_ATOM_NONE) return {};
    for (int i = 0; i < count; ++i) {
        Reply<xcb_randr_get_output_property_reply_t> property{xcb_randr_get_output_property_reply(
            c,
            xcb_randr_get_output_property(c, outputs[i], edidAtom->atom, XCB_ATOM_ANY, 0, kEdidLongs, 0, 0),
            nullptr)};
        if (!property || property->format != 8) continue;
        const auto* data = xcb_randr_get_output_property_data(property.value);
        const auto length = static_cast<size_t>(xcb_randr_get_output_property_data_length(property.value));
        if (auto name = edidProductName({data, length})) return *name;
    }
    return {};
}

} // namespace

DisplayListXcb::DisplayListXcb() = default;

DisplayListXcb::~DisplayListXcb() {
    notifier_.reset();
    pollTimer_.reset();
    std::lock_guard guard(mutex_);
    disconnect();
}

xcb_connection_t* DisplayListXcb::connection() {
    if (connection_ && !xcb_connection_has_error(connection_)) return connection_;
    disconnect();
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        throw DisplayServiceError("Cannot connect to the X display " + displayName() + ".");
    }
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && roots.rem; ++i)
        xcb_screen_next(&roots);
    const xcb_query_extension_reply_t* randr = xcb_get_extension_data(c, &xcb_randr_id);
    // A client must announce the RandR version it speaks before the server
    // answers 1.5 requests.
    Reply<xcb_randr_query_version_reply_t> version{
        randr && randr->present
            ? xcb_randr_query_version_reply(c, xcb_randr_query_version(c, kRandrMajor, kRandrMinor), nullptr)
            : nullptr};
    if (!version || version->major_version < kRandrMajor ||
        (version->major_version == kRandrMajor && version->minor_version < kRandrMinor)) {
        xcb_disconnect(c);
        throw DisplayServiceError("The X display " + displayName() + " does not offer RandR 1.5 monitors.");
    }
    connection_ = c;
    root_ = roots.data->root;
    xcb_randr_select_input(c, root_,
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_PROPERTY);
    xcb_flush(c);
    return connection_;
}

void DisplayListXcb::dropNotifier() {
    if (!notifier_) return;
    // This may run inside the notifier's own signal: let Qt delete it later.
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater();
}

void DisplayListXcb::disconnect() {
    if (!connection_) return;
    dropNotifier();
    xcb_disconnect(connection_);
    connection_ = nullptr;
}

std::vector<Monitor> DisplayListXcb::readMonitors() {
    std::vector<Monitor> result;
    bool reconnected = false;
    {
        std::lock_guard guard(mutex_);
        const bool hadConnection = connection_ != nullptr;
        xcb_connection_t* c = connection();
        reconnected = !hadConnection;
        Reply<xcb_randr_get_monitors_reply_t> reply{
            xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, root_, 1), nullptr)};
        if (!reply) {
            disconnect();
            throw DisplayServiceError("The X display " + displayName() +
                                      " did not answer the monitor request.");
        }
        for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.value); it.rem;
             xcb_randr_monitor_info_next(&it)) {
            const xcb_randr_monitor_info_t* info = it.data;
            Monitor monitor;
            monitor.name = atomName(c, info->name);
            monitor.productName = productName(c, xcb_randr_monitor_info_outputs(info),
                                              xcb_randr_monitor_info_outputs_length(info));
            monitor.rootFrame = CGRect(info->x, info->y, info->width, info->height);
            monitor.primary = info->primary != 0;
            result.push_back(std::move(monitor));
        }
    }
    // A new connection needs its own socket watch; events read while waiting
    // for replies sit in xcb's queue where the socket watch cannot see them.
    if (reconnected && handler_ && pollTimer_)
        // The timer is the context: the call is dropped if this object is gone by then.
        QMetaObject::invokeMethod(
            pollTimer_.get(), [this] { watchEvents(); }, Qt::QueuedConnection);
    return result;
}

bool DisplayListXcb::takeChangeReport() {
    std::lock_guard guard(mutex_);
    if (!connection_ || !drainEvents()) return false;
    // The main thread's socket watch may now find nothing left to read: the
    // reconfiguration listeners hear of the change through a call of their own.
    if (handler_ && pollTimer_)
        QMetaObject::invokeMethod(
            pollTimer_.get(),
            [this] {
                if (handler_) handler_();
            },
            Qt::QueuedConnection);
    return true;
}

void DisplayListXcb::setChangeHandler(std::function<void()> handler) {
    handler_ = std::move(handler);
    if (!handler_) {
        std::lock_guard guard(mutex_);
        dropNotifier();
        pollTimer_.reset();
        return;
    }
    if (!pollTimer_) {
        auto timer = std::make_unique<QTimer>();
        timer->setInterval(kPollIntervalMs);
        QObject::connect(timer.get(), &QTimer::timeout, [this] { onEvents(); });
        timer->start();
        std::lock_guard guard(mutex_);
        pollTimer_ = std::move(timer);
    }
    watchEvents();
}

void DisplayListXcb::watchEvents() {
    std::lock_guard guard(mutex_);
    if (!handler_) return;
    try {
        connection();
    } catch (const DisplayServiceError&) {
        return; // the poll keeps trying
    }
    dropNotifier();
    notifier_ =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { onEvents(); });
}

void DisplayListXcb::onEvents() {
    bool reported = false;
    {
        std::lock_guard guard(mutex_);
        reported = connection_ && drainEvents();
    }
    if (reported) invalidateSnapshot();
    if (handler_) handler_();
}

bool DisplayListXcb::drainEvents() {
    // Only RandR's notifications are selected on this connection.
    bool any = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        std::free(event);
        any = true;
    }
    if (xcb_connection_has_error(connection_)) {
        // The server is gone. Stop watching its socket; the poll reconnects.
        disconnect();
        return true;
    }
    return any;
}

} // namespace vantrel
