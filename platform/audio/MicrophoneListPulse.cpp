#include "platform/audio/MicrophoneListPulse.h"

#include "platform/runtime/DispatchQueue.h"

#include <condition_variable>
#include <pulse/pulseaudio.h>

namespace vantrel {

// Everything here runs on the pulse thread, except construction and
// destruction, which lock the threaded main loop.
struct MicrophoneListPulse::Connection {
    MicrophoneListPulse* owner = nullptr;
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_time_event* retry = nullptr;

    // The list being read; published at the end of the source list.
    std::vector<AVCaptureDevice> pending;
    std::string pendingDefault;

    std::mutex firstListMutex;
    std::condition_variable firstListArrived;
    bool hasFirstList = false;

    void connect() {
        context = pa_context_new(pa_threaded_mainloop_get_api(loop), "Vantrel");
        pa_context_set_state_callback(context, &Connection::onState, this);
        pa_context_set_subscribe_callback(context, &Connection::onEvent, this);
        // NOFAIL: a server that is not there yet is waited for, not an error.
        if (pa_context_connect(context, nullptr, PA_CONTEXT_NOFAIL, nullptr) < 0) onLost();
    }

    void disconnect() {
        if (!context) return;
        pa_context_set_state_callback(context, nullptr, nullptr);
        pa_context_set_subscribe_callback(context, nullptr, nullptr);
        pa_context_disconnect(context);
        pa_context_unref(context);
        context = nullptr;
    }

    void onLost() {
        disconnect();
        owner->publish({}, {});
        markFirstList();
        auto* api = pa_threaded_mainloop_get_api(loop);
        timeval when{};
        pa_timeval_add(pa_gettimeofday(&when), pa_usec_t(kReconnectInterval.count()) * PA_USEC_PER_SEC);
        retry = api->time_new(api, &when, &Connection::onRetry, this);
    }

    void readAll() {
        pa_operation_unref(pa_context_get_server_info(context, &Connection::onServerInfo, this));
        pa_operation_unref(pa_context_get_source_info_list(context, &Connection::onSource, this));
    }

    void markFirstList() {
        std::lock_guard guard(firstListMutex);
        hasFirstList = true;
        firstListArrived.notify_all();
    }

    static void onState(pa_context* context, void* userdata) {
        auto* self = static_cast<Connection*>(userdata);
        switch (pa_context_get_state(context)) {
        case PA_CONTEXT_READY: {
            const auto mask =
                pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER);
            pa_operation_unref(pa_context_subscribe(context, mask, nullptr, nullptr));
            self->readAll();
            break;
        }
        case PA_CONTEXT_FAILED:
        case PA_CONTEXT_TERMINATED:
            self->onLost();
            break;
        default:
            break;
        }
    }

    static void onEvent(pa_context*, pa_subscription_event_type_t, uint32_t, void* userdata) {
        // New, removed or changed source, or a new default: read everything
        // again; the lists are a handful of entries.
        static_cast<Connection*>(userdata)->readAll();
    }

    static void onServerInfo(pa_context*, const pa_server_info* info, void* userdata) {
        auto* self = static_cast<Connection*>(userdata);
        self->pendingDefault = info && info->default_source_name ? info->default_source_name : "";
    }

    static void onSource(pa_context*, const pa_source_info* info, int eol, void* userdata) {
        auto* self = static_cast<Connection*>(userdata);
        if (eol != 0) {
            self->owner->publish(std::move(self->pending), std::move(self->pendingDefault));
            self->pending.clear();
            self->pendingDefault.clear();
            self->markFirstList();
            return;
        }
        if (!info || info->monitor_of_sink != PA_INVALID_INDEX) return;
        AVCaptureDevice device;
        device.uniqueID = info->name;
        device.localizedName = info->description && *info->description ? info->description : info->name;
        device.mediaType = AVMediaType::audio;
        device.node = info->name;
        self->pending.push_back(std::move(device));
    }

    static void onRetry(pa_mainloop_api* api, pa_time_event* event, const timeval*, void* userdata) {
        auto* self = static_cast<Connection*>(userdata);
        api->time_free(event);
        self->retry = nullptr;
        self->connect();
    }
};

MicrophoneListPulse::MicrophoneListPulse(std::chrono::milliseconds firstListTimeout)
    : anchor_(std::make_shared<Anchor>(Anchor{this})), connection_(std::make_unique<Connection>()) {
    auto& c = *connection_;
    c.owner = this;
    c.loop = pa_threaded_mainloop_new();
    pa_threaded_mainloop_lock(c.loop);
    c.connect();
    pa_threaded_mainloop_start(c.loop);
    pa_threaded_mainloop_unlock(c.loop);

    std::unique_lock lock(c.firstListMutex);
    c.firstListArrived.wait_for(lock, firstListTimeout, [&c] { return c.hasFirstList; });
}

MicrophoneListPulse::~MicrophoneListPulse() {
    auto& c = *connection_;
    pa_threaded_mainloop_lock(c.loop);
    if (c.retry) pa_threaded_mainloop_get_api(c.loop)->time_free(c.retry);
    c.disconnect();
    pa_threaded_mainloop_unlock(c.loop);
    pa_threaded_mainloop_stop(c.loop);
    pa_threaded_mainloop_free(c.loop);
}

std::vector<AVCaptureDevice> MicrophoneListPulse::devices() const {
    std::lock_guard guard(mutex_);
    return sources_;
}

std::optional<AVCaptureDevice> MicrophoneListPulse::defaultDevice() const {
    std::lock_guard guard(mutex_);
    for (const auto& source : sources_)
        if (source.uniqueID == defaultSourceName_) return source;
    if (sources_.empty()) return std::nullopt;
    return sources_.front();
}

void MicrophoneListPulse::publish(std::vector<AVCaptureDevice> sources, std::string defaultSourceName) {
    {
        std::lock_guard guard(mutex_);
        sources_ = std::move(sources);
        defaultSourceName_ = std::move(defaultSourceName);
    }
    // The object is made and destroyed on the main thread, where this runs too.
    DispatchQueue::main().async([anchor = std::weak_ptr<Anchor>(anchor_)] {
        if (auto strong = anchor.lock()) strong->owner->notifyChanged();
    });
}

} // namespace vantrel
