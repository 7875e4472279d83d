// A PulseAudio record stream as an AudioSampleSource: its own threaded main
// loop and context, float32 interleaved packets of about kFragmentMs, stamped
// by an AudioPacketClock.
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
        : sourceName_(std::move(sourceName)), requestedRate_(sampleRate), requestedChannels_(channelCount) {}
    ~AudioSourcePulse() override { stop(); }

    bool start(SampleHandler onSample, EndHandler onEnd, NSError& error) override;
    void stop() override;

private:
    enum class Phase { idle, starting, running, ended, stopped };

    bool connectContext(NSError& error);
    bool findSource(NSError& error);
    bool connectStream(NSError& error);
    template <class Done> bool waitLocked(Done done);
    void teardownLocked();
    void endLocked(const std::string& error, bool deviceGone);
    void readLocked();
    int64_t capturedAtNs() const;
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

    const std::string sourceName_;
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
    const bool started = connectContext(error) && findSource(error) && connectStream(error);
    if (started) {
        // Tell us when our source leaves; the stream alone may only say "killed".
        pa_context_set_subscribe_callback(context_, &AudioSourcePulse::onEvent, this);
        pa_operation* subscribed =
            pa_context_subscribe(context_, PA_SUBSCRIPTION_MASK_SOURCE, nullptr, nullptr);
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

bool AudioSourcePulse::connectStream(NSError& error) {
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
    // carried over to whatever the server picks next.
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                         PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream_, sourceName_.c_str(), &attributes, flags) < 0) {
        error.localizedDescription = serverError("Cannot record from \"" + sourceName_ + "\"");
        return false;
    }
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

void AudioSourcePulse::teardownLocked() {
    if (stream_) {
        pa_stream_set_state_callback(stream_, nullptr, nullptr);
        pa_stream_set_read_callback(stream_, nullptr, nullptr);
        if (PA_STREAM_IS_GOOD(pa_stream_get_state(stream_))) pa_stream_disconnect(stream_);
        pa_stream_unref(stream_);
        stream_ = nullptr;
    }
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

int64_t AudioSourcePulse::capturedAtNs() const {
    const int64_t nowNs = CMClockGetHostTime().value;
    pa_usec_t latencyUs = 0;
    int negative = 0;
    // No timing yet (the first packet can beat it): take the packet as new.
    if (pa_stream_get_latency(stream_, &latencyUs, &negative) < 0 || negative) return nowNs;
    return nowNs - static_cast<int64_t>(latencyUs) * 1000;
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
            const CMTime presentation = clock_->stamp(capturedAtNs(), frames);
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
