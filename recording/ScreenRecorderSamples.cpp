// The two sample handlers: the only code that feeds the writers, and the
// time model of the whole recording.
//
// Every time here is a host-clock time. The first valid stream sample of a
// recording, screen or system audio, fixes the session start at its own
// presentation time; every sample written is stamped with its own time minus
// the pauses so far, so the gap of a pause closes up in the file and all
// tracks shift by the same amount. The microphone never starts the session.

#include "ScreenRecorder.h"

namespace vantrel {

namespace {

struct SampleContext {
    RecordingState recordingState;
    CMTime totalPausedDuration;
    CMTime sessionStartTime;
    std::shared_ptr<RecordingPipeline> pipeline;
};

void appendIfReady(const std::shared_ptr<AVAssetWriterInput>& input, const CMSampleBufferRef& sample) {
    if (input && input->isReadyForMoreMediaData()) input->appendSampleBuffer(sample);
}

} // namespace

void ScreenRecorder::handleStreamSample(const CMSampleBufferRef& sampleBuffer, SCStreamOutputType type) {
    if (!CMSampleBufferIsValid(sampleBuffer)) return;

    const auto context = stateLock.withLock([](const RecordingSessionState& s) {
        return SampleContext{s.recordingState, s.totalPausedDuration, s.sessionStartTime, s.pipeline};
    });
    if (context.recordingState != RecordingState::recording || !context.pipeline) return;
    auto& pipeline = *context.pipeline;
    const CMTime pts = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);

    CMTime sessionStart = context.sessionStartTime;
    if (!sessionStart.isValid()) {
        // Checked and set in one section, so that the session starts once.
        sessionStart = stateLock.withLock([&](RecordingSessionState& s) {
            if (!s.sessionStartTime.isValid()) s.sessionStartTime = pts;
            return s.sessionStartTime;
        });
        if (sessionStart == pts) {
            pipeline.zoomedAssetWriter->startSessionAtSourceTime(pts);
            if (pipeline.fullAssetWriter) pipeline.fullAssetWriter->startSessionAtSourceTime(pts);
        }
    }
    if (!sessionStart.isValid() || pts < sessionStart) return;

    if (pipeline.zoomedAssetWriter->status() == AVAssetWriterStatus::failed) {
        // Only the zoomed writer is watched; one stop per failure.
        const bool alreadyAsked = stateLock.withLock([](RecordingSessionState& s) {
            const bool asked = s.isStopTriggeredByFailure;
            s.isStopTriggeredByFailure = true;
            return asked;
        });
        if (!alreadyAsked) requestStopAfterFailure();
        return;
    }

    const bool paused = context.totalPausedDuration > CMTime::zero();
    const CMTime adjustedTime = paused ? pts - context.totalPausedDuration : pts;

    switch (type) {
    case SCStreamOutputType::audio:
        writeSystemAudioSample(sampleBuffer, pipeline, context.totalPausedDuration);
        break;
    case SCStreamOutputType::screen:
        writeVideoSample(sampleBuffer, pipeline, adjustedTime);
        break;
    }
}

void ScreenRecorder::writeSystemAudioSample(CMSampleBufferRef sampleBuffer, RecordingPipeline& pipeline,
                                            CMTime totalPausedDuration) {
    // While nothing was paused the sample goes on as it came, without a copy.
    if (totalPausedDuration > CMTime::zero()) {
        sampleBuffer = retimedSampleBuffer(sampleBuffer, totalPausedDuration);
        if (!sampleBuffer) return;
    }
    appendIfReady(pipeline.zoomedSystemAudioInput, sampleBuffer);
    appendIfReady(pipeline.fullSystemAudioInput, sampleBuffer);
}

void ScreenRecorder::writeVideoSample(const CMSampleBufferRef& sampleBuffer, RecordingPipeline& pipeline,
                                      CMTime adjustedTime) {
    const AppSettingsSnapshot& settings = pipeline.settings;
    const EventState state = eventMonitor->currentState();
    std::optional<CIImage> cameraFrame;
    if (settings.showWebcam) cameraFrame = cameraManager->latestFrame();

    CVPixelBufferRef frame;
    if (pipeline.videoProcessor)
        frame = pipeline.videoProcessor->process(sampleBuffer, state, settings, cameraFrame);
    if (frame) {
        // The engine ran before this test, so its camera keeps moving through a drop.
        const bool written = pipeline.zoomedVideoInput->isReadyForMoreMediaData() &&
                             pipeline.zoomedPixelBufferAdaptor->appendPixelBuffer(frame, adjustedTime);
        std::lock_guard guard(frameObserverMutex_);
        if (frameObserver_) frameObserver_(adjustedTime, *pipeline.videoProcessor, written);
    }
    // The full file takes the captured picture as it is, whatever the zoomed one did.
    if (settings.saveFullScreenBackup && pipeline.fullVideoInput && pipeline.fullVideoInput->isReadyForMoreMediaData()) {
        if (auto captured = CMSampleBufferGetImageBuffer(sampleBuffer))
            pipeline.fullPixelBufferAdaptor->appendPixelBuffer(captured, adjustedTime);
    }
}

void ScreenRecorder::handleMicSample(const CMSampleBufferRef& sampleBuffer) {
    if (!CMSampleBufferIsValid(sampleBuffer)) return;
    const CMTime pts = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);
    const auto context = stateLock.withLock([](const RecordingSessionState& s) {
        return SampleContext{s.recordingState, s.totalPausedDuration, s.sessionStartTime, s.pipeline};
    });
    if (context.recordingState != RecordingState::recording || !context.pipeline ||
        !context.sessionStartTime.isValid())
        return;
    if (pts < context.sessionStartTime) return;

    CMSampleBufferRef sample = sampleBuffer;
    if (context.totalPausedDuration > CMTime::zero()) {
        sample = retimedSampleBuffer(sampleBuffer, context.totalPausedDuration);
        if (!sample) return;
    }
    appendIfReady(context.pipeline->zoomedMicAudioInput, sample);
    appendIfReady(context.pipeline->fullMicAudioInput, sample);
}

CMSampleBufferRef ScreenRecorder::retimedSampleBuffer(const CMSampleBufferRef& sampleBuffer, CMTime offset) {
    if (!sampleBuffer || sampleBuffer->timing().empty()) return nullptr;
    auto timing = sampleBuffer->timing();
    for (auto& entry : timing) {
        entry.presentationTimeStamp = entry.presentationTimeStamp - offset;
        if (entry.decodeTimeStamp.isValid()) entry.decodeTimeStamp = entry.decodeTimeStamp - offset;
    }
    return sampleBuffer->copyWithNewTiming(std::move(timing));
}

} // namespace vantrel
