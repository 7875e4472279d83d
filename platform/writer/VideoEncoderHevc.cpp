#include "platform/writer/VideoEncoderHevc.h"

#include "platform/image/BgraToYuv709.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>
#include <vector>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

namespace vantrel {
namespace {

constexpr const char* kRenderNode = "/dev/dri/renderD128";
constexpr int kHardwarePoolFrames = 8;

// Screen recordings are mostly text and flat areas: below about CRF 18 x265
// spends bits on noise nobody sees, above about 26 small text smears on a
// pan. A quality of 0.82 (the recorder's setting) lands on CRF 24: text stays
// sharp at a few Mbit/s with preset ultrafast, and the encoder keeps up with
// far more frames of a busy 1080p screen than at CRF 20 (entropy coding of
// the extra coefficients is most of x265's time). The ends of the scale reach
// CRF 18 (best) and 51 (smallest). These are the rates of an encoder that
// looks two pictures ahead; x265 with its lookahead of one is shifted to
// match (below).
constexpr double kCrfAtBestQuality = 18.0;
constexpr double kCrfAtWorstQuality = 51.0;
constexpr double kShortLookaheadCrfShift = 2.0;

AVColorPrimaries primariesOf(const std::string& name) {
    if (name == AVVideoColorPrimaries_P3_D65) return AVCOL_PRI_SMPTE432;
    if (name == AVVideoColorPrimaries_ITU_R_709_2) return AVCOL_PRI_BT709;
    return AVCOL_PRI_UNSPECIFIED;
}

AVColorTransferCharacteristic transferOf(const std::string& name) {
    return name == AVVideoTransferFunction_ITU_R_709_2 ? AVCOL_TRC_BT709 : AVCOL_TRC_UNSPECIFIED;
}

AVColorSpace matrixOf(const std::string& name) {
    return name == AVVideoYCbCrMatrix_ITU_R_709_2 ? AVCOL_SPC_BT709 : AVCOL_SPC_UNSPECIFIED;
}

AVCodecContext* makeContext(const AVCodec* codec, const VideoOutputSettings& settings) {
    AVCodecContext* c = avcodec_alloc_context3(codec);
    if (!c) return nullptr;
    const auto& compression = settings.compression;
    const int rate = compression.expectedSourceFrameRate > 0 ? compression.expectedSourceFrameRate : 60;
    c->width = settings.width;
    c->height = settings.height;
    c->time_base = VideoEncoderHevc::kTimeBase;
    c->framerate = AVRational{rate, 1};
    c->pix_fmt = AV_PIX_FMT_YUV420P;
    c->color_primaries = primariesOf(settings.color.colorPrimaries);
    c->color_trc = transferOf(settings.color.transferFunction);
    c->colorspace = matrixOf(settings.color.yCbCrMatrix);
    c->color_range = AVCOL_RANGE_MPEG;
    c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // The frame-counted interval only backs up the forced key frames, which
    // count time: at the expected rate the two agree.
    c->gop_size = std::max(1, static_cast<int>(std::lround(compression.maxKeyFrameIntervalDuration * rate)));
    c->max_b_frames = 0;
    return c;
}

AVCodecContext* openX265(const VideoOutputSettings& settings) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx265");
    AVCodecContext* c = codec ? makeContext(codec, settings) : nullptr;
    if (!c) return nullptr;
    const auto& compression = settings.compression;
    av_opt_set(c->priv_data, "preset", "ultrafast", 0);
    // No B-frames (a fragmented file cannot shift their reordering with an
    // edit list) but two frame threads: zerolatency's single frame thread
    // left a core idle and cost a third of the frames of a busy screen.
    // A lookahead of one picture: each picture x265 looks ahead at holds
    // about 6 MB of a 1080p encoder, and two encoders must fit in the
    // recording's memory. On screen content one picture gives the same
    // quality for the same bits as two, only a step lower on the same
    // curve: about 10 % fewer bits and 1.8 dB less at equal CRF, which two
    // CRF steps lower give back.
    const double crf = hevcQualityToCrf(compression.quality) - kShortLookaheadCrfShift;
    av_opt_set_double(c->priv_data, "crf", crf, 0);
    av_opt_set_int(c->priv_data, "forced-idr", 1, 0);
    const std::string params =
        std::string("log-level=error:bframes=0:rc-lookahead=1:frame-threads=2:open-gop=") +
        (compression.allowOpenGOP ? "1" : "0");
    av_opt_set(c->priv_data, "x265-params", params.c_str(), 0);
    if (avcodec_open2(c, codec, nullptr) < 0) avcodec_free_context(&c);
    return c;
}

AVCodecContext* openNvenc(const VideoOutputSettings& settings) {
    // Without NVIDIA's driver library the encoder cannot open; asking first
    // spares every recording FFmpeg's complaint about it.
    void* cuda = dlopen("libcuda.so.1", RTLD_LAZY | RTLD_LOCAL);
    if (!cuda) return nullptr;
    dlclose(cuda);
    const AVCodec* codec = avcodec_find_encoder_by_name("hevc_nvenc");
    AVCodecContext* c = codec ? makeContext(codec, settings) : nullptr;
    if (!c) return nullptr;
    av_opt_set(c->priv_data, "preset", "p1", 0);
    av_opt_set(c->priv_data, "tune", "ll", 0);
    av_opt_set(c->priv_data, "rc", "vbr", 0);
    av_opt_set_int(c->priv_data, "cq", hevcQualityToCrf(settings.compression.quality), 0);
    if (avcodec_open2(c, codec, nullptr) < 0) avcodec_free_context(&c);
    return c;
}

// VAAPI takes pictures in its own surfaces: a pool of them, filled by upload
// from our 4:2:0 frame, which only works when the driver takes that layout.
AVCodecContext* openVaapi(const VideoOutputSettings& settings, AVBufferRef** framesOut) {
    const AVCodec* codec = avcodec_find_encoder_by_name("hevc_vaapi");
    AVBufferRef* device = nullptr;
    if (!codec || access(kRenderNode, R_OK | W_OK) != 0 ||
        av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_VAAPI, kRenderNode, nullptr, 0) < 0)
        return nullptr;
    AVBufferRef* frames = av_hwframe_ctx_alloc(device);
    av_buffer_unref(&device);
    if (!frames) return nullptr;
    auto* fc = reinterpret_cast<AVHWFramesContext*>(frames->data);
    fc->format = AV_PIX_FMT_VAAPI;
    fc->sw_format = AV_PIX_FMT_YUV420P;
    fc->width = settings.width;
    fc->height = settings.height;
    fc->initial_pool_size = kHardwarePoolFrames;
    bool uploadable = false;
    AVPixelFormat* formats = nullptr;
    if (av_hwframe_ctx_init(frames) >= 0 &&
        av_hwframe_transfer_get_formats(frames, AV_HWFRAME_TRANSFER_DIRECTION_TO, &formats, 0) >= 0) {
        for (AVPixelFormat* f = formats; *f != AV_PIX_FMT_NONE; ++f)
            uploadable |= *f == AV_PIX_FMT_YUV420P;
    }
    av_free(formats);
    AVCodecContext* c = uploadable ? makeContext(codec, settings) : nullptr;
    if (!c) {
        av_buffer_unref(&frames);
        return nullptr;
    }
    c->pix_fmt = AV_PIX_FMT_VAAPI;
    c->hw_frames_ctx = av_buffer_ref(frames);
    av_opt_set(c->priv_data, "rc_mode", "CQP", 0);
    c->global_quality = hevcQualityToCrf(settings.compression.quality);
    if (avcodec_open2(c, codec, nullptr) < 0) {
        avcodec_free_context(&c);
        av_buffer_unref(&frames);
        return nullptr;
    }
    *framesOut = frames;
    return c;
}

} // namespace

