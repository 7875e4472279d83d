#include "platform/writer/Mp4Remux.h"

#include "platform/writer/Mp4Muxer.h"

#include <cstdio>
#include <system_error>

namespace vantrel {
namespace {

constexpr int kAacFrameSamples = 1024;

struct RemuxContexts {
    AVFormatContext* in = nullptr;
    AVFormatContext* out = nullptr;
    AVPacket* packet = av_packet_alloc();

    ~RemuxContexts() {
        av_packet_free(&packet);
        avformat_close_input(&in);
        if (out) {
            avio_closep(&out->pb);
            avformat_free_context(out);
        }
    }
};

bool copyPackets(const std::filesystem::path& from, const std::filesystem::path& to, std::string* error) {
    RemuxContexts c;
    int ret = avformat_open_input(&c.in, from.c_str(), nullptr, nullptr);
    if (ret >= 0) ret = avformat_find_stream_info(c.in, nullptr);
    if (ret < 0) {
        *error = "Cannot read " + from.string() + ": " + averrorText(ret);
        return false;
    }
    ret = avformat_alloc_output_context2(&c.out, nullptr, "mp4", to.c_str());
    if (ret < 0 || !c.packet) {
        *error = "Cannot make the MP4 muxer: " + averrorText(ret);
        return false;
    }
    for (unsigned i = 0; i < c.in->nb_streams; ++i) {
        const AVStream* in = c.in->streams[i];
        AVStream* out = avformat_new_stream(c.out, nullptr);
        if (!out || avcodec_parameters_copy(out->codecpar, in->codecpar) < 0) {
            *error = "Cannot copy the tracks of " + from.string();
            return false;
        }
        // The MP4 demuxer leaves the AAC frame size out; the muxer wants it for its index.
        if (out->codecpar->codec_id == AV_CODEC_ID_AAC && out->codecpar->frame_size == 0)
            out->codecpar->frame_size = kAacFrameSamples;
        out->time_base = in->time_base;
        out->avg_frame_rate = in->avg_frame_rate;
    }
    ret = avio_open(&c.out->pb, to.c_str(), AVIO_FLAG_WRITE);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "write_colr", 0);
    av_dict_set_int(&options, "video_track_timescale", 90000, 0);
    if (ret >= 0) ret = avformat_write_header(c.out, &options);
    av_dict_free(&options);
    while (ret >= 0) {
        ret = av_read_frame(c.in, c.packet);
        if (ret == AVERROR_EOF) {
            ret = av_write_trailer(c.out);
            break;
        }
        if (ret < 0) break;
        const AVStream* in = c.in->streams[c.packet->stream_index];
        av_packet_rescale_ts(c.packet, in->time_base, c.out->streams[c.packet->stream_index]->time_base);
        c.packet->pos = -1;
        ret = av_interleaved_write_frame(c.out, c.packet);
    }
    if (ret >= 0 && c.out->pb->error < 0) ret = c.out->pb->error;
    if (ret >= 0) ret = avio_closep(&c.out->pb);
    if (ret < 0) {
        *error = "Cannot write " + to.string() + ": " + averrorText(ret);
        return false;
    }
    return true;
}

} // namespace

bool remuxToIndexedMp4(const std::filesystem::path& file, std::string* error) {
    // Appended piecewise: GCC 12 sees a false overlap in "." + name.
    std::string hiddenName = ".";
    hiddenName += file.filename().string();
    hiddenName += ".indexing";
    const std::filesystem::path hidden = file.parent_path() / hiddenName;
    bool ok = copyPackets(file, hidden, error);
    if (ok && std::rename(hidden.c_str(), file.c_str()) != 0) {
        *error = "Cannot replace " + file.string() + ": " + std::generic_category().message(errno);
        ok = false;
    }
    if (!ok) {
        std::error_code ignored;
        std::filesystem::remove(hidden, ignored);
    }
    return ok;
}

} // namespace vantrel
