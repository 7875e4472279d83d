#pragma once
// A microphone capture session in the shape the logic was designed with: one
// device input (a PulseAudio source), one audio data output that hands
// sample buffers (interleaved float PCM at the source's own rate and channel
// count, stamped on the host clock) to a delegate on its queue.
//
// While running, the session posts AVCaptureSessionRuntimeErrorNotification
// (with AVCaptureSessionErrorKey) when the server fails or goes away, and
// AVCaptureSessionWasInterruptedNotification when its source disappears; the
// object of both notifications is the session. Either way the session has
// stopped delivering.
//
// Threads: configure on one thread before it runs; startRunning() and
// stopRunning() block and belong on the session's queue.

#include "platform/camera/CaptureDevice.h"
#include "platform/camera/CaptureSession.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/core/NSError.h"
#include "platform/core/SampleBuffer.h"
#include "platform/capture/ScreenStream.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace vantrel {

class AVCaptureAudioDeviceInput {
public:
    /// Null with `error` filled when the source is not on the server (or no
    /// server answers).
    static std::shared_ptr<AVCaptureAudioDeviceInput> initWithDevice(const AVCaptureDevice& device,
                                                                     NSError* error);
    explicit AVCaptureAudioDeviceInput(AVCaptureDevice device) : device_(std::move(device)) {}
    const AVCaptureDevice& device() const { return device_; }

private:
    AVCaptureDevice device_;
};

class AVCaptureAudioDataOutput {
public:
    using Delegate = std::function<void(const CMSampleBufferRef& sampleBuffer)>;
    /// The delegate runs on `queue`, which must outlive the running session.
    void setSampleBufferDelegate(Delegate delegate, DispatchQueue* queue);

private:
    friend class AVCaptureAudioSession;
    Delegate delegate_;
    DispatchQueue* queue_ = nullptr;
};

class AVCaptureAudioSession {
public:
    AVCaptureAudioSession();
    /// Stops the source if it still runs.
    ~AVCaptureAudioSession();
    AVCaptureAudioSession(const AVCaptureAudioSession&) = delete;
    AVCaptureAudioSession& operator=(const AVCaptureAudioSession&) = delete;

    /// One input.
    bool canAddInput(const AVCaptureAudioDeviceInput& input) const;
    void addInput(std::shared_ptr<AVCaptureAudioDeviceInput> input);
    /// One output.
    bool canAddOutput(const AVCaptureAudioDataOutput& output) const;
    void addOutput(std::shared_ptr<AVCaptureAudioDataOutput> output);

    /// Opens the source and starts delivering; a source that cannot be opened
    /// posts a runtime error instead.
    void startRunning();
    /// Stops delivering; samples already queued still arrive.
    void stopRunning();
    bool isRunning() const { return running_.load(); }

    /// How a source is opened; the app's opens a PulseAudio record stream of
    /// the source named by the device's `node`. Tests put in their own.
    using SourceFactory = std::function<std::unique_ptr<AudioSampleSource>(const AVCaptureDevice& device)>;
    static void setSourceFactory(SourceFactory factory);

private:
    void post(const std::string& name, const std::string& error = {});

    std::shared_ptr<AVCaptureAudioDeviceInput> input_;
    std::shared_ptr<AVCaptureAudioDataOutput> output_;
    std::unique_ptr<AudioSampleSource> source_;
    std::atomic<bool> running_{false};
};

/// A PulseAudio record stream of one source (a microphone, or the monitor of
/// a sink) as an AudioSampleSource. `sampleRate` and `channelCount` of 0 keep
/// the source's own format. Timestamps: each packet is stamped when its sound
/// happened, by the server's word (captured, for a microphone; played, for a
/// monitor), counted on by the samples between packets so that jitter never
/// reaches them (AudioPacketClock). An empty `sourceName` records the default
/// sink's monitor and follows the default sink as it changes or goes away;
/// such a source ends only with its server.
std::unique_ptr<AudioSampleSource> makePulseRecordSource(std::string sourceName, int sampleRate,
                                                         int channelCount);

} // namespace vantrel