int hevcQualityToCrf(double quality) {
    const double q = std::clamp(quality, 0.0, 1.0);
    return static_cast<int>(std::lround(kCrfAtWorstQuality + (kCrfAtBestQuality - kCrfAtWorstQuality) * q));
}

std::unique_ptr<VideoEncoderHevc> VideoEncoderHevc::open(const VideoOutputSettings& requested,
                                                         std::string* error) {
    // 4:2:0 needs even sizes, and monitors (or a chosen area) need not have
    // them: an odd width or height is cropped by one pixel, the last column
    // or row. Cropping keeps every pixel in the file one that was on the
    // screen; padding would add a line of invented colour at the edge, shown
    // by every player that ignores the stream's cropping window.
    VideoOutputSettings settings = requested;
    settings.width &= ~1;
    settings.height &= ~1;
    if (settings.width <= 0 || settings.height <= 0) {
        *error = "The video size " + std::to_string(requested.width) + "x" + std::to_string(requested.height) +
                 " is too small to encode.";
        return nullptr;
    }
    std::unique_ptr<VideoEncoderHevc> e(new VideoEncoderHevc);
    e->sourceWidth_ = requested.width;
    e->sourceHeight_ = requested.height;
    if (settings.compression.usingHardwareAcceleratedVideoEncoder) {
        if ((e->codec_ = openVaapi(settings, &e->hwFrames_)))
            e->name_ = "hevc_vaapi";
        else if ((e->codec_ = openNvenc(settings)))
            e->name_ = "hevc_nvenc";
    }
    if (!e->codec_ && (e->codec_ = openX265(settings))) e->name_ = "libx265";
    if (!e->codec_) {
        *error = "No HEVC encoder could be opened.";
        return nullptr;
    }
    e->hwFrame_ = av_frame_alloc();
    e->packet_ = av_packet_alloc();
    if (!e->hwFrame_ || !e->packet_) {
        *error = "Out of memory for video frames.";
        return nullptr;
    }
    e->keyIntervalTicks_ = static_cast<int64_t>(
        std::llround(settings.compression.maxKeyFrameIntervalDuration * kTimeBase.den / kTimeBase.num));
    return e;
}

