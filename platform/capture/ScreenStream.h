#pragma once
// Screen capture under the names the logic uses: the shareable content (the
// displays and the running applications), a content filter, the stream
// configuration and the stream that delivers screen and system audio samples
// to its outputs on their queues.
//
// The stream paces itself: a capture thread of its own grabs the display at
// most once per minimumFrameInterval, stamps each frame with the host clock
// at the grab, and hands it to the screen output's queue. A frame is skipped,
// never delayed, while queueDepth frames are still on their way, so a slow
// consumer costs frames, not time. System audio arrives from its own thread
// on the audio output's queue. Behind it stands a ScreenCaptureService (X11
// and PulseAudio in the app, a fake in tests).
//
// Threads: everything but the sample delivery on the main thread.

#include "platform/image/CIContext.h"
#include "platform/core/CMTime.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/displays/Displays.h"
#include "platform/core/Geometry.h"
#include "platform/capture/RunningApplication.h"
#include "platform/core/NSError.h"
#include "platform/core/SampleBuffer.h"
#include "platform/core/SharedTypes.h"

#include <QCoro/QCoroTask>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace vantrel {

/// Thrown by the stream's asynchronous calls; `error` says what went wrong.
struct SCStreamException : std::exception {
    NSError error;
    explicit SCStreamException(NSError e) : error(std::move(e)) {}
    const char* what() const noexcept override { return error.localizedDescription.c_str(); }
};

// SCDisplay and SCShareableContent (displays and applications) are in
// Displays.h; SCRunningApplication and SCWindow in RunningApplication.h.

class SCContentFilter {
public:
    SCContentFilter(SCDisplay display, std::vector<SCRunningApplication> excludingApplications,
                    std::vector<SCWindow> exceptingWindows);

    const SCDisplay& display() const { return display_; }
    const std::vector<SCRunningApplication>& excludedApplications() const { return excluded_; }
    const std::vector<SCWindow>& exceptedWindows() const { return excepted_; }

private:
    SCDisplay display_;
    std::vector<SCRunningApplication> excluded_;
    std::vector<SCWindow> excepted_;
};

struct SCStreamConfiguration {
    int width = 0;
    int height = 0;
    bool showsCursor = true;
    CMTime minimumFrameInterval = CMTime::zero();
    uint32_t pixelFormat = kCVPixelFormatType_32BGRA;
    CGColorSpaceName colorSpaceName = kCGColorSpaceSRGB;
    bool capturesAudio = false;
    bool excludesCurrentProcessAudio = false;
    int sampleRate = 48000;
    int channelCount = 2;
    /// Frames that may be on their way to the output at once. Two keep the
    /// grab of the next frame beside the work on the last; a third would
    /// only wait behind them, a frame late and a shared frame of memory more.
    int queueDepth = 2;
};

enum class SCStreamOutputType : int { screen = 0, audio = 1 };

class SCStream;

class SCStreamOutput {
public:
    virtual ~SCStreamOutput() = default;
    virtual void streamDidOutputSampleBuffer(SCStream& stream, const CMSampleBufferRef& sampleBuffer,
                                             SCStreamOutputType type) = 0;
};

class SCStreamDelegate {
public:
    virtual ~SCStreamDelegate() = default;
    /// The stream stopped by itself (the display server went away); main thread.
    virtual void streamDidStopWithError(SCStream& stream, const NSError& error) = 0;
};

// --- The service behind the stream ----------------------------------------

/// Grabs one display, BGRA with opaque alpha, the pointer drawn in when asked.
class ScreenFrameSource {
public:
    virtual ~ScreenFrameSource() = default;
    /// A new frame, or null when no buffer is free (the caller skips the
    /// tick). Sets `lost` when the display server is gone for good.
    virtual CVPixelBufferRef grabFrame(bool& lost, NSError& error) = 0;
};

/// Delivers audio samples from a thread of its own until stopped.
class AudioSampleSource {
public:
    using SampleHandler = std::function<void(const CMSampleBufferRef& sample)>;
    /// The source ended by itself: its device went away, or its server did.
    using EndHandler = std::function<void(const NSError& error, bool deviceGone)>;

    virtual ~AudioSampleSource() = default;
    /// Starts delivering; false with `error` set when it cannot start.
    virtual bool start(SampleHandler onSample, EndHandler onEnd, NSError& error) = 0;
    /// Stops and waits until no handler runs any more.
    virtual void stop() = 0;
};

