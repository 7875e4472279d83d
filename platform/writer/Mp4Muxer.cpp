#include "platform/writer/Mp4Muxer.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace vantrel {

// Every fragment starts at a video key frame, which the encoder forces at
// least every two seconds: that bounds what a crash can lose.
constexpr const char* kRecordingMovFlags = "frag_keyframe+empty_moov+default_base_moof+write_colr";
constexpr int kVideoTimescale = 90000;
constexpr int64_t kAudioOnlyFragmentUs = 2'000'000;

std::string averrorText(int averror) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(averror, text, sizeof text);
    return text;
}

Mp4Muxer::Mp4Muxer(std::filesystem::path path) : path_(std::move(path)) {
    avformat_alloc_output_context2(&format_, nullptr, "mp4", path_.c_str());
}

Mp4Muxer::~Mp4Muxer() {
    std::string ignored;
    close(&ignored);
}

int Mp4Muxer::addStream(const AVCodecContext* encoder, AVRational timeBase, uint32_t codecTag) {
    if (!format_) return -1;
    AVStream* stream = avformat_new_stream(format_, nullptr);
    if (!stream || avcodec_parameters_from_context(stream->codecpar, encoder) < 0) return -1;
    stream->time_base = timeBase;
    stream->codecpar->codec_tag = codecTag;
    if (encoder->codec_type == AVMEDIA_TYPE_VIDEO) stream->avg_frame_rate = encoder->framerate;
    return stream->index;
}

bool Mp4Muxer::open(std::string* error) {
    std::lock_guard lock(mutex_);
    if (!format_) {
        *error = "The MP4 muxer is not available.";
        return false;
    }
    int ret = avio_open(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE);
    if (ret < 0) {
        *error = "Cannot open " + path_.string() + ": " + averrorText(ret);
        return false;
    }
    // Hand each finished fragment to the kernel at once rather than when
    // AVIO's buffer happens to fill.
    format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", kRecordingMovFlags, 0);
    av_dict_set_int(&options, "video_track_timescale", kVideoTimescale, 0);
    // Without a picture there are no key frames to cut at: cut by time.
    bool hasVideo = false;
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        hasVideo |= format_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    if (!hasVideo) av_dict_set_int(&options, "frag_duration", kAudioOnlyFragmentUs, 0);
    ret = avformat_write_header(format_, &options);
    av_dict_free(&options);
    if (ret < 0) {
        *error = "Cannot write the header of " + path_.string() + ": " + averrorText(ret);
        return false;
    }
    avio_flush(format_->pb);
    headerWritten_ = true;
    headerBytes_ = avio_tell(format_->pb);
    return true;
}

bool Mp4Muxer::failLocked(int averror, const char* what) {
    if (!failed_) {
        failed_ = true;
        error_ = std::string(what) + " " + path_.string() + ": " + averrorText(averror);
    }
    return false;
}

bool Mp4Muxer::write(AVPacket* packet, int streamIndex, AVRational timeBase) {
    std::lock_guard lock(mutex_);
    if (failed_ || !headerWritten_) return false;
    AVStream* stream = format_->streams[streamIndex];
    av_packet_rescale_ts(packet, timeBase, stream->time_base);
    packet->stream_index = streamIndex;
    const int ret = av_write_frame(format_, packet);
    if (ret < 0) return failLocked(ret, "Cannot write to");
    if (format_->pb->error < 0) return failLocked(format_->pb->error, "Cannot write to");
    // Packets are flushed as they go and a fragment is written in one call:
    // bytes past the header after a write that succeeded are whole fragments.
    if (avio_tell(format_->pb) > headerBytes_) holdsMedia_ = true;
    return true;
}

bool Mp4Muxer::close(std::string* error) {
    std::lock_guard lock(mutex_);
    if (!format_) return !failed_;
    bool ok = !failed_;
    if (headerWritten_) {
        // Also frees the muxer's own state, so it runs even after a failure.
        const int ret = av_write_trailer(format_);
        if (ok && (ret < 0 || format_->pb->error < 0))
            ok = failLocked(ret < 0 ? ret : format_->pb->error, "Cannot finish");
        if (ok && avio_tell(format_->pb) > headerBytes_) holdsMedia_ = true;
    }
    if (format_->pb) {
        const int ret = avio_closep(&format_->pb);
        if (ok && ret < 0) ok = failLocked(ret, "Cannot close");
    }
    avformat_free_context(format_);
    format_ = nullptr;
    if (!ok) *error = error_;
    return ok;
}

bool Mp4Muxer::failed() const {
    std::lock_guard lock(mutex_);
    return failed_;
}

bool Mp4Muxer::holdsMedia() const {
    std::lock_guard lock(mutex_);
    return holdsMedia_;
}

std::string Mp4Muxer::errorText() const {
    std::lock_guard lock(mutex_);
    return error_;
}

} // namespace vantrel
