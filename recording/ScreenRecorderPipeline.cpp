// Building the writers of one recording.

#include "ScreenRecorder.h"

#include "recording/RecordingOutputSettings.h"
#include "recording/SaveLocation.h"

#include "platform/core/ConsoleLine.h"
#include "platform/runtime/SecurityScopedBookmark.h"

#include <algorithm>

namespace vantrel {

namespace {

struct WriterSet {
    std::shared_ptr<AVAssetWriter> writer;
    std::shared_ptr<AVAssetWriterInput> videoInput;
    std::shared_ptr<AVAssetWriterInput> systemAudioInput;
    std::shared_ptr<AVAssetWriterInput> micAudioInput;
    std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor> adaptor;
};

std::shared_ptr<AVAssetWriterInput> makeInput(AVMediaType mediaType, AVOutputSettings settings) {
    auto input = AVAssetWriterInput::initWithMediaType(mediaType, std::move(settings));
    if (input) input->expectsMediaDataInRealTime = true;
    return input;
}

/// A writer with its inputs added and writing; absent with `error` set when
/// the file cannot be created.
std::optional<WriterSet> makeWriterSet(const URL& url, const AppSettingsSnapshot& settings,
                                       const VideoOutputSettings& videoSettings,
                                       const PixelBufferAttributes& attributes,
                                       const std::optional<AudioOutputSettings>& audioSettings, size_t queueMemory,
                                       NSError& error) {
    WriterSet set;
    set.writer = AVAssetWriter::initWithURL(url, AVFileType::mpeg4, &error);
    if (!set.writer) return std::nullopt;

    set.videoInput = makeInput(AVMediaType::video, videoSettings);
    if (set.videoInput) set.videoInput->setVideoQueueMemory(queueMemory);
    set.adaptor = AVAssetWriterInputPixelBufferAdaptor::initWithAssetWriterInput(set.videoInput, attributes);
    if (settings.enableSystemAudio && audioSettings)
        set.systemAudioInput = makeInput(AVMediaType::audio, *audioSettings);
    if (settings.enableMicAudio && audioSettings) set.micAudioInput = makeInput(AVMediaType::audio, *audioSettings);

    // An input that cannot be added is left out without a word; the file has one track less.
    for (const auto& input : {set.videoInput, set.systemAudioInput, set.micAudioInput})
        if (input && set.writer->canAddInput(*input)) set.writer->addInput(input);
    // A writer that cannot start (no encoder for this size, a full disk)
    // is said now, in one line, not found later as a file that never came.
    if (!set.writer->startWriting()) {
        error = set.writer->error();
        return std::nullopt;
    }
    return set;
}

// The encoders' queues carry bursts (a scroll, the start) across, up to
// half a second of 1080p each, with what a recording's memory budget leaves
// after the rest: the program, and per pixel of the picture each x265
// encoder's own pictures (about 60 bytes, counted as 64) and the capture
// and engine buffers (two grabbed frames and one rendered one: 12). Two
// 1080p files leave almost nothing, and each keeps a few frames:
// two encoders sharing two cores cannot keep up with a busy screen, and a
// long queue would only stay full. Two 720p files still get half a second.
size_t encoderQueueMemory(int width, int height, int files) {
    constexpr size_t kRecordingMemory = 350u << 20;
    constexpr size_t kProgramMemory = 52u << 20;
    constexpr size_t kEncoderBytesPerPixel = 64;
    constexpr size_t kBufferBytesPerPixel = 12;
    constexpr size_t kMaxQueueMemory = 96u << 20;
    const size_t pixels = size_t(std::max(width, 0)) * size_t(std::max(height, 0));
    const size_t taken = kProgramMemory + pixels * (kEncoderBytesPerPixel * size_t(files) + kBufferBytesPerPixel);
    const size_t left = taken < kRecordingMemory ? kRecordingMemory - taken : 0;
    return std::min(kMaxQueueMemory, left / size_t(files));
}

} // namespace

std::shared_ptr<RecordingPipeline> ScreenRecorder::makePipeline(int width, int height,
                                                                const AppSettingsSnapshot& settings,
                                                                std::shared_ptr<VideoProcessor> videoProcessor) {
    const auto files = chooseRecordingFiles(settings, *bookmarkManager);

    const auto videoSettings = recordingVideoSettings(width, height);
    const auto attributes = recordingPixelBufferAttributes(width, height);
    std::optional<AudioOutputSettings> audioSettings;
    if (settings.enableMicAudio || settings.enableSystemAudio) audioSettings = recordingAudioSettings();

    const size_t queueMemory = encoderQueueMemory(width, height, files.fullURL ? 2 : 1);
    NSError error;
    auto zoomed = makeWriterSet(files.zoomedURL, settings, videoSettings, attributes, audioSettings, queueMemory, error);
    std::optional<WriterSet> full;
    if (zoomed && files.fullURL) {
        full = makeWriterSet(*files.fullURL, settings, videoSettings, attributes, audioSettings, queueMemory, error);
        // The zoomed writer has begun already; a recording that never
        // starts leaves no file and no open folder access behind.
        if (!full) zoomed->writer->cancelWriting();
    }
    if (!zoomed || (files.fullURL && !full)) {
        if (files.scopedDirectoryURL) stopAccessingSecurityScopedResource(*files.scopedDirectoryURL);
        printLine("Failed to setup asset writer: " + error.localizedDescription);
        return nullptr;
    }

    auto pipeline = std::make_shared<RecordingPipeline>(settings);
    pipeline->videoProcessor = std::move(videoProcessor);
    pipeline->scopedDirectoryURL = files.scopedDirectoryURL;
    pipeline->zoomedAssetWriter = zoomed->writer;
    pipeline->zoomedVideoInput = zoomed->videoInput;
    pipeline->zoomedSystemAudioInput = zoomed->systemAudioInput;
    pipeline->zoomedMicAudioInput = zoomed->micAudioInput;
    pipeline->zoomedPixelBufferAdaptor = zoomed->adaptor;
    if (full) {
        pipeline->fullAssetWriter = full->writer;
        pipeline->fullVideoInput = full->videoInput;
        pipeline->fullSystemAudioInput = full->systemAudioInput;
        pipeline->fullMicAudioInput = full->micAudioInput;
        pipeline->fullPixelBufferAdaptor = full->adaptor;
    }
    return pipeline;
}

} // namespace vantrel
