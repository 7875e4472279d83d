#include "platform/camera/MjpegDecoderFFmpeg.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/error.h>
#include <libavutil/pixfmt.h>
}

namespace vantrel {

namespace {

std::string describe(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace

MjpegDecoderFFmpeg::MjpegDecoderFFmpeg() {
    if (const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG)) {
        context_ = avcodec_alloc_context3(codec);
        // One picture in, one out: no frame threads that would delay output.
        if (context_) context_->thread_count = 1;
        if (context_ && avcodec_open2(context_, codec, nullptr) < 0) avcodec_free_context(&context_);
    }
    frame_ = av_frame_alloc();
    packet_ = av_packet_alloc();
}

MjpegDecoderFFmpeg::~MjpegDecoderFFmpeg() {
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    avcodec_free_context(&context_);
}

bool MjpegDecoderFFmpeg::decode(const uint8_t* data, size_t size, DecodedPicture& picture,
                                std::string& error) {
    if (!context_ || !frame_ || !packet_) {
        error = "The MJPEG decoder is not available";
        return false;
    }
    // The packet only borrows the camera's bytes; the decoder copies what it keeps.
    packet_->data = const_cast<uint8_t*>(data);
    packet_->size = static_cast<int>(size);
    int result = avcodec_send_packet(context_, packet_);
    if (result >= 0) result = avcodec_receive_frame(context_, frame_);
    if (result < 0) {
        error = "MJPEG frame could not be decoded: " + describe(result);
        return false;
    }
    switch (frame_->format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUV420P:
        picture.subsampling = DecodedPicture::Subsampling::yuv420;
        break;
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUV422P:
        picture.subsampling = DecodedPicture::Subsampling::yuv422;
        break;
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUV444P:
        picture.subsampling = DecodedPicture::Subsampling::yuv444;
        break;
    default:
        error = "MJPEG frame has an unsupported pixel layout";
        return false;
    }
    picture.fullRange = frame_->format == AV_PIX_FMT_YUVJ420P || frame_->format == AV_PIX_FMT_YUVJ422P ||
                        frame_->format == AV_PIX_FMT_YUVJ444P || frame_->color_range == AVCOL_RANGE_JPEG;
    for (int plane = 0; plane < 3; ++plane) {
        picture.planes[plane] = frame_->data[plane];
        picture.strides[plane] = frame_->linesize[plane];
    }
    picture.width = frame_->width;
    picture.height = frame_->height;
    return true;
}

} // namespace vantrel
