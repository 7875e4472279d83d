#pragma once
// Camera frames to the BGRA pixel buffers of the frame path: YUYV and NV12
// with libyuv, MJPEG decoded by libavcodec first. Optionally mirrored, as the
// picture of a camera pointing at the user is shown (left stays left).
//
// One converter per stream, used from one thread at a time: it keeps the
// MJPEG decoder and a scratch row buffer between frames.

#include "platform/camera/CameraStream.h"
#include "platform/core/PixelBuffer.h"

#include <memory>
#include <string>
#include <vector>

namespace vantrel {

class MjpegDecoderFFmpeg;

class CameraFrameConverter {
public:
    CameraFrameConverter();
    ~CameraFrameConverter();
    CameraFrameConverter(const CameraFrameConverter&) = delete;
    CameraFrameConverter& operator=(const CameraFrameConverter&) = delete;

    /// Fills `out`, which has the frame's size. False with `error` set when the
    /// bytes are too few for the format or the JPEG cannot be decoded; `out`
    /// is then unspecified.
    bool convert(const CameraFrame& frame, bool mirrored, CVPixelBuffer& out, std::string& error);

private:
    std::unique_ptr<MjpegDecoderFFmpeg> mjpeg_;
    std::vector<uint8_t> scratch_;
};

} // namespace vantrel
