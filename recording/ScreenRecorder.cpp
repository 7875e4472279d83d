#include "ScreenRecorder.h"

#include "recording/BookmarkManager.h"
#include "recording/MainThreadWait.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"

#include "platform/core/ConsoleLine.h"
#include "platform/runtime/Workspace.h"

#include <QCoreApplication>
#include <QPromise>
#include <QScopeGuard>

namespace vantrel {

namespace {

DeviceNotFoundContext microphoneContext() {
    return {QCoreApplication::translate("ScreenRecorder", "Microphone not found.\nRecord without microphone audio?"),
            []() -> QCoro::Task<> {
                // Off before the closure returns: the flow that runs again
                // right after reads the setting at once.
                co_await onMainThread();
                AppSettings::shared()->setEnableMicAudio(false);
            }};
}

DeviceNotFoundContext webcamContext() {
    return {QCoreApplication::translate("ScreenRecorder", "Webcam not found.\nRecord without webcam overlay?"),
            []() -> QCoro::Task<> {
                co_await onMainThread();
                AppSettings::shared()->setShowWebcam(false);
            }};
}

/// A stored device that is gone does not count as missing while a default exists.
bool deviceAvailable(const std::string& selectedID, AVMediaType mediaType) {
    if (!selectedID.empty() && AVCaptureDevice::deviceWithUniqueID(selectedID, mediaType)) return true;
    return AVCaptureDevice::defaultDeviceWithMediaType(mediaType).has_value();
}

} // namespace

std::shared_ptr<ScreenRecorder> ScreenRecorder::create(std::shared_ptr<AppSettingsProvider> appSettings,
                                                       std::shared_ptr<PermissionsProvider> permissionsManager,
                                                       std::shared_ptr<BookmarkProvider> bookmarkManager) {
    // The bookmark store and the display manager come before the settings,
    // which read both.
    if (!bookmarkManager) bookmarkManager = BookmarkManager::shared();
    if (!appSettings) appSettings = AppSettings::shared();
    if (!permissionsManager) permissionsManager = PermissionsManager::shared();
    auto* recorder = new ScreenRecorder(std::move(appSettings), std::move(permissionsManager),
                                        std::move(bookmarkManager));
    // The last reference can go on one of the recorder's own queues (a sample
    // being delivered); a queue cannot join itself, so the recorder is then
    // destroyed on the main thread.
    return std::shared_ptr<ScreenRecorder>(recorder, [](ScreenRecorder* r) {
        if (r->outputQueue->isCurrent() || r->micCaptureQueue->isCurrent())
            DispatchQueue::main().async([r] { delete r; });
        else
            delete r;
    });
}

ScreenRecorder::ScreenRecorder(std::shared_ptr<AppSettingsProvider> appSettings,
                               std::shared_ptr<PermissionsProvider> permissionsManager,
                               std::shared_ptr<BookmarkProvider> bookmarkManager)
    : eventMonitor(std::make_shared<EventMonitor>()),
      cameraManager(std::make_unique<CameraManager>()),
      micCaptureQueue(std::make_unique<DispatchQueue>("com.vantrel.micCaptureQueue", DispatchQoS::userInitiated)),
      outputQueue(std::make_unique<DispatchQueue>("com.vantrel.recorder.outputQueue", DispatchQoS::userInteractive)),
      appSettings(std::move(appSettings)),
      permissionsManager(std::move(permissionsManager)),
      bookmarkManager(std::move(bookmarkManager)) {}

ScreenRecorder::~ScreenRecorder() {
    for (auto token : micSessionObservers)
        NSNotificationCenter::defaultCenter().removeObserver(token);
    // A stream still held here stops in its own destructor; the sample
    // queues are joined before the pipeline they might touch goes.
    if (micCaptureSession) micCaptureQueue->sync([session = micCaptureSession] { session->stopRunning(); });
}

bool ScreenRecorder::isPaused() const {
    return stateLock.withLock([](const RecordingSessionState& s) { return s.recordingState == RecordingState::paused; });
}

bool ScreenRecorder::isCurrentlyRecording() const {
    return stateLock.withLock(
        [](const RecordingSessionState& s) { return s.recordingState != RecordingState::idle; });
}

std::shared_ptr<RecordingPipeline> ScreenRecorder::currentPipeline() const {
    return stateLock.withLock([](const RecordingSessionState& s) { return s.pipeline; });
}

RecordingSessionState ScreenRecorder::sessionStateSnapshot() const {
    return stateLock.withLock([](const RecordingSessionState& s) { return s; });
}

void ScreenRecorder::setFrameObserver(FrameObserver observer) {
    std::lock_guard guard(frameObserverMutex_);
    frameObserver_ = std::move(observer);
}

void ScreenRecorder::validateDevices(const AppSettingsSnapshot& settings) {
    // The microphone first: a user missing both is asked about it first.
    if (settings.enableMicAudio && !deviceAvailable(settings.selectedMicID, AVMediaType::audio))
        throw ScreenRecorderError::deviceNotFound(microphoneContext());
    if (settings.showWebcam && !deviceAvailable(settings.selectedCameraID, AVMediaType::video))
        throw ScreenRecorderError::deviceNotFound(webcamContext());
}

QCoro::Task<> ScreenRecorder::prepareRecording() {
    const bool busy = preparation_ || stateLock.withLock([](const RecordingSessionState& s) {
        return s.recordingState != RecordingState::idle || s.preparedStreamContainer.has_value();
    });
    if (busy) co_return;
    const auto keepAlive = shared_from_this();

    const auto settings = appSettings->makeSnapshot();
    validateDevices(settings);

    auto flight = std::make_shared<PreparationInFlight>();
    auto done = std::make_shared<QPromise<void>>();
    flight->finished = done->future();
    done->start();
    preparation_ = flight;
    // However this ends, whoever waits for it goes on.
    const auto release = qScopeGuard([this, flight, done] {
        if (preparation_ == flight) preparation_.reset();
        done->finish();
    });

    std::shared_ptr<SCStream> stream;
    std::shared_ptr<RecordingPipeline> pipeline;
    try {
        std::tie(stream, pipeline) = co_await startStreamAndPipeline(settings);
    } catch (...) {
        // Taken back meanwhile: nobody is waiting for this error any more.
        if (flight->cancelled) co_return;
        throw;
    }
    if (flight->cancelled) {
        if (pipeline) discardPipeline(pipeline);
        if (stream) co_await stopStream(stream, /*ignoreErrors=*/true);
        co_return;
    }
    if (!stream || !pipeline) co_return;

    stateLock.withLock([&](RecordingSessionState& s) {
        s.preparedStreamContainer = StreamContainer{stream};
        s.pipeline = pipeline;
    });
}

QCoro::Task<> ScreenRecorder::cancelPreparedRecording() {
    if (auto flight = preparation_) {
        flight->cancelled = true;
        co_await QFuture<void>(flight->finished);
    }
    auto [container, pipeline] = stateLock.withLock([](RecordingSessionState& s) {
        auto taken = std::make_pair(std::move(s.preparedStreamContainer), std::move(s.pipeline));
        s.preparedStreamContainer.reset();
        s.pipeline.reset();
        return taken;
    });
    if (pipeline) discardPipeline(pipeline);
    if (container) co_await stopStream(container->stream, /*ignoreErrors=*/true);
}

void ScreenRecorder::discardPipeline(const std::shared_ptr<RecordingPipeline>& pipeline) {
    if (pipeline->zoomedAssetWriter) pipeline->zoomedAssetWriter->cancelWriting();
    if (pipeline->fullAssetWriter) pipeline->fullAssetWriter->cancelWriting();
    pipeline->releaseResources();
}

QCoro::Task<> ScreenRecorder::startRecording() {
    // A countdown that ended before its preparation goes on with what that builds.
    if (auto flight = preparation_) co_await QFuture<void>(flight->finished);
    const auto [state, prepared, preparedPipeline] = stateLock.withLock([](const RecordingSessionState& s) {
        return std::make_tuple(s.recordingState, s.preparedStreamContainer, s.pipeline);
    });
    if (state != RecordingState::idle) co_return;

    AppSettingsSnapshot settings;
    std::shared_ptr<SCStream> stream;
    std::shared_ptr<RecordingPipeline> pipeline;
    if (prepared && preparedPipeline) {
        // Settings changed during the countdown do not count.
        settings = preparedPipeline->settings;
        stream = prepared->stream;
        pipeline = preparedPipeline;
        stateLock.withLock([](RecordingSessionState& s) { s.preparedStreamContainer.reset(); });
    } else {
        settings = appSettings->makeSnapshot();
        validateDevices(settings);
        std::tie(stream, pipeline) = co_await startStreamAndPipeline(settings);
        if (!stream || !pipeline) co_return;
    }

    // From this instant samples count.
    stateLock.withLock([&](RecordingSessionState& s) {
        s.recordingState = RecordingState::recording;
        s.pauseStartTime = CMTime::invalid();
        s.totalPausedDuration = CMTime::zero();
        s.sessionStartTime = CMTime::invalid();
        s.activeStreamContainer = StreamContainer{stream};
        s.pipeline = pipeline;
    });

    std::exception_ptr deviceError;
    try {
        if (settings.showWebcam) {
            if (co_await permissionsManager->requestCameraPermission())
                cameraManager->startCapture(settings.selectedCameraID);
            else
                printLine("⚠️ カメラ権限がないためWebカメラPiPは無効です");
        }
        if (settings.enableMicAudio) startMicCapture(settings.selectedMicID);
    } catch (...) {
        deviceError = std::current_exception();
    }
    if (deviceError) {
        // The shell goes back to idle without a stop when a device fails
        // here, so the recording is taken back as if it never began: the
        // files of the fraction of a second written are discarded.
        co_await takeBackStartedRecording();
        std::rethrow_exception(deviceError);
    }

    eventMonitor->setTargetDisplayID(settings.selectedDisplayID);
    eventMonitor->startMonitoring();
}

QCoro::Task<> ScreenRecorder::takeBackStartedRecording() {
    auto [activeStream, activePipeline] = stateLock.withLock([](RecordingSessionState& s) {
        auto taken = std::make_pair(std::move(s.activeStreamContainer), std::move(s.pipeline));
        s = RecordingSessionState{};
        return taken;
    });
    if (activeStream) co_await stopStream(activeStream->stream, /*ignoreErrors=*/true);
    co_await drainQueue(*outputQueue);
    cameraManager->stopCapture();
    stopMicCapture();
    if (activePipeline) discardPipeline(activePipeline);
}

void ScreenRecorder::pause() {
    stateLock.withLock([](RecordingSessionState& s) {
        if (s.recordingState != RecordingState::recording) return;
        s.pauseStartTime = CMClockGetHostTime();
        s.recordingState = RecordingState::paused;
    });
    printLine("⏸ Recording paused");
}

void ScreenRecorder::resume() {
    stateLock.withLock([](RecordingSessionState& s) {
        if (s.recordingState != RecordingState::paused) return;
        s.totalPausedDuration = s.totalPausedDuration + (CMClockGetHostTime() - s.pauseStartTime);
        s.pauseStartTime = CMTime::invalid();
        s.recordingState = RecordingState::recording;
    });
    printLine("▶ Recording resumed");
}

QCoro::Task<> ScreenRecorder::stopRecording() {
    const auto [state, container, pipeline] = stateLock.withLock([](const RecordingSessionState& s) {
        return std::make_tuple(s.recordingState, s.activeStreamContainer, s.pipeline);
    });
    if (state == RecordingState::idle) co_return;

    // From here every sample is discarded.
    stateLock.withLock([](RecordingSessionState& s) {
        s.recordingState = RecordingState::idle;
        s.activeStreamContainer.reset();
        s.pipeline.reset();
        s.isStopTriggeredByFailure = false;
    });

    std::exception_ptr stopError;
    if (container) {
        try {
            co_await stopStream(container->stream, /*ignoreErrors=*/false);
        } catch (...) {
            // The caller shows this error, but the files are still finished
            // and the devices stopped: nothing recorded is lost.
            stopError = std::current_exception();
        }
    }
    co_await finishStop(pipeline);
    if (stopError) std::rethrow_exception(stopError);
}

QCoro::Task<> ScreenRecorder::finishStop(std::shared_ptr<RecordingPipeline> pipeline) {
    // After this no stream sample handler is running.
    co_await drainQueue(*outputQueue);
    eventMonitor->stopMonitoring();
    cameraManager->stopCapture();
    stopMicCapture();
    if (!pipeline) co_return;

    // A microphone sample that passed its state test just before the stop
    // may still be appending; it has ended once the queue has run this.
    co_await drainQueue(*micCaptureQueue);
    // Awaited on a line of its own: with GCC 12 a co_await inside the if crashed on resume.
    const bool saved = co_await pipeline->finishWriting();
    if (!saved) {
        printLine("Nothing was recorded before the stop, so no file was saved.");
        co_return;
    }
    printLine("Recording saved successfully.");
    if (pipeline->settings.openFinderAfterRecording)
        NSWorkspace::openURL(pipeline->settings.saveDirectoryURL.path.string());
}

QCoro::Task<> ScreenRecorder::stopStream(const std::shared_ptr<SCStream>& stream, bool ignoreErrors) {
    try {
        co_await stream->stopCapture();
    } catch (...) {
        if (!ignoreErrors) throw;
    }
    const auto self = std::static_pointer_cast<SCStreamOutput>(shared_from_this());
    // Removing the audio output of a stream that has none is normal.
    stream->removeStreamOutput(self, SCStreamOutputType::screen, nullptr);
    stream->removeStreamOutput(self, SCStreamOutputType::audio, nullptr);
}

void ScreenRecorder::requestStopAfterFailure() {
    // Runs as a task of its own on the main thread; the shell did not ask
    // for it and hears nothing of it.
    DispatchQueue::main().async([weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        [](std::shared_ptr<ScreenRecorder> recorder) -> QCoro::Task<> {
            try {
                co_await recorder->stopRecording();
            } catch (...) {
            }
        }(self);
    });
}

void ScreenRecorder::streamDidOutputSampleBuffer(SCStream&, const CMSampleBufferRef& sampleBuffer,
                                                 SCStreamOutputType type) {
    handleStreamSample(sampleBuffer, type);
}

void ScreenRecorder::streamDidStopWithError(SCStream&, const NSError&) {}

} // namespace vantrel
