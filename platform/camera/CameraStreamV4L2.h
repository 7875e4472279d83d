#pragma once
// A V4L2 camera node streaming through mmap buffers: the formats we can
// convert (YUYV, NV12, MJPEG) and their sizes, one format set, frames taken
// with poll() so that the capture thread sleeps between frames. The node is
// opened when the stream is made and closed when it goes.

#include "platform/camera/CameraStream.h"

namespace vantrel {

class CameraStreamV4L2 final : public CameraStream {
public:
    /// Null with `error` set (e.g. "Cannot open /dev/video3: No such file or
    /// directory") when the node is missing, no V4L2 node, or cannot stream video.
    static std::unique_ptr<CameraStreamV4L2> open(const std::string& node, std::string& error);
    ~CameraStreamV4L2() override;

    std::vector<CameraFormat> supportedFormats() const override { return formats_; }
    bool configure(const CameraFormat& format, int maxFramesPerSecond, std::string& error) override;
    CameraFormat format() const override { return format_; }
    bool start(std::string& error) override;
    CameraReadResult waitForFrame(int timeoutMs, const Consume& consume) override;
    void stop() override;
    void wake() override;

    static constexpr int kBufferCount = 4;

private:
    struct Buffer {
        void* start = nullptr;
        size_t length = 0;
    };
    CameraStreamV4L2(std::string node, int fd, int wakeFd);
    void releaseBuffers();

    std::string node_;
    int fd_;
    int wakeFd_;
    std::vector<CameraFormat> formats_;
    CameraFormat format_;
    size_t bytesPerLine_ = 0;
    std::vector<Buffer> buffers_;
    bool streaming_ = false;
};

} // namespace vantrel
