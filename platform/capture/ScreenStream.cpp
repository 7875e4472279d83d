#include "platform/capture/ScreenStream.h"
#include "platform/runtime/BackgroundTask.h"

#include "platform/core/ConsoleLine.h"

#include <chrono>

namespace vantrel {

namespace {

using Clock = std::chrono::steady_clock;

// A stream configured without a rate still needs one: the display's usual refresh.
constexpr double kDefaultFrameIntervalSeconds = 1.0 / 60.0;

Clock::duration tickLength(const CMTime& minimumFrameInterval) {
    double seconds = minimumFrameInterval.isValid() ? minimumFrameInterval.seconds() : 0.0;
    if (!(seconds > 0)) seconds = kDefaultFrameIntervalSeconds;
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

void setError(NSError* error, const char* text) {
    if (error) error->localizedDescription = text;
}

} // namespace

SCContentFilter::SCContentFilter(SCDisplay display, std::vector<SCRunningApplication> excludingApplications,
                                 std::vector<SCWindow> exceptingWindows)
    : display_(std::move(display)), excluded_(std::move(excludingApplications)),
      excepted_(std::move(exceptingWindows)) {}

SCStream::SCStream(SCContentFilter filter, SCStreamConfiguration configuration,
                   std::weak_ptr<SCStreamDelegate> delegate)
    : filter_(std::move(filter)), configuration_(std::move(configuration)), delegate_(std::move(delegate)) {}

SCStream::~SCStream() {
    // Blocks still queued for the outputs, and the main-thread notice of an
    // end, check this before they touch the stream.
    alive_->store(false);
    stopAll();
}

bool SCStream::addStreamOutput(std::shared_ptr<SCStreamOutput> output, SCStreamOutputType type,
                               DispatchQueue* sampleHandlerQueue, NSError* error) {
    if (!output || !sampleHandlerQueue) {
        setError(error, "A stream output needs an object and a queue.");
        return false;
    }
    if (type == SCStreamOutputType::audio && !configuration_.capturesAudio) {
        setError(error, "This stream does not capture audio.");
        return false;
    }
    std::lock_guard lock(outputsMutex_);
    Output& slot = type == SCStreamOutputType::screen ? screenOutput_ : audioOutput_;
    if (!slot.output.expired()) {
        setError(error, "The stream already has an output of this type.");
        return false;
    }
    slot = {output, sampleHandlerQueue};
    return true;
}

bool SCStream::removeStreamOutput(const std::shared_ptr<SCStreamOutput>& output, SCStreamOutputType type,
                                  NSError* error) {
    std::lock_guard lock(outputsMutex_);
    Output& slot = type == SCStreamOutputType::screen ? screenOutput_ : audioOutput_;
    if (!output || slot.output.lock() != output) {
        setError(error, "No such output was added to the stream.");
        return false;
    }
    slot = {};
    return true;
}

QCoro::Task<> SCStream::startCapture() {
    if (running_.load()) throw SCStreamException({"The stream is already capturing."});
    auto service = ScreenCaptureService::shared();
    if (!service) throw SCStreamException({"Screen capture is not available."});

    // A run that ended by itself may not have been joined yet.
    if (captureThread_.joinable()) captureThread_.join();
    ++run_;

    // Opening the grab and the sound server waits on both servers: that
    // runs on a pool thread, and the caller's thread (the countdown's) goes on.
    // Sound is welcome, not required: without a sound server (or with one
    // that fails) the picture is recorded all the same, and the user is told
    // once. A source that ends later only ends the sound, never the picture.
    struct Sources {
        std::unique_ptr<ScreenFrameSource> frames;
        std::unique_ptr<AudioSampleSource> audio;
    };
    auto opening = runInBackground([this, service] {
        NSError error;
        auto sources = std::make_shared<Sources>();
        sources->frames = service->makeFrameSource(filter_, configuration_, error);
        if (!sources->frames) throw SCStreamException(error);
        if (configuration_.capturesAudio) {
            NSError audioError;
            sources->audio = service->makeSystemAudioSource(configuration_, audioError);
            const bool started =
                sources->audio &&
                sources->audio->start(
                    [this](const CMSampleBufferRef& sample) { deliver(SCStreamOutputType::audio, sample); },
                    [](const NSError& endError, bool) {
                        printLine("⚠️ System audio stopped: " + endError.localizedDescription);
                    },
                    audioError);
            if (!started) {
                printLine("⚠️ Recording without system audio: " + audioError.localizedDescription);
                sources->audio.reset();
            }
        }
        return sources;
    });
    const auto opened = co_await std::move(opening);

    frames_ = std::move(opened->frames);
    audio_ = std::move(opened->audio);
    stopRequested_.store(false);
    endReported_.store(false);
    running_.store(true);
    captureThread_ = std::thread([this] { captureLoop(); });
    co_return;
}

QCoro::Task<> SCStream::stopCapture() {
    if (!running_.load()) throw SCStreamException({"The stream is not capturing."});
    stopAll();
    co_return;
}

void SCStream::stopAll() {
    {
        std::lock_guard lock(wakeMutex_);
        stopRequested_.store(true);
    }
    wake_.notify_all();
    if (captureThread_.joinable() && captureThread_.get_id() != std::this_thread::get_id())
        captureThread_.join();
    if (audio_) {
        audio_->stop();
        audio_.reset();
    }
    frames_.reset();
    running_.store(false);
}

void SCStream::reportEnd(const NSError& error) {
    // The rest happens on the main thread, which may join the calling thread.
    DispatchQueue::main().async([this, alive = alive_, error, run = run_.load()] {
        if (alive->load()) endedByItself(error, run);
    });
}

void SCStream::endedByItself(const NSError& error, uint64_t run) {
    // Main thread. A stop asked for in the meantime wins: nobody is told.
    if (run != run_.load() || endReported_.exchange(true)) return;
    const bool wasRunning = running_.load() || captureThread_.joinable();
    stopAll();
    if (!wasRunning) return;
    if (auto delegate = delegate_.lock()) delegate->streamDidStopWithError(*this, error);
}

void SCStream::captureLoop() {
    const Clock::duration interval = tickLength(configuration_.minimumFrameInterval);
    const CMTime frameDuration =
        configuration_.minimumFrameInterval.isValid() && configuration_.minimumFrameInterval.seconds() > 0
            ? configuration_.minimumFrameInterval
            : CMTime(1, 60);
    const int queueDepth = std::max(1, configuration_.queueDepth);
    Clock::time_point deadline = Clock::now();
    NSError error;

    while (!stopRequested_.load()) {
        if (framesInFlight_->load() >= queueDepth) {
            framesSkipped_.fetch_add(1);
        } else {
            bool lost = false;
            // The server takes its picture when it reads the request, which
            // is just after this; the work done on the picture comes later.
            const CMTime grabTime = CMClockGetHostTime();
            CVPixelBufferRef frame = frames_->grabFrame(lost, error);
            if (lost) {
                running_.store(false);
                reportEnd(error);
                return;
            }
            if (frame) {
                framesDelivered_.fetch_add(1);
                deliver(SCStreamOutputType::screen,
                        CMSampleBuffer::makeVideo(std::move(frame), grabTime, frameDuration));
            } else {
                framesSkipped_.fetch_add(1);
            }
        }

        // Deadlines advance by whole ticks from the start, so the work done
        // in a tick never pushes the next one back; ticks already missed are
        // dropped rather than run in a burst.
        deadline += interval;
        const auto now = Clock::now();
        if (deadline <= now) deadline += ((now - deadline) / interval + 1) * interval;
        std::unique_lock lock(wakeMutex_);
        wake_.wait_until(lock, deadline, [this] { return stopRequested_.load(); });
    }
}

void SCStream::deliver(SCStreamOutputType type, const CMSampleBufferRef& sample) {
    Output target;
    {
        std::lock_guard lock(outputsMutex_);
        target = type == SCStreamOutputType::screen ? screenOutput_ : audioOutput_;
    }
    if (!target.queue || target.output.expired()) return;
    const bool counted = type == SCStreamOutputType::screen;
    if (counted) framesInFlight_->fetch_add(1);
    target.queue->async(
        [this, alive = alive_, inFlight = framesInFlight_, output = target.output, sample, type, counted] {
            // The frame is no longer on its way once this block runs, whoever
            // (if anyone) still listens.
            if (auto listener = output.lock(); listener && alive->load())
                listener->streamDidOutputSampleBuffer(*this, sample, type);
            if (counted) inFlight->fetch_sub(1);
        });
}

} // namespace vantrel
