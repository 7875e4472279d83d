#pragma once
// One media sample with its timing: a video frame (a pixel buffer, or none
// for a status-only sample) or a run of interleaved 32-bit float PCM.

#include <memory>
#include <optional>
#include <vector>

#include "platform/core/CMTime.h"
#include "platform/core/PixelBuffer.h"

namespace vantrel {

struct CMSampleTimingInfo {
    CMTime duration;
    CMTime presentationTimeStamp;
    CMTime decodeTimeStamp;
};

struct AudioStreamBasicDescription {
    double sampleRate = 48000;
    int channelsPerFrame = 2;
};

class CMSampleBuffer;
using CMSampleBufferRef = std::shared_ptr<const CMSampleBuffer>;

class CMSampleBuffer {
public:
    /// A video sample; `image` may be null (a frame the source had nothing new for).
    static CMSampleBufferRef makeVideo(CVPixelBufferRef image, CMTime presentationTime,
                                       CMTime duration = CMTime::invalid());
    /// An audio sample of interleaved float frames; the first timing entry
    /// stamps its first frame.
    static CMSampleBufferRef makeAudio(AudioStreamBasicDescription format, std::vector<float> interleaved,
                                       std::vector<CMSampleTimingInfo> timing);

    bool isValid() const;
    bool isAudio() const { return format_.has_value(); }

    const CVPixelBufferRef& imageBuffer() const { return image_; }
    CMTime presentationTimeStamp() const;
    CMTime duration() const;
    const std::vector<CMSampleTimingInfo>& timing() const { return timing_; }

    const std::optional<AudioStreamBasicDescription>& audioFormat() const { return format_; }
    const std::vector<float>& pcm() const;
    /// Audio frames (one value per channel each) held.
    size_t numSamples() const;

    /// The same payload under new timing entries; shares the pixels and PCM.
    CMSampleBufferRef copyWithNewTiming(std::vector<CMSampleTimingInfo> timing) const;

private:
    CMSampleBuffer() = default;

    CVPixelBufferRef image_;
    std::optional<AudioStreamBasicDescription> format_;
    std::shared_ptr<const std::vector<float>> pcm_;
    std::vector<CMSampleTimingInfo> timing_;
};

// The names the logic uses.
inline CVPixelBufferRef CMSampleBufferGetImageBuffer(const CMSampleBufferRef& sample) {
    return sample ? sample->imageBuffer() : nullptr;
}
inline CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBufferRef& sample) {
    return sample ? sample->presentationTimeStamp() : CMTime::invalid();
}
inline bool CMSampleBufferIsValid(const CMSampleBufferRef& sample) { return sample && sample->isValid(); }

} // namespace vantrel
