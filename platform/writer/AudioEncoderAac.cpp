#include "platform/writer/AudioEncoderAac.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace vantrel {
namespace {
// A second of output: enough that the FIFO never grows while recording.
constexpr int kFifoSeconds = 1;
} // namespace

std::unique_ptr<AudioEncoderAac> AudioEncoderAac::open(const AudioOutputSettings& settings,
                                                       std::string* error) {
    const int rate = static_cast<int>(std::lround(settings.sampleRate));
    if (settings.formatID != kAudioFormatMPEG4AAC || rate <= 0 || settings.numberOfChannels <= 0) {
        *error = "Unsupported audio settings.";
        return nullptr;
    }
    std::unique_ptr<AudioEncoderAac> e(new AudioEncoderAac);
    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    if (!codec || !(e->codec_ = avcodec_alloc_context3(codec))) {
        *error = "The AAC encoder is not available.";
        return nullptr;
    }
    AVCodecContext* c = e->codec_;
    c->sample_fmt = AV_SAMPLE_FMT_FLTP;
    c->sample_rate = rate;
    av_channel_layout_default(&c->ch_layout, settings.numberOfChannels);
    c->bit_rate = settings.encoderBitRate;
    c->time_base = AVRational{1, rate};
    c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int ret = avcodec_open2(c, codec, nullptr);
    if (ret < 0) {
        *error = "Cannot open the AAC encoder.";
        return nullptr;
    }
    // The track starts one priming delay late, so that the encoder's first
    // packet lands on file time 0 and nothing shifts the track.
    e->timeline_ = AudioTimeline(rate, AudioTimeline::kDefaultGapNs, c->initial_padding);
    e->fifo_ = av_audio_fifo_alloc(c->sample_fmt, c->ch_layout.nb_channels, rate * kFifoSeconds);
    e->frame_ = av_frame_alloc();
    e->packet_ = av_packet_alloc();
    if (!e->fifo_ || !e->frame_ || !e->packet_) {
        *error = "Out of memory for audio.";
        return nullptr;
    }
    e->frame_->format = c->sample_fmt;
    e->frame_->nb_samples = c->frame_size;
    e->frame_->sample_rate = rate;
    av_channel_layout_copy(&e->frame_->ch_layout, &c->ch_layout);
    if (av_frame_get_buffer(e->frame_, 0) < 0) {
        *error = "Out of memory for audio.";
        return nullptr;
    }
    e->zeros_.assign(static_cast<size_t>(c->frame_size), 0.0f);
    return e;
}

AudioEncoderAac::~AudioEncoderAac() {
    if (scratch_) av_freep(&scratch_[0]);
    av_freep(&scratch_);
    av_packet_free(&packet_);
    av_frame_free(&frame_);
    if (fifo_) av_audio_fifo_free(fifo_);
    swr_free(&swr_);
    avcodec_free_context(&codec_);
}

