#include "RecordingPipeline.h"

#include "platform/runtime/SecurityScopedBookmark.h"
#include "recording/MainThreadWait.h"

#include <filesystem>

namespace vantrel {

namespace {

/// Waits, without blocking the main thread, until the writer's file is closed.
QCoro::Task<> finish(std::shared_ptr<AVAssetWriter> writer) {
    if (!writer) co_return;
    co_await waitUntilDone(
        [&writer](std::function<void()> done) { writer->finishWritingWithCompletionHandler(std::move(done)); });
}

} // namespace

QCoro::Task<bool> RecordingPipeline::finishWriting() {
    for (const auto& input : {zoomedVideoInput, zoomedSystemAudioInput, zoomedMicAudioInput, fullVideoInput,
                              fullSystemAudioInput, fullMicAudioInput})
        if (input) input->markAsFinished();

    // Both files close at the same time, not one after the other.
    auto zoomed = finish(zoomedAssetWriter);
    auto full = finish(fullAssetWriter);
    co_await zoomed;
    co_await full;
    std::error_code ignored;
    const bool saved = zoomedAssetWriter && std::filesystem::exists(zoomedAssetWriter->outputURL().path, ignored);
    releaseResources();
    co_return saved;
}

void RecordingPipeline::releaseResources() {
    if (scopedDirectoryURL) {
        stopAccessingSecurityScopedResource(*scopedDirectoryURL);
        scopedDirectoryURL.reset();
    }
    if (videoProcessor) {
        videoProcessor->cleanup();
        videoProcessor.reset();
    }
    zoomedAssetWriter.reset();
    zoomedVideoInput.reset();
    zoomedSystemAudioInput.reset();
    zoomedMicAudioInput.reset();
    zoomedPixelBufferAdaptor.reset();
    fullAssetWriter.reset();
    fullVideoInput.reset();
    fullSystemAudioInput.reset();
    fullMicAudioInput.reset();
    fullPixelBufferAdaptor.reset();
}

} // namespace vantrel
