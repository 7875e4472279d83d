// A PulseAudio record stream as an AudioSampleSource: its own threaded main
// loop and context, float32 interleaved packets of about kFragmentMs, stamped
// by an AudioPacketClock.
//
// Without a source name it records the monitor of whatever sink is the
// server's default, and follows it: when the default changes, or its device
// goes away (the server then picks another default), the stream moves to the
// new default's monitor. Nothing is delivered in between; the packets of the
// new stream carry their own host times, so the writer fills the gap with
// silence where it was. Only the server going away ends such a source.
//
// Every callback runs on the loop's thread with the loop lock held; start()
// and stop() take that lock, so once stop() holds it and has marked the
// source stopped, no handler can begin again.

#include "platform/audio/AudioCaptureSession.h"
#include "platform/audio/AudioPacketClock.h"
#include "platform/audio/PulseContextConnect.h"

#include <cstring>
#include <optional>
#include <pulse/pulseaudio.h>

namespace vantrel {

namespace {

// Small enough that samples arrive steadily, large enough that a busy
// machine does not wake for every few hundred frames.
constexpr pa_usec_t kFragmentUs = 10 * PA_USEC_PER_MSEC;
// How long start() waits for each answer of the server.
constexpr pa_usec_t kStepTimeoutUs = 3 * PA_USEC_PER_SEC;

class AudioSourcePulse final : public AudioSampleSource {
public:
    AudioSourcePulse(std::string sourceName, int sampleRate, int channelCount)
        : sourceName_(std::move(sourceName)), followDefault_(sourceName_.empty()), requestedRate_(sampleRate),
          requestedChannels_(channelCount) {}
    ~AudioSourcePulse() override { stop(); }

    bool start(SampleHandler onSample, EndHandler onEnd, NSError& error) override;
    void stop() override;

private:
    enum class Phase { idle, starting, running, ended, stopped };

    bool connectContext(NSError& error);
    bool findDefaultMonitor(NSError& error);
    bool findSource(NSError& error);
    bool openStream(NSError& error);
    bool connectStream(NSError& error);
    void dropStreamLocked();
    void followDefaultLocked();
    static void onServerInfo(pa_context* context, const pa_server_info* info, void* userdata);
    template <class Done> bool waitLocked(Done done);
    void teardownLocked();
    void endLocked(const std::string& error, bool deviceGone);
    void readLocked();
    std::optional<int64_t> capturedAtNs() const;
    std::string serverError(const std::string& what) const {
        return pulseContextError(context_, what);
    }

    static void onContextState(pa_context* context, void* userdata);
    static void onStreamState(pa_stream* stream, void* userdata);
    static void onRead(pa_stream* stream, size_t bytes, void* userdata);
    static void onSourceInfo(pa_context* context, const pa_source_info* info, int eol, void* userdata);
    static void onEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index,
                        void* userdata);
    static void onTimeout(pa_mainloop_api* api, pa_time_event* event, const timeval* when, void* userdata);
    static void onGoneCheck(pa_context* context, const pa_source_info* info, int eol, void* userdata);

    std::string sourceName_;
    const bool followDefault_;
    const int requestedRate_;
    const int requestedChannels_;

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;

    // Loop thread, or under the loop lock.
    Phase phase_ = Phase::idle;
    SampleHandler onSample_;
    EndHandler onEnd_;
    bool timedOut_ = false;
    bool sourceAnswered_ = false;
    std::optional<uint32_t> sourceIndex_;
    pa_sample_spec sourceSpec_{};
    AudioStreamBasicDescription format_;
    size_t frameBytes_ = 0;
    std::optional<AudioPacketClock> clock_;
    std::string streamFailure_;
    bool serverAnswered_ = false;
    std::string defaultSink_;
};

bool AudioSourcePulse::start(SampleHandler onSample, EndHandler onEnd, NSError& error) {
    if (loop_) {
        error.localizedDescription = "The audio source was already started";
        return false;
    }
    loop_ = pa_threaded_mainloop_new();
    pa_threaded_mainloop_lock(loop_);
    pa_threaded_mainloop_start(loop_);
    onSample_ = std::move(onSample);
    onEnd_ = std::move(onEnd);
    phase_ = Phase::starting;
    const bool started = connectContext(error) && (!followDefault_ || findDefaultMonitor(error)) &&
                         findSource(error) && connectStream(error);
    if (started) {
        // Tell us when our source leaves (the stream alone may only say
        // "killed"), and, when following, when the default sink changes.
        pa_context_set_subscribe_callback(context_, &AudioSourcePulse::onEvent, this);
        const auto mask = pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SOURCE |
                                                 (followDefault_ ? PA_SUBSCRIPTION_MASK_SERVER : 0));
        pa_operation* subscribed = pa_context_subscribe(context_, mask, nullptr, nullptr);
        if (subscribed) pa_operation_unref(subscribed);
        phase_ = Phase::running;
    } else {
        phase_ = Phase::stopped;
        teardownLocked();
    }
    pa_threaded_mainloop_unlock(loop_);
    if (!started) {
        pa_threaded_mainloop_stop(loop_);
        pa_threaded_mainloop_free(loop_);
        loop_ = nullptr;
        onSample_ = nullptr;
        onEnd_ = nullptr;
    }
    return started;
}

