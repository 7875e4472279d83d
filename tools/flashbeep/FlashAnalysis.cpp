#include "FlashAnalysis.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vantrel::tools {

namespace {

// A frame is white when the mean luma of its sampled pixels passes this
// (limited range: black 16, white 235).
constexpr double kWhiteLuma = 128.0;
// A tone starts where the signal first reaches this share of the tone's peak
// in the next 50 ms, after at least kQuietSeconds of near silence. A quarter
// of the peak stays above the encoder's pre-echo, and a 1 kHz sine gets there
// within a twentieth of a millisecond of its first sample.
constexpr double kOnsetShare = 0.25;
constexpr double kQuietSeconds = 0.1;
constexpr double kSilence = 0.01;
// A tone belongs to the nearest flash within this distance.
constexpr double kPairSeconds = 0.6;

struct Decoded {
    std::vector<double> flashSeconds;
    std::vector<double> lastBlackSeconds;
    double lastFrameSeconds = NAN;
    std::vector<std::vector<float>> audio; // mono, per audio track, from file time audioStart
    std::vector<double> audioStart;
    std::vector<int> audioRate;
};

struct Input {
    AVFormatContext* format = nullptr;
    std::vector<AVCodecContext*> codecs;
    ~Input() {
        for (auto* c : codecs) avcodec_free_context(&c);
        avformat_close_input(&format);
    }
};

double seconds(int64_t ts, AVRational base) {
    return ts == AV_NOPTS_VALUE ? NAN : ts * av_q2d(base);
}

void takeVideo(const AVFrame* frame, AVRational base, bool& lit, Decoded& out) {
    double sum = 0;
    int n = 0;
    for (int y = 0; y < frame->height; y += 8)
        for (int x = 0; x < frame->width; x += 8, ++n)
            sum += frame->data[0][y * frame->linesize[0] + x];
    const bool white = n > 0 && sum / n > kWhiteLuma;
    const double t = seconds(frame->best_effort_timestamp, base);
    if (white && !lit) {
        out.flashSeconds.push_back(t);
        out.lastBlackSeconds.push_back(out.lastFrameSeconds);
    }
    lit = white;
    out.lastFrameSeconds = t;
}

void takeAudio(const AVFrame* frame, AVRational base, int track, Decoded& out) {
    auto& samples = out.audio[track];
    if (samples.empty()) {
        out.audioStart[track] = seconds(frame->best_effort_timestamp, base);
        out.audioRate[track] = frame->sample_rate;
    }
    const int channels = frame->ch_layout.nb_channels;
    for (int i = 0; i < frame->nb_samples; ++i) {
        float v = 0;
        for (int ch = 0; ch < channels; ++ch)
            v += frame->format == AV_SAMPLE_FMT_FLTP ? reinterpret_cast<const float*>(frame->data[ch])[i]
                                                     : reinterpret_cast<const float*>(frame->data[0])[i * channels + ch];
        samples.push_back(v / channels);
    }
}

Decoded decode(const std::filesystem::path& file) {
    Input in;
    if (avformat_open_input(&in.format, file.c_str(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(in.format, nullptr) < 0)
        throw std::runtime_error("cannot read " + file.string());
    Decoded out;
    std::vector<int> audioIndex(in.format->nb_streams, -1);
    in.codecs.resize(in.format->nb_streams, nullptr);
    for (unsigned i = 0; i < in.format->nb_streams; ++i) {
        const AVCodecParameters* par = in.format->streams[i]->codecpar;
        if (par->codec_type != AVMEDIA_TYPE_VIDEO && par->codec_type != AVMEDIA_TYPE_AUDIO) continue;
        const AVCodec* codec = avcodec_find_decoder(par->codec_id);
        AVCodecContext* c = codec ? avcodec_alloc_context3(codec) : nullptr;
        if (!c || avcodec_parameters_to_context(c, par) < 0 || avcodec_open2(c, codec, nullptr) < 0)
            throw std::runtime_error("cannot decode a track of " + file.string());
        in.codecs[i] = c;
        if (par->codec_type == AVMEDIA_TYPE_AUDIO) {
            audioIndex[i] = static_cast<int>(out.audio.size());
            out.audio.emplace_back();
            out.audioStart.push_back(0);
            out.audioRate.push_back(par->sample_rate);
        }
    }
    std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet(av_packet_alloc(), [](AVPacket* p) { av_packet_free(&p); });
    std::unique_ptr<AVFrame, void (*)(AVFrame*)> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
    bool lit = false;
    auto drain = [&](unsigned stream) {
        AVCodecContext* c = in.codecs[stream];
        const AVRational base = in.format->streams[stream]->time_base;
        while (avcodec_receive_frame(c, frame.get()) == 0) {
            if (c->codec_type == AVMEDIA_TYPE_VIDEO)
                takeVideo(frame.get(), base, lit, out);
            else
                takeAudio(frame.get(), base, audioIndex[stream], out);
            av_frame_unref(frame.get());
        }
    };
    while (av_read_frame(in.format, packet.get()) >= 0) {
        const unsigned stream = static_cast<unsigned>(packet->stream_index);
        if (stream < in.codecs.size() && in.codecs[stream]) {
            avcodec_send_packet(in.codecs[stream], packet.get());
            drain(stream);
        }
        av_packet_unref(packet.get());
    }
    for (unsigned i = 0; i < in.codecs.size(); ++i)
        if (in.codecs[i]) {
            avcodec_send_packet(in.codecs[i], nullptr);
            drain(i);
        }
    return out;
}

std::vector<double> toneOnsets(const std::vector<float>& s, int rate, double start) {
    std::vector<double> onsets;
    const size_t quiet = static_cast<size_t>(kQuietSeconds * rate);
    const size_t window = static_cast<size_t>(0.05 * rate);
    size_t silentRun = quiet; // the file's start counts as quiet
    for (size_t i = 0; i < s.size(); ++i) {
        if (std::fabs(s[i]) < kSilence) {
            ++silentRun;
            continue;
        }
        if (silentRun >= quiet) {
            float peak = 0;
            for (size_t j = i; j < std::min(s.size(), i + window); ++j) peak = std::max(peak, std::fabs(s[j]));
            size_t j = i;
            while (j < s.size() && std::fabs(s[j]) < kOnsetShare * peak) ++j;
            onsets.push_back(start + double(j) / rate);
        }
        silentRun = 0;
    }
    return onsets;
}

} // namespace

FlashAnalysis analyseFlashRecording(const std::filesystem::path& file) {
    const Decoded decoded = decode(file);
    FlashAnalysis result;
    result.flashSeconds = decoded.flashSeconds;
    result.lastBlackSeconds = decoded.lastBlackSeconds;
    for (size_t track = 0; track < decoded.audio.size(); ++track) {
        TrackOffsets offsets{static_cast<int>(track), {}};
        const auto onsets = toneOnsets(decoded.audio[track], decoded.audioRate[track], decoded.audioStart[track]);
        for (double flash : decoded.flashSeconds) {
            auto nearest = std::min_element(onsets.begin(), onsets.end(), [flash](double a, double b) {
                return std::fabs(a - flash) < std::fabs(b - flash);
            });
            const bool paired = nearest != onsets.end() && std::fabs(*nearest - flash) < kPairSeconds;
            offsets.offsetsMs.push_back(paired ? (*nearest - flash) * 1000.0 : NAN);
        }
        result.tracks.push_back(std::move(offsets));
    }
    return result;
}

} // namespace vantrel::tools