VideoEncoderHevc::~VideoEncoderHevc() {
    av_packet_free(&packet_);
    av_frame_free(&hwFrame_);
    avcodec_free_context(&codec_);
    av_buffer_unref(&hwFrames_);
}

AVFrame* VideoEncoderHevc::makePicture() const {
    AVFrame* picture = av_frame_alloc();
    if (!picture) return nullptr;
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = codec_->width;
    picture->height = codec_->height;
    // The memory is only reserved here; its pages are touched when a frame
    // first lands in it, so an idle queue costs nothing.
    if (av_frame_get_buffer(picture, 64) < 0) av_frame_free(&picture);
    return picture;
}

bool VideoEncoderHevc::convert(const CVPixelBuffer& image, AVFrame* picture) const {
    if (image.width() != sourceWidth_ || image.height() != sourceHeight_) return false;
    // An encoder that still held the last picture's memory gets to keep it.
    if (av_frame_make_writable(picture) < 0) return false;
    const YuvPlanes planes{picture->data[0], picture->linesize[0], picture->data[1],
                           picture->linesize[1], picture->data[2], picture->linesize[2]};
    convertBgraToI420Bt709(image.baseAddress(), image.bytesPerRow(), picture->width, picture->height, planes);
    return true;
}

bool VideoEncoderHevc::samePicture(const AVFrame& a, const AVFrame& b) {
    if (a.width != b.width || a.height != b.height) return false;
    // Row by row: the padding at the end of a row is never written.
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? a.width : (a.width + 1) / 2;
        const int height = plane == 0 ? a.height : (a.height + 1) / 2;
        for (int y = 0; y < height; ++y)
            if (std::memcmp(a.data[plane] + size_t(y) * a.linesize[plane],
                            b.data[plane] + size_t(y) * b.linesize[plane], size_t(width)) != 0)
                return false;
    }
    return true;
}

bool VideoEncoderHevc::encode(AVFrame* picture, int64_t pts, const PacketSink& sink) {
    picture->pts = pts;
    // x265 counts its key interval in frames, but frames come when the screen
    // changes: force one by the clock as well.
    const bool forceKey = !haveKey_ || pts - lastKeyPts_ >= keyIntervalTicks_;
    picture->pict_type = forceKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (forceKey) {
        lastKeyPts_ = pts;
        haveKey_ = true;
    }
    AVFrame* input = picture;
    if (hwFrames_) {
        av_frame_unref(hwFrame_);
        if (av_hwframe_get_buffer(hwFrames_, hwFrame_, 0) < 0 ||
            av_hwframe_transfer_data(hwFrame_, picture, 0) < 0)
            return false;
        hwFrame_->pts = picture->pts;
        hwFrame_->pict_type = picture->pict_type;
        input = hwFrame_;
    }
    if (avcodec_send_frame(codec_, input) < 0) return false;
    return receivePackets(sink);
}

bool VideoEncoderHevc::flush(const PacketSink& sink) {
    avcodec_send_frame(codec_, nullptr);
    return receivePackets(sink);
}

bool VideoEncoderHevc::receivePackets(const PacketSink& sink) {
    while (!sinkFailed_) {
        const int ret = avcodec_receive_packet(codec_, packet_);
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) return true;
        if (ret < 0) return false;
        if ((packet_->flags & AV_PKT_FLAG_KEY) && packet_->pts > lastKeyPts_) lastKeyPts_ = packet_->pts;
        sinkFailed_ = !sink(packet_);
        av_packet_unref(packet_);
    }
    return false;
}

} // namespace vantrel