void AudioSourcePulse::stop() {
    if (!loop_) return;
    if (pa_threaded_mainloop_in_thread(loop_)) {
        // From one of our own handlers: the lock is ours already, but the
        // stream may not be freed inside its own callback nor the loop joined
        // from inside. Silence is enough; the destructor finishes the job.
        phase_ = Phase::stopped;
        return;
    }
    pa_threaded_mainloop_lock(loop_);
    phase_ = Phase::stopped;
    teardownLocked();
    pa_threaded_mainloop_unlock(loop_);
    pa_threaded_mainloop_stop(loop_);
    pa_threaded_mainloop_free(loop_);
    loop_ = nullptr;
    // The handlers may hold the owner's references; let them go with the stream.
    onSample_ = nullptr;
    onEnd_ = nullptr;
}

template <class Done> bool AudioSourcePulse::waitLocked(Done done) {
    auto* api = pa_threaded_mainloop_get_api(loop_);
    timeval when{};
    pa_timeval_add(pa_gettimeofday(&when), kStepTimeoutUs);
    timedOut_ = false;
    pa_time_event* timer = api->time_new(api, &when, &AudioSourcePulse::onTimeout, this);
    while (!done() && !timedOut_)
        pa_threaded_mainloop_wait(loop_);
    api->time_free(timer);
    return done();
}

bool AudioSourcePulse::connectContext(NSError& error) {
    context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Vantrel");
    pa_context_set_state_callback(context_, &AudioSourcePulse::onContextState, this);
    return connectPulseContext(
        context_, [this](const std::function<bool()>& done) { return waitLocked(done); }, error);
}

bool AudioSourcePulse::findSource(NSError& error) {
    sourceAnswered_ = false;
    sourceIndex_.reset();
    pa_operation* operation = pa_context_get_source_info_by_name(context_, sourceName_.c_str(),
                                                                 &AudioSourcePulse::onSourceInfo, this);
    if (!operation) {
        error.localizedDescription = serverError("The sound server refused the question");
        return false;
    }
    const bool answered = waitLocked([this] { return sourceAnswered_; });
    pa_operation_cancel(operation);
    pa_operation_unref(operation);
    if (!answered) {
        error.localizedDescription = pa_context_get_state(context_) == PA_CONTEXT_READY
                                         ? "The sound server did not answer"
                                         : serverError("The sound server went away");
        return false;
    }
    if (!sourceIndex_) {
        error.localizedDescription = "No audio source named \"" + sourceName_ + "\" on the sound server";
        return false;
    }
    return true;
}

bool AudioSourcePulse::findDefaultMonitor(NSError& error) {
    serverAnswered_ = false;
    pa_operation* operation = pa_context_get_server_info(context_, &AudioSourcePulse::onServerInfo, this);
    if (!operation) {
        error.localizedDescription = serverError("The sound server refused the question");
        return false;
    }
    const bool answered = waitLocked([this] { return serverAnswered_; });
    pa_operation_cancel(operation);
    pa_operation_unref(operation);
    if (!answered) {
        error.localizedDescription = "The sound server did not answer";
        return false;
    }
    if (defaultSink_.empty()) {
        error.localizedDescription = "The sound server has no output device";
        return false;
    }
    // pipewire-pulse knows no @DEFAULT_MONITOR@, so the monitor is named by hand.
    sourceName_ = defaultSink_ + ".monitor";
    return true;
}

bool AudioSourcePulse::connectStream(NSError& error) {
    if (!openStream(error)) return false;
    const bool settled = waitLocked([this] {
        const auto state = pa_stream_get_state(stream_);
        return state == PA_STREAM_READY || !PA_STREAM_IS_GOOD(state);
    });
    if (!settled) {
        error.localizedDescription = "The sound server did not answer";
        return false;
    }
    if (pa_stream_get_state(stream_) != PA_STREAM_READY) {
        error.localizedDescription = serverError("Cannot record from \"" + sourceName_ + "\"");
        return false;
    }
    return true;
}

