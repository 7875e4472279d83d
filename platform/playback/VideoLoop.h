#pragma once
// A short, silent video played over and over (the dashboard's demos): each
// call hands out the next picture as BGRA, and after the last one the video
// starts again from its first. The backend decodes with FFmpeg; the fake
// makes numbered pictures for tests. One thread at a time.

#include "platform/core/PixelBuffer.h"

#include <filesystem>
#include <memory>
#include <string>

namespace vantrel {

class VideoLoop {
public:
    virtual ~VideoLoop() = default;
    /// The next picture (from a pool: keep it only as long as needed) and its
    /// time from the start of the video, in seconds; null once the file
    /// cannot be decoded any further.
    virtual CVPixelBufferRef nextFrame(double& presentationSeconds) = 0;
    /// Pictures a second, as the file states it.
    virtual double frameRate() const = 0;
    /// How many times it went back to the start.
    virtual int restarts() const = 0;
};

/// The video stream of `path` with libavcodec; null with `error` set when the
/// file is missing or holds no video it can decode.
std::unique_ptr<VideoLoop> openVideoLoopFFmpeg(const std::filesystem::path& path, std::string& error);

/// `frameCount` pictures of `width` by `height`, each filled with a grey of its
/// own index (0, 1, 2, ... in every channel), at `rate` a second.
class VideoLoopFake final : public VideoLoop {
public:
    VideoLoopFake(int width, int height, int frameCount, double rate);
    CVPixelBufferRef nextFrame(double& presentationSeconds) override;
    double frameRate() const override { return rate_; }
    int restarts() const override { return restarts_; }

private:
    int width_, height_, frameCount_;
    double rate_;
    int next_ = 0;
    int restarts_ = 0;
};

} // namespace vantrel
