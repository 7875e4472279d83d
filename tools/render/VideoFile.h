#pragma once
// Rendered frames into an MP4 with our own writer (HEVC, no sound), as
// fast as the encoder takes them: unlike a recording, nothing is dropped.

#include "platform/core/CMTime.h"
#include "platform/core/PixelBuffer.h"

#include <filesystem>
#include <memory>

namespace vantrel {
class AVAssetWriter;
class AVAssetWriterInput;
class AVAssetWriterInputPixelBufferAdaptor;
} // namespace vantrel

namespace vantrel::tools {

class VideoFile {
public:
    /// Throws std::runtime_error when the file cannot be set up.
    VideoFile(const std::filesystem::path& path, int width, int height, int framesPerSecond);
    ~VideoFile();
    void append(const CVPixelBufferRef& frame, CMTime presentationTime);
    /// Writes the index; throws when the file did not come out whole.
    void finish();

private:
    std::shared_ptr<AVAssetWriter> writer_;
    std::shared_ptr<AVAssetWriterInput> input_;
    std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor> adaptor_;
    bool started_ = false;
};

} // namespace vantrel::tools
