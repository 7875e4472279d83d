#pragma once
// HEVC for the recorder's video track: a hardware encoder when one opens
// (VAAPI, then NVENC), else libx265. BGRA pixel buffers are converted to
// 4:2:0 BT.709 pictures first (on the caller's thread, into pictures the
// caller keeps: a queued picture costs 12 bits a pixel instead of 32), then
// encoded; a key frame is forced whenever the given interval of presentation
// time has passed since the last one.

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

    /// A 4:2:0 picture of the encoded size, for the queue in front of the
    /// encoder; the caller frees it with av_frame_free. Null without memory.
    AVFrame* makePicture() const;
    /// Converts `image` into `picture` (one of makePicture's). False when the
    /// image is not of the size the encoder was opened for. Any thread: it
    /// reads nothing that encoding changes.
    bool convert(const CVPixelBuffer& image, AVFrame* picture) const;
    /// Whether two of makePicture's pictures hold the same pixels.
    static bool samePicture(const AVFrame& a, const AVFrame& b);
    /// Encodes a converted picture at `pts`, which must grow from call to
    /// call; the picture may be converted into again once this returns.
    /// False when the encoder failed (the frame is lost) or the sink refused a packet.
    bool encode(AVFrame* picture, int64_t pts, const PacketSink& sink);
    /// Drains what the encoder still holds.
    bool flush(const PacketSink& sink);

private:
    VideoEncoderHevc() = default;
    bool receivePackets(const PacketSink& sink);

    std::string name_;
    AVCodecContext* codec_ = nullptr;
    AVBufferRef* hwFrames_ = nullptr;
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