class ScreenCaptureService {
public:
    virtual ~ScreenCaptureService() = default;
    /// The processes that own top-level windows; empty when the server cannot be asked.
    virtual std::vector<SCRunningApplication> applications() = 0;
    /// Null with `error` set when the display cannot be grabbed.
    virtual std::unique_ptr<ScreenFrameSource> makeFrameSource(const SCContentFilter& filter,
                                                               const SCStreamConfiguration& configuration,
                                                               NSError& error) = 0;
    /// The system's sound: the monitor of the default output, at the configured rate and channels.
    virtual std::unique_ptr<AudioSampleSource> makeSystemAudioSource(const SCStreamConfiguration& configuration,
                                                                     NSError& error) = 0;

    /// X11 and PulseAudio, made at first use; tests install their own.
    static std::shared_ptr<ScreenCaptureService> shared();
    static void setShared(std::shared_ptr<ScreenCaptureService> service);
};

// --- The stream -----------------------------------------------------------

class SCStream {
public:
    /// The delegate is held weakly.
    SCStream(SCContentFilter filter, SCStreamConfiguration configuration,
             std::weak_ptr<SCStreamDelegate> delegate);
    /// Stops a running capture and waits for it.
    ~SCStream();
    SCStream(const SCStream&) = delete;
    SCStream& operator=(const SCStream&) = delete;

    const SCContentFilter& filter() const { return filter_; }
    const SCStreamConfiguration& configuration() const { return configuration_; }

    /// The output is held weakly; `queue` must outlive the running stream.
    /// False with `error` set for audio on a stream that does not capture
    /// audio, or a type that already has an output.
    bool addStreamOutput(std::shared_ptr<SCStreamOutput> output, SCStreamOutputType type,
                         DispatchQueue* sampleHandlerQueue, NSError* error);
    /// False with `error` set when no such output was added.
    bool removeStreamOutput(const std::shared_ptr<SCStreamOutput>& output, SCStreamOutputType type,
                            NSError* error);

    /// Opens the grab (and the system audio) and starts delivering. Throws
    /// SCStreamException when either cannot start.
    QCoro::Task<> startCapture();
    /// Stops delivering; samples already queued still reach their outputs.
    /// Throws SCStreamException when the stream was not running.
    QCoro::Task<> stopCapture();

    bool isRunning() const { return running_.load(); }
    /// Frames grabbed, and ticks skipped because queueDepth frames were on their way.
    uint64_t framesDelivered() const { return framesDelivered_.load(); }
    uint64_t framesSkipped() const { return framesSkipped_.load(); }

private:
    struct Output {
        std::weak_ptr<SCStreamOutput> output;
        DispatchQueue* queue = nullptr;
    };
    void captureLoop();
    void deliver(SCStreamOutputType type, const CMSampleBufferRef& sample);
    void stopAll();
    void endedByItself(const NSError& error, uint64_t run);
    // Posts endedByItself to the main thread; from the capture or audio thread.
    void reportEnd(const NSError& error);

    SCContentFilter filter_;
    SCStreamConfiguration configuration_;
    std::weak_ptr<SCStreamDelegate> delegate_;

    std::mutex outputsMutex_;
    Output screenOutput_;
    Output audioOutput_;

    std::unique_ptr<ScreenFrameSource> frames_;
    std::unique_ptr<AudioSampleSource> audio_;
    std::thread captureThread_;
    std::atomic<bool> running_{false};
    std::atomic<bool> stopRequested_{false};
    // Wakes the capture thread out of its wait for the next tick.
    std::mutex wakeMutex_;
    std::condition_variable wake_;
    // Set once the stream ended by itself, so that the delegate hears it once.
    std::atomic<bool> endReported_{false};
    // Counts the starts, so that a late notice of an earlier run cannot stop a new one.
    std::atomic<uint64_t> run_{0};
    std::shared_ptr<std::atomic<int>> framesInFlight_ = std::make_shared<std::atomic<int>>(0);
    std::atomic<uint64_t> framesDelivered_{0};
    std::atomic<uint64_t> framesSkipped_{0};
    std::shared_ptr<std::atomic<bool>> alive_ = std::make_shared<std::atomic<bool>>(true);
};

} // namespace vantrel
