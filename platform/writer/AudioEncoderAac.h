#pragma once
// AAC for one audio track: takes interleaved float runs at whatever rate and
// channel count they come in, resamples them to the track's format, places
// them on the track's timeline (AudioTimeline) and encodes whole frames.

#include "platform/writer/AssetWriter.h"
#include "platform/audio/AudioTimeline.h"
#include "platform/writer/VideoEncoderHevc.h"

#include <memory>
#include <string>
#include <vector>

struct AVAudioFifo;
struct SwrContext;

namespace vantrel {

class AudioEncoderAac {
public:
    /// Null with `error` filled when the encoder does not open.
    static std::unique_ptr<AudioEncoderAac> open(const AudioOutputSettings& settings, std::string* error);
    ~AudioEncoderAac();
    AudioEncoderAac(const AudioEncoderAac&) = delete;
    AudioEncoderAac& operator=(const AudioEncoderAac&) = delete;

    /// Packet times count samples at the track's rate.
    AVRational timeBase() const { return codec_->time_base; }
    const AVCodecContext* context() const { return codec_; }

    /// `startNs` is the file time of the run's first frame. True when the run
    /// was taken (also when all of it fell before time 0).
    bool encode(const CMSampleBuffer& sample, int64_t startNs, const PacketSink& sink);
    /// Encodes what is left, then drains the encoder.
    bool flush(const PacketSink& sink);

private:
    AudioEncoderAac() = default;
    bool useInputFormat(int rate, int channels);
    bool ensureScratch(int samples);
    bool writeSilence(int64_t samples, const PacketSink& sink);
    bool encodeWholeFrames(const PacketSink& sink);
    bool sendFrame(int samples, const PacketSink& sink);
    bool receivePackets(const PacketSink& sink);

    AudioTimeline timeline_{48000};
    AVCodecContext* codec_ = nullptr;
    SwrContext* swr_ = nullptr;
    int inputRate_ = 0;
    int inputChannels_ = 0;
    AVAudioFifo* fifo_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    uint8_t** scratch_ = nullptr;
    int scratchSamples_ = 0;
    std::vector<float> zeros_;
    int64_t nextPts_ = 0;
    bool ptsAnchored_ = false;
    bool sinkFailed_ = false;
};

} // namespace vantrel