bool AudioEncoderAac::useInputFormat(int rate, int channels) {
    if (swr_ && rate == inputRate_ && channels == inputChannels_) return true;
    swr_free(&swr_);
    AVChannelLayout inLayout;
    av_channel_layout_default(&inLayout, channels);
    const int ret = swr_alloc_set_opts2(&swr_, &codec_->ch_layout, codec_->sample_fmt, codec_->sample_rate,
                                        &inLayout, AV_SAMPLE_FMT_FLT, rate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    if (ret < 0 || swr_init(swr_) < 0) {
        swr_free(&swr_);
        return false;
    }
    inputRate_ = rate;
    inputChannels_ = channels;
    return true;
}

bool AudioEncoderAac::ensureScratch(int samples) {
    if (samples <= scratchSamples_) return true;
    if (scratch_) av_freep(&scratch_[0]);
    av_freep(&scratch_);
    scratchSamples_ = 0;
    if (av_samples_alloc_array_and_samples(&scratch_, nullptr, codec_->ch_layout.nb_channels, samples,
                                           codec_->sample_fmt, 0) < 0)
        return false;
    scratchSamples_ = samples;
    return true;
}

bool AudioEncoderAac::encode(const CMSampleBuffer& sample, int64_t startNs, const PacketSink& sink) {
    const auto& format = sample.audioFormat();
    if (!format || format->channelsPerFrame <= 0 || format->sampleRate <= 0) return false;
    const int64_t frames = static_cast<int64_t>(sample.numSamples());
    const AudioTimeline::Placement place = timeline_.place(startNs, frames, format->sampleRate);
    if (place.dropped) return true;
    if (!ptsAnchored_) {
        nextPts_ = timeline_.firstSample();
        ptsAnchored_ = true;
    }
    if (place.silenceSamples > 0 && !writeSilence(place.silenceSamples, sink)) return false;
    const int rate = static_cast<int>(std::lround(format->sampleRate));
    if (!useInputFormat(rate, format->channelsPerFrame)) return false;
    const int count = static_cast<int>(frames - place.skipFrames);
    const float* in = sample.pcm().data() + place.skipFrames * format->channelsPerFrame;
    const int capacity = swr_get_out_samples(swr_, count);
    if (capacity < 0 || !ensureScratch(capacity)) return false;
    const auto* input = reinterpret_cast<const uint8_t*>(in);
    const int got = swr_convert(swr_, scratch_, capacity, &input, count);
    if (got < 0 || av_audio_fifo_write(fifo_, reinterpret_cast<void**>(scratch_), got) < got) return false;
    return encodeWholeFrames(sink);
}

bool AudioEncoderAac::writeSilence(int64_t samples, const PacketSink& sink) {
    void* planes[AV_NUM_DATA_POINTERS];
    std::fill(std::begin(planes), std::end(planes), zeros_.data());
    while (samples > 0) {
        const int n = static_cast<int>(std::min<int64_t>(samples, codec_->frame_size));
        if (av_audio_fifo_write(fifo_, planes, n) < n) return false;
        samples -= n;
        if (!encodeWholeFrames(sink)) return false;
    }
    return true;
}

bool AudioEncoderAac::encodeWholeFrames(const PacketSink& sink) {
    while (av_audio_fifo_size(fifo_) >= codec_->frame_size)
        if (!sendFrame(codec_->frame_size, sink)) return false;
    return true;
}

bool AudioEncoderAac::sendFrame(int samples, const PacketSink& sink) {
    if (av_frame_make_writable(frame_) < 0) return false;
    frame_->nb_samples = samples;
    if (av_audio_fifo_read(fifo_, reinterpret_cast<void**>(frame_->data), samples) < samples) return false;
    frame_->pts = nextPts_;
    nextPts_ += samples;
    if (avcodec_send_frame(codec_, frame_) < 0) return false;
    return receivePackets(sink);
}

bool AudioEncoderAac::flush(const PacketSink& sink) {
    if (swr_) {
        const int capacity = swr_get_out_samples(swr_, 0);
        if (capacity > 0 && ensureScratch(capacity)) {
            const int got = swr_convert(swr_, scratch_, capacity, nullptr, 0);
            if (got > 0) av_audio_fifo_write(fifo_, reinterpret_cast<void**>(scratch_), got);
        }
    }
    if (!encodeWholeFrames(sink)) return false;
    const int rest = av_audio_fifo_size(fifo_);
    if (rest > 0 && !sendFrame(rest, sink)) return false;
    avcodec_send_frame(codec_, nullptr);
    return receivePackets(sink);
}

bool AudioEncoderAac::receivePackets(const PacketSink& sink) {
    while (!sinkFailed_) {
        const int ret = avcodec_receive_packet(codec_, packet_);
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) return true;
        if (ret < 0) return false;
        sinkFailed_ = !sink(packet_);
        av_packet_unref(packet_);
    }
    return false;
}

} // namespace vantrel
