#pragma once
// One JPEG picture (a frame of an MJPEG camera) to planar YUV, with
// libavcodec's MJPEG decoder, which knows the odd JPEGs cameras send
// (missing Huffman tables included).

#include <cstddef>
#include <cstdint>
#include <string>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace vantrel {

/// Planes of a decoded picture; valid until the next decode.
struct DecodedPicture {
    enum class Subsampling { yuv420, yuv422, yuv444 };
    const uint8_t* planes[3] = {};
    int strides[3] = {};
    int width = 0;
    int height = 0;
    Subsampling subsampling = Subsampling::yuv420;
    /// JPEG's full range (0–255) rather than video range.
    bool fullRange = true;
};

class MjpegDecoderFFmpeg {
public:
    MjpegDecoderFFmpeg();
    ~MjpegDecoderFFmpeg();
    MjpegDecoderFFmpeg(const MjpegDecoderFFmpeg&) = delete;
    MjpegDecoderFFmpeg& operator=(const MjpegDecoderFFmpeg&) = delete;

    /// False with `error` set when the bytes are no picture we can use
    /// (damaged, or a pixel layout other than the three above).
    bool decode(const uint8_t* data, size_t size, DecodedPicture& picture, std::string& error);

private:
    AVCodecContext* context_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
};

} // namespace vantrel
