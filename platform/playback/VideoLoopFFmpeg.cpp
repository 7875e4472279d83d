// The demo loops through libavformat and libavcodec: one video stream,
// decoded in software on the calling thread, converted from BT.709 4:2:0 to
// BGRA with libyuv into pooled buffers. At the end of the file it seeks back
// to the start and flushes the decoder, so the loop has no pause but the
// decoder's own.
#include "platform/playback/VideoLoop.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}
#include <libyuv.h>

namespace vantrel {

namespace {

class VideoLoopFFmpeg final : public VideoLoop {
public:
    ~VideoLoopFFmpeg() override {
        av_frame_free(&frame_);
        av_packet_free(&packet_);
        avcodec_free_context(&codec_);
        avformat_close_input(&format_);
    }

    bool open(const std::filesystem::path& path, std::string& error) {
        if (avformat_open_input(&format_, path.c_str(), nullptr, nullptr) < 0) {
            error = path.string() + ": cannot be opened";
            return false;
        }
        if (avformat_find_stream_info(format_, nullptr) < 0) {
            error = path.string() + ": no stream information";
            return false;
        }
        const AVCodec* decoder = nullptr;
        stream_ = av_find_best_stream(format_, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
        if (stream_ < 0 || !decoder) {
            error = path.string() + ": no video stream that can be decoded";
            return false;
        }
        const AVStream* stream = format_->streams[stream_];
        codec_ = avcodec_alloc_context3(decoder);
        if (!codec_ || avcodec_parameters_to_context(codec_, stream->codecpar) < 0 ||
            avcodec_open2(codec_, decoder, nullptr) < 0) {
            error = path.string() + ": the decoder does not open";
            return false;
        }
        timeBase_ = av_q2d(stream->time_base);
        const AVRational rate = av_guess_frame_rate(format_, const_cast<AVStream*>(stream), nullptr);
        rate_ = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 30.0;
        frame_ = av_frame_alloc();
        packet_ = av_packet_alloc();
        return frame_ && packet_;
    }

    CVPixelBufferRef nextFrame(double& presentationSeconds) override {
        // Two rounds at most: the rest of the file, then the file from its start.
        for (int round = 0; round < 2; ++round) {
            while (true) {
                const int received = avcodec_receive_frame(codec_, frame_);
                if (received == 0) return convert(presentationSeconds);
                if (received == AVERROR_EOF) break;
                if (received != AVERROR(EAGAIN)) return nullptr;
                if (!feedPacket()) avcodec_send_packet(codec_, nullptr); // drain the last pictures
            }
            if (!rewind()) return nullptr;
        }
        return nullptr;
    }

    double frameRate() const override { return rate_; }
    int restarts() const override { return restarts_; }

private:
    /// One packet of our stream into the decoder; false at the end of the file.
    bool feedPacket() {
        while (av_read_frame(format_, packet_) >= 0) {
            const bool ours = packet_->stream_index == stream_;
            const int sent = ours ? avcodec_send_packet(codec_, packet_) : 0;
            av_packet_unref(packet_);
            if (ours && sent >= 0) return true;
        }
        return false;
    }

    bool rewind() {
        ++restarts_;
        if (av_seek_frame(format_, stream_, 0, AVSEEK_FLAG_BACKWARD) < 0) return false;
        avcodec_flush_buffers(codec_);
        return true;
    }

    CVPixelBufferRef convert(double& presentationSeconds) {
        const int width = frame_->width, height = frame_->height;
        if (!pool_ || pool_->attributes().width != width || pool_->attributes().height != height)
            pool_ = CVPixelBufferPoolCreate({.minimumBufferCount = 2, .width = width, .height = height});
        CVPixelBufferRef picture = CVPixelBufferPoolCreatePixelBuffer(pool_);
        if (!picture) return nullptr;
        const auto format = static_cast<AVPixelFormat>(frame_->format);
        const bool full = frame_->color_range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P;
        if (format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P) return nullptr;
        // Our files are BT.709; libyuv's "H" conversions are that matrix.
        const auto toArgb = full ? libyuv::J420ToARGB : libyuv::H420ToARGB;
        toArgb(frame_->data[0], frame_->linesize[0], frame_->data[1], frame_->linesize[1], frame_->data[2],
               frame_->linesize[2], picture->baseAddress(), static_cast<int>(picture->bytesPerRow()), width,
               height);
        const int64_t pts =
            frame_->best_effort_timestamp == AV_NOPTS_VALUE ? 0 : frame_->best_effort_timestamp;
        presentationSeconds = pts * timeBase_;
        av_frame_unref(frame_);
        return picture;
    }

    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    int stream_ = -1;
    double timeBase_ = 0;
    double rate_ = 30;
    int restarts_ = 0;
    CVPixelBufferPoolRef pool_;
};

} // namespace

std::unique_ptr<VideoLoop> openVideoLoopFFmpeg(const std::filesystem::path& path, std::string& error) {
    auto loop = std::make_unique<VideoLoopFFmpeg>();
    if (!loop->open(path, error)) return nullptr;
    return loop;
}

} // namespace vantrel
