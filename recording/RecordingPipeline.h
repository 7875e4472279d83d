#pragma once
// The output half of one recording: the zoomed writer (always) and the
// full-screen writer (when asked for), each with a video input and its
// adaptor and up to two audio inputs (system audio, microphone), plus the
// session's frame engine, its settings snapshot and its folder access.
//
// The fields are set once before the pipeline is published in the session
// state and emptied once by releaseResources(), after the state has left
// recording and the sample queue has been drained; so the sample handlers read
// them without a lock. Made, finished and destroyed on the main thread.

#include "engine/FrameInputs.h"
#include "engine/VideoProcessor.h"
#include "platform/writer/AssetWriter.h"

#include <QCoro/QCoroTask>
#include <memory>
#include <optional>

namespace vantrel {

class RecordingPipeline {
public:
    explicit RecordingPipeline(AppSettingsSnapshot settings) : settings(std::move(settings)) {}

    /// Marks every input finished, closes both files at once, then releases.
    /// True when the main file is on disk: a recording stopped before its
    /// first picture leaves none.
    QCoro::Task<bool> finishWriting();
    /// Ends the folder access, cleans up the frame engine, drops the writers.
    void releaseResources();

    /// Readable after releaseResources: the end of a stop still needs it.
    const AppSettingsSnapshot settings;
    std::shared_ptr<VideoProcessor> videoProcessor;
    std::optional<URL> scopedDirectoryURL;

    std::shared_ptr<AVAssetWriter> zoomedAssetWriter;
    std::shared_ptr<AVAssetWriterInput> zoomedVideoInput;
    std::shared_ptr<AVAssetWriterInput> zoomedSystemAudioInput;
    std::shared_ptr<AVAssetWriterInput> zoomedMicAudioInput;
    std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor> zoomedPixelBufferAdaptor;

    std::shared_ptr<AVAssetWriter> fullAssetWriter;
    std::shared_ptr<AVAssetWriterInput> fullVideoInput;
    std::shared_ptr<AVAssetWriterInput> fullSystemAudioInput;
    std::shared_ptr<AVAssetWriterInput> fullMicAudioInput;
    std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor> fullPixelBufferAdaptor;
};

} // namespace vantrel
