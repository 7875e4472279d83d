#include "platform/camera/CameraFrameConverter.h"

#include "platform/camera/MjpegDecoderFFmpeg.h"

#include <libyuv.h>

namespace vantrel {

namespace {

bool convertDecoded(const DecodedPicture& p, uint8_t* dst, int dstStride) {
    using S = DecodedPicture::Subsampling;
    const auto* y = p.planes[0];
    const auto* u = p.planes[1];
    const auto* v = p.planes[2];
    const int ys = p.strides[0], us = p.strides[1], vs = p.strides[2];
    const int w = p.width, h = p.height;
    int result = -1;
    // J* use JPEG's full range, I* video range; both with BT.601 weights, as JPEG has.
    switch (p.subsampling) {
    case S::yuv420:
        result = p.fullRange ? libyuv::J420ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h)
                             : libyuv::I420ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h);
        break;
    case S::yuv422:
        result = p.fullRange ? libyuv::J422ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h)
                             : libyuv::I422ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h);
        break;
    case S::yuv444:
        result = p.fullRange ? libyuv::J444ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h)
                             : libyuv::I444ToARGB(y, ys, u, us, v, vs, dst, dstStride, w, h);
        break;
    }
    return result == 0;
}

} // namespace

CameraFrameConverter::CameraFrameConverter() = default;
CameraFrameConverter::~CameraFrameConverter() = default;

bool CameraFrameConverter::convert(const CameraFrame& frame, bool mirrored, CVPixelBuffer& out,
                                   std::string& error) {
    const int width = frame.format.width;
    const int height = frame.format.height;
    if (out.width() != width || out.height() != height || width <= 0 || height <= 0) {
        error = "Camera frame and picture buffer differ in size";
        return false;
    }
    // Mirroring needs a second pass: convert into the scratch rows first.
    const int scratchStride = width * 4;
    if (mirrored) scratch_.resize(static_cast<size_t>(scratchStride) * height);
    uint8_t* dst = mirrored ? scratch_.data() : out.baseAddress();
    const int dstStride = mirrored ? scratchStride : static_cast<int>(out.bytesPerRow());
    const size_t stride = frame.bytesPerLine;

    bool converted = false;
    switch (frame.format.pixelFormat) {
    case CameraPixelFormat::yuyv:
        if (stride < static_cast<size_t>(width) * 2 || frame.size < stride * height) break;
        converted =
            libyuv::YUY2ToARGB(frame.data, static_cast<int>(stride), dst, dstStride, width, height) == 0;
        break;
    case CameraPixelFormat::nv12: {
        const size_t lumaSize = stride * height;
        if (stride < static_cast<size_t>(width) || frame.size < lumaSize + stride * ((height + 1) / 2)) break;
        converted = libyuv::NV12ToARGB(frame.data, static_cast<int>(stride), frame.data + lumaSize,
                                       static_cast<int>(stride), dst, dstStride, width, height) == 0;
        break;
    }
    case CameraPixelFormat::mjpeg: {
        if (!mjpeg_) mjpeg_ = std::make_unique<MjpegDecoderFFmpeg>();
        DecodedPicture picture;
        if (!mjpeg_->decode(frame.data, frame.size, picture, error)) return false;
        if (picture.width != width || picture.height != height) {
            error = "MJPEG frame is " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                    ", not the size the camera was set to";
            return false;
        }
        converted = convertDecoded(picture, dst, dstStride);
        break;
    }
    }
    if (!converted) {
        if (error.empty()) error = "Camera frame is shorter than its format needs";
        return false;
    }
    if (mirrored)
        libyuv::ARGBMirror(scratch_.data(), scratchStride, out.baseAddress(),
                           static_cast<int>(out.bytesPerRow()), width, height);
    return true;
}

} // namespace vantrel
