#pragma once
// One recording session from start to end, and the single entry point of
// recording: the shell calls these operations and never touches the stream
// or the writers. The recorder decides the order in which the capture
// stream, the webcam, the microphone, the input monitor and the writers
// start and stop, keeps the session state under its lock, and turns missing
// devices into errors the shell can offer to work around.
//
// A recording usually runs in two phases: during the countdown,
// prepareRecording() builds everything, with the stream already running and
// its samples discarded; when the countdown ends, startRecording() only flips
// the state, so the first sample after that is the first moment of the file.
//
// Threads: the operations run on the main thread. Stream samples arrive on
// outputQueue, microphone samples on micCaptureQueue; they meet the main
// thread only through stateLock, which is held for short copies alone.
// Hold the recorder in a shared_ptr (create()): the stream and the
// microphone's notifications reach it through weak references.

#include "devices/CameraManager.h"
#include "devices/ScreenRecorderError.h"
#include "input/EventMonitor.h"
#include "recording/RecordingPipeline.h"
#include "recording/RecordingSessionState.h"
#include "settings/Providers.h"

#include "platform/audio/AudioCaptureSession.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/runtime/NotificationCenter.h"
#include "platform/capture/ScreenStream.h"
#include "platform/core/UnfairLock.h"

#include <QCoro/QCoroTask>
#include <QFuture>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantrel {

class ScreenRecorder final : public SCStreamOutput,
                             public SCStreamDelegate,
                             public std::enable_shared_from_this<ScreenRecorder> {
public:
    /// An argument left out is replaced by the shared AppSettings,
    /// PermissionsManager or BookmarkManager.
    static std::shared_ptr<ScreenRecorder> create(std::shared_ptr<AppSettingsProvider> appSettings = nullptr,
                                                  std::shared_ptr<PermissionsProvider> permissionsManager = nullptr,
                                                  std::shared_ptr<BookmarkProvider> bookmarkManager = nullptr);
    ~ScreenRecorder() override;
    ScreenRecorder(const ScreenRecorder&) = delete;
    ScreenRecorder& operator=(const ScreenRecorder&) = delete;

    // --- Session operations (main thread) ---------------------------------

    /// Validates devices and builds a running stream and a pipeline for the
    /// current settings, while the state stays idle. The slow steps run off
    /// the main thread; a second call meanwhile does nothing.
    QCoro::Task<> prepareRecording();
    /// Discards what prepareRecording() built, or is still building (that
    /// preparation then ends quietly, without an error). Never throws.
    QCoro::Task<> cancelPreparedRecording();
    /// Begins the recording, with or without preparation; a preparation
    /// still under way is waited for.
    QCoro::Task<> startRecording();
    /// Ends the recording and closes the files.
    QCoro::Task<> stopRecording();
    void pause();
    void resume();

    bool isPaused() const;
    bool isCurrentlyRecording() const;

    /// Throws deviceNotFound for a microphone or webcam that is needed and missing.
    void validateDevices(const AppSettingsSnapshot& settings);

    // --- Sample entry points ------------------------------------------------

    /// Every sample of the capture stream, on outputQueue.
    void handleStreamSample(const CMSampleBufferRef& sampleBuffer, SCStreamOutputType type);
    /// Every microphone sample, on micCaptureQueue.
    void handleMicSample(const CMSampleBufferRef& sampleBuffer);
    /// The sample with every time moved back by `offset`; absent when it has no timing.
    static CMSampleBufferRef retimedSampleBuffer(const CMSampleBufferRef& sampleBuffer, CMTime offset);

    // SCStreamOutput, SCStreamDelegate.
    void streamDidOutputSampleBuffer(SCStream& stream, const CMSampleBufferRef& sampleBuffer,
                                     SCStreamOutputType type) override;
    /// A stream that ends by itself is left alone: no more samples arrive
    /// until the user stops.
    void streamDidStopWithError(SCStream& stream, const NSError& error) override;

    // --- For tools and tests ------------------------------------------------

    /// Called on outputQueue after the engine made a zoomed frame: its file
    /// time, and whether the zoomed input took it. The engine's last crop and
    /// zoom are readable from `engine` during the call.
    using FrameObserver = std::function<void(CMTime fileTime, const VideoProcessor& engine, bool written)>;
    void setFrameObserver(FrameObserver observer);

    /// The pipeline of the prepared or running recording, if any.
    std::shared_ptr<RecordingPipeline> currentPipeline() const;
    RecordingSessionState sessionStateSnapshot() const;

    // --- Fields ---------------------------------------------------------------

    const std::shared_ptr<EventMonitor> eventMonitor;
    const std::unique_ptr<CameraManager> cameraManager;
    std::shared_ptr<AVCaptureAudioSession> micCaptureSession;
    /// Serial, user-initiated: microphone samples and the session's start and stop.
    const std::unique_ptr<DispatchQueue> micCaptureQueue;
    std::vector<NSNotificationCenter::Token> micSessionObservers;
    OSAllocatedUnfairLock<RecordingSessionState> stateLock;
    /// Serial, user-interactive: both kinds of stream sample.
    const std::unique_ptr<DispatchQueue> outputQueue;
    const std::shared_ptr<AppSettingsProvider> appSettings;
    const std::shared_ptr<PermissionsProvider> permissionsManager;
    const std::shared_ptr<BookmarkProvider> bookmarkManager;

private:
    ScreenRecorder(std::shared_ptr<AppSettingsProvider> appSettings,
                   std::shared_ptr<PermissionsProvider> permissionsManager,
                   std::shared_ptr<BookmarkProvider> bookmarkManager);

    /// The running stream and its pipeline, or both absent when a
    /// precondition does not hold. Platform errors are thrown unchanged.
    QCoro::Task<std::pair<std::shared_ptr<SCStream>, std::shared_ptr<RecordingPipeline>>>
    startStreamAndPipeline(AppSettingsSnapshot settings);
    std::shared_ptr<RecordingPipeline> makePipeline(int width, int height, const AppSettingsSnapshot& settings,
                                                    std::shared_ptr<VideoProcessor> videoProcessor);
    /// Stops the stream's capture and removes this recorder as its output.
    QCoro::Task<> stopStream(const std::shared_ptr<SCStream>& stream, bool ignoreErrors);
    /// The rest of a stop once the stream is down: queue, monitor, devices, files.
    QCoro::Task<> finishStop(std::shared_ptr<RecordingPipeline> pipeline);
    /// Undoes a start whose webcam or microphone failed after the state flipped.
    QCoro::Task<> takeBackStartedRecording();
    /// Writers of a pipeline no recording will use: cancelled, access released.
    static void discardPipeline(const std::shared_ptr<RecordingPipeline>& pipeline);

    void writeVideoSample(const CMSampleBufferRef& sampleBuffer, RecordingPipeline& pipeline, CMTime adjustedTime);
    void writeSystemAudioSample(CMSampleBufferRef sampleBuffer, RecordingPipeline& pipeline,
                                CMTime totalPausedDuration);
    void requestStopAfterFailure();

    void startMicCapture(const std::string& deviceID);
    void stopMicCapture();

    std::mutex frameObserverMutex_;
    FrameObserver frameObserver_;

    // A preparation waiting on its slow steps. A cancel or a start that
    // comes meanwhile waits for `finished`; a cancel first marks it, so that
    // what it builds is taken down instead of kept. Main thread only.
    struct PreparationInFlight {
        bool cancelled = false;
        QFuture<void> finished;
    };
    std::shared_ptr<PreparationInFlight> preparation_;
};

} // namespace vantrel
