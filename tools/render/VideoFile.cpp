#include "VideoFile.h"

#include "FinishWriting.h"

#include "platform/writer/AssetWriter.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace vantrel::tools {

VideoFile::VideoFile(const std::filesystem::path& path, int width, int height, int framesPerSecond) {
    std::filesystem::remove(path);
    NSError error;
    writer_ = AVAssetWriter::initWithURL(URL{path}, AVFileType::mpeg4, &error);
    if (!writer_) throw std::runtime_error(path.string() + ": " + error.localizedDescription);
    VideoOutputSettings video;
    video.width = width;
    video.height = height;
    // The same encoder on every machine, and small files: these are short loops shown small.
    video.compression.usingHardwareAcceleratedVideoEncoder = false;
    video.compression.expectedSourceFrameRate = framesPerSecond;
    video.compression.quality = 0.7;
    input_ = AVAssetWriterInput::initWithMediaType(AVMediaType::video, video);
    adaptor_ = AVAssetWriterInputPixelBufferAdaptor::initWithAssetWriterInput(
        input_, PixelBufferAttributes{kCVPixelFormatType_32BGRA, width, height});
    writer_->addInput(input_);
    if (!writer_->startWriting())
        throw std::runtime_error(path.string() + ": " + writer_->error().localizedDescription);
}

VideoFile::~VideoFile() = default;

void VideoFile::append(const CVPixelBufferRef& frame, CMTime presentationTime) {
    if (!started_) {
        writer_->startSessionAtSourceTime(presentationTime);
        started_ = true;
    }
    // Offline: wait for the encoder rather than drop.
    while (!input_->isReadyForMoreMediaData()) {
        if (writer_->status() == AVAssetWriterStatus::failed)
            throw std::runtime_error("the writer failed: " + writer_->error().localizedDescription);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    adaptor_->appendPixelBuffer(frame, presentationTime);
}

void VideoFile::finish() {
    input_->markAsFinished();
    finishWritingAndWait(*writer_);
    if (writer_->status() != AVAssetWriterStatus::completed)
        throw std::runtime_error("the video was not finished: " + writer_->error().localizedDescription);
}

} // namespace vantrel::tools