bool AudioSourcePulse::openStream(NSError& error) {
    pa_sample_spec sampleFormat{};
    sampleFormat.format = PA_SAMPLE_FLOAT32LE;
    sampleFormat.rate = requestedRate_ > 0 ? static_cast<uint32_t>(requestedRate_) : sourceSpec_.rate;
    sampleFormat.channels = requestedChannels_ > 0 ? static_cast<uint8_t>(requestedChannels_) : sourceSpec_.channels;
    if (!pa_sample_spec_valid(&sampleFormat)) {
        error.localizedDescription = "The sound server cannot record " + std::to_string(sampleFormat.rate) +
                                     " Hz with " + std::to_string(sampleFormat.channels) + " channels";
        return false;
    }
    format_ = {static_cast<double>(sampleFormat.rate), sampleFormat.channels};
    frameBytes_ = pa_frame_size(&sampleFormat);
    clock_.emplace(static_cast<int>(sampleFormat.rate));

    pa_channel_map map{};
    pa_channel_map_init_extend(&map, sampleFormat.channels, PA_CHANNEL_MAP_DEFAULT);
    stream_ = pa_stream_new(context_, "Vantrel recording", &sampleFormat, &map);
    if (!stream_) {
        error.localizedDescription = serverError("Cannot record from \"" + sourceName_ + "\"");
        return false;
    }
    pa_stream_set_state_callback(stream_, &AudioSourcePulse::onStreamState, this);
    pa_stream_set_read_callback(stream_, &AudioSourcePulse::onRead, this);

    pa_buffer_attr attributes{};
    attributes.maxlength = static_cast<uint32_t>(-1);
    attributes.fragsize = static_cast<uint32_t>(pa_usec_to_bytes(kFragmentUs, &sampleFormat));
    attributes.tlength = attributes.prebuf = attributes.minreq = static_cast<uint32_t>(-1);
    // DONT_MOVE: when the device leaves, the recording must learn it, not be
    // carried over to whatever the server picks next (a microphone), or
    // choose the next one itself (the default sink's monitor).
    // NOT_MONOTONIC: the server's word on time may step back (a sink whose
    // latency grows when a player joins); held still instead, it would put
    // the sound early until time caught up. The packet clock keeps our own
    // stamps moving forward.
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                         PA_STREAM_NOT_MONOTONIC | PA_STREAM_AUTO_TIMING_UPDATE |
                                         PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream_, sourceName_.c_str(), &attributes, flags) < 0) {
        error.localizedDescription = serverError("Cannot record from \"" + sourceName_ + "\"");
        return false;
    }
    return true;
}

void AudioSourcePulse::dropStreamLocked() {
    if (!stream_) return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_))) pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

void AudioSourcePulse::followDefaultLocked() {
    // Asked again on every hint; the answer decides (onServerInfo).
    pa_operation* operation = pa_context_get_server_info(context_, &AudioSourcePulse::onServerInfo, this);
    if (operation) pa_operation_unref(operation);
}

void AudioSourcePulse::onServerInfo(pa_context*, const pa_server_info* info, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    self->defaultSink_ = info && info->default_sink_name ? info->default_sink_name : "";
    self->serverAnswered_ = true;
    pa_threaded_mainloop_signal(self->loop_, 0);
    if (self->phase_ != Phase::running) return;
    const std::string wanted = self->defaultSink_.empty() ? "" : self->defaultSink_ + ".monitor";
    const bool recording = self->stream_ && PA_STREAM_IS_GOOD(pa_stream_get_state(self->stream_));
    if (recording && wanted == self->sourceName_) return;
    // Outside the stream's own callbacks here, so it may go now.
    self->dropStreamLocked();
    self->sourceName_ = wanted;
    if (wanted.empty()) return; // no output device at all: wait for one
    NSError ignored;
    if (!self->openStream(ignored)) self->dropStreamLocked();
}

void AudioSourcePulse::teardownLocked() {
    dropStreamLocked();
    if (context_) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_set_subscribe_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
    }
}

void AudioSourcePulse::endLocked(const std::string& error, bool deviceGone) {
    if (phase_ != Phase::running) return;
    phase_ = Phase::ended;
    // The stream and context stay as they are until stop(): freeing them
    // inside their own callbacks is not allowed.
    if (onEnd_) onEnd_(NSError{error}, deviceGone);
}

std::optional<int64_t> AudioSourcePulse::capturedAtNs() const {
    const int64_t nowNs = CMClockGetHostTime().value;
    pa_usec_t latencyUs = 0;
    int negative = 0;
    // No timing yet (the first packets can beat it): no word on when they were captured.
    if (pa_stream_get_latency(stream_, &latencyUs, &negative) < 0) return std::nullopt;
    // For a microphone the latency is how long ago the packet's first frame
    // was captured. For the monitor of a sink the server counts from what
    // the sink has played, and the monitor hands out what it has only just
    // rendered: the latency is negative, the sound is heard that much later
    // than it is read, and a recording that took "now" for it would put the
    // system's sound ahead of the picture by the whole output latency.
    const int64_t latencyNs = static_cast<int64_t>(latencyUs) * 1000;
    return negative ? nowNs + latencyNs : nowNs - latencyNs;
}

