#include "RecordingPipeline.h"

#include "platform/SecurityScopedBookmark.h"

#include <QCoro/QCoroFuture>
#include <QFuture>
#include <QPromise>

namespace vantrel {

namespace {

/// Waits, without blocking the main thread, until the writer's file is closed.
QCoro::Task<> finish(std::shared_ptr<AVAssetWriter> writer) {
    if (!writer) co_return;
    auto promise = std::make_shared<QPromise<void>>();
    auto closed = promise->future();
    promise->start();
    writer->finishWritingWithCompletionHandler([promise] { promise->finish(); });
    co_await closed;
}

} // namespace

QCoro::Task<> RecordingPipeline::finishWriting() {
    for (const auto& input : {zoomedVideoInput, zoomedSystemAudioInput, zoomedMicAudioInput, fullVideoInput,
                              fullSystemAudioInput, fullMicAudioInput})
        if (input) input->markAsFinished();

    // Both files close at the same time, not one after the other.
    auto zoomed = finish(zoomedAssetWriter);
    auto full = finish(fullAssetWriter);
    co_await zoomed;
    co_await full;
    releaseResources();
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
