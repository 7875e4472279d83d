#pragma once
// HEVC for the recorder's video track: a hardware encoder when one opens
// (VAAPI, then NVENC), else libx265. Takes BGRA pixel buffers, converts them
// to 4:2:0 BT.709 into frames it reuses, and forces a key frame whenever the
// given interval of presentation time has passed since the last one.

#include "platform/writer/AssetWriter.h"

#include <functional>
#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vantrel {

/// Hands one encoded packet on; false when it could not be written.
using PacketSink = std::function<bool(AVPacket*)>;

/// The CRF (or constant QP for hardware) that a quality of 0 to 1 stands for.
int hevcQualityToCrf(double quality);

class VideoEncoderHevc {
public:
    /// Times are counted in 1/90000 s.
    static constexpr AVRational kTimeBase{1, 90000};

    /// Null with `error` filled when no encoder opens. An odd width or height
    /// is encoded one pixel smaller (see open()).
    static std::unique_ptr<VideoEncoderHevc> open(const VideoOutputSettings& settings, std::string* error);
    ~VideoEncoderHevc();
    VideoEncoderHevc(const VideoEncoderHevc&) = delete;
    VideoEncoderHevc& operator=(const VideoEncoderHevc&) = delete;

    const std::string& name() const { return name_; }
    const AVCodecContext* context() const { return codec_; }

    /// Converts `image` (then lets it go) and encodes it at `pts`, which must
    /// grow from call to call. False when the encoder failed (the frame is
    /// lost) or the sink refused a packet.
    bool encode(CVPixelBufferRef image, int64_t pts, const PacketSink& sink);
    /// Drains what the encoder still holds.
    bool flush(const PacketSink& sink);

private:
    VideoEncoderHevc() = default;
    bool receivePackets(const PacketSink& sink);

    std::string name_;
    AVCodecContext* codec_ = nullptr;
    AVBufferRef* hwFrames_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVFrame* hwFrame_ = nullptr;
    AVPacket* packet_ = nullptr;
    int sourceWidth_ = 0;
    int sourceHeight_ = 0;
    int64_t keyIntervalTicks_ = 0;
    int64_t lastKeyPts_ = 0;
    bool haveKey_ = false;
    bool sinkFailed_ = false;
};

} // namespace vantrel