void AudioSourcePulse::readLocked() {
    while (phase_ == Phase::running || phase_ == Phase::starting) {
        const void* data = nullptr;
        size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) return;
        const auto frames = static_cast<int64_t>(bytes / frameBytes_);
        if (!data) {
            // A hole: the server lost these frames; time goes on without them.
            clock_->skip(frames);
        } else if (frames > 0) {
            CMTime presentation = clock_->stamp(capturedAtNs(), frames);
            // Before the server's first word on timing the packet is taken as
            // new; the first word moves the clock if that was off by more
            // than its limit.
            if (!presentation.isValid()) presentation = clock_->stamp(CMClockGetHostTime().value, frames);
            const size_t values = static_cast<size_t>(frames) * static_cast<size_t>(format_.channelsPerFrame);
            std::vector<float> pcm(values);
            std::memcpy(pcm.data(), data, values * sizeof(float));
            const CMSampleTimingInfo timing{CMTime(frames, clock_->sampleRate()), presentation,
                                            CMTime::invalid()};
            auto sample = CMSampleBuffer::makeAudio(format_, std::move(pcm), {timing});
            if (onSample_) onSample_(sample);
        }
        pa_stream_drop(stream_);
    }
}

void AudioSourcePulse::onContextState(pa_context* context, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    const auto state = pa_context_get_state(context);
    if (!PA_CONTEXT_IS_GOOD(state)) self->endLocked(self->serverError("The sound server went away"), false);
    pa_threaded_mainloop_signal(self->loop_, 0);
}

void AudioSourcePulse::onStreamState(pa_stream* stream, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    pa_threaded_mainloop_signal(self->loop_, 0);
    if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream)) || self->phase_ != Phase::running) return;
    if (pa_context_get_state(self->context_) != PA_CONTEXT_READY) {
        self->endLocked(self->serverError("The sound server went away"), false);
        return;
    }
    if (self->followDefault_) {
        // The monitor went with its sink; the server's new default decides where to go.
        self->followDefaultLocked();
        return;
    }
    // The server dropped the stream. If that is because the source left, it
    // is an interruption, not a failure: ask whether the source is still there.
    self->streamFailure_ = self->serverError("The recording from \"" + self->sourceName_ + "\" failed");
    pa_operation* check = pa_context_get_source_info_by_name(self->context_, self->sourceName_.c_str(),
                                                             &AudioSourcePulse::onGoneCheck, self);
    if (check) {
        pa_operation_unref(check);
    } else {
        self->endLocked(self->streamFailure_, false);
    }
}

void AudioSourcePulse::onGoneCheck(pa_context*, const pa_source_info* info, int eol, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    if (info) {
        self->endLocked(self->streamFailure_, false);
    } else if (eol != 0) {
        // Reached the end without an entry (or with "no such entity"): gone.
        self->endLocked("The audio source \"" + self->sourceName_ + "\" went away", true);
    }
}

void AudioSourcePulse::onRead(pa_stream*, size_t, void* userdata) {
    static_cast<AudioSourcePulse*>(userdata)->readLocked();
}

void AudioSourcePulse::onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    if (info) {
        self->sourceIndex_ = info->index;
        self->sourceSpec_ = info->sample_spec;
    }
    if (eol != 0) {
        self->sourceAnswered_ = true;
        pa_threaded_mainloop_signal(self->loop_, 0);
    }
}

void AudioSourcePulse::onEvent(pa_context*, pa_subscription_event_type_t type, uint32_t index,
                               void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (self->followDefault_) {
        if (facility == PA_SUBSCRIPTION_EVENT_SERVER ||
            (facility == PA_SUBSCRIPTION_EVENT_SOURCE && kind != PA_SUBSCRIPTION_EVENT_CHANGE))
            self->followDefaultLocked();
        return;
    }
    if (facility == PA_SUBSCRIPTION_EVENT_SOURCE && kind == PA_SUBSCRIPTION_EVENT_REMOVE &&
        index == self->sourceIndex_)
        self->endLocked("The audio source \"" + self->sourceName_ + "\" went away", true);
}

void AudioSourcePulse::onTimeout(pa_mainloop_api*, pa_time_event*, const timeval*, void* userdata) {
    auto* self = static_cast<AudioSourcePulse*>(userdata);
    self->timedOut_ = true;
    pa_threaded_mainloop_signal(self->loop_, 0);
}

} // namespace

std::unique_ptr<AudioSampleSource> makePulseRecordSource(std::string sourceName, int sampleRate,
                                                         int channelCount) {
    return std::make_unique<AudioSourcePulse>(std::move(sourceName), sampleRate, channelCount);
}

} // namespace vantrel
