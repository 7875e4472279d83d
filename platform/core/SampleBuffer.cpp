#include "platform/core/SampleBuffer.h"

namespace vantrel {

CMSampleBufferRef CMSampleBuffer::makeVideo(CVPixelBufferRef image, CMTime presentationTime, CMTime duration) {
    auto sample = std::shared_ptr<CMSampleBuffer>(new CMSampleBuffer());
    sample->image_ = std::move(image);
    sample->timing_ = {{duration, presentationTime, CMTime::invalid()}};
    return sample;
}

CMSampleBufferRef CMSampleBuffer::makeAudio(AudioStreamBasicDescription format, std::vector<float> interleaved,
                                            std::vector<CMSampleTimingInfo> timing) {
    auto sample = std::shared_ptr<CMSampleBuffer>(new CMSampleBuffer());
    sample->format_ = format;
    sample->pcm_ = std::make_shared<const std::vector<float>>(std::move(interleaved));
    sample->timing_ = std::move(timing);
    return sample;
}

bool CMSampleBuffer::isValid() const {
    if (timing_.empty() || !timing_.front().presentationTimeStamp.isValid()) return false;
    if (format_) return format_->channelsPerFrame > 0 && format_->sampleRate > 0;
    return true;
}

CMTime CMSampleBuffer::presentationTimeStamp() const {
    return timing_.empty() ? CMTime::invalid() : timing_.front().presentationTimeStamp;
}

CMTime CMSampleBuffer::duration() const {
    if (timing_.empty()) return CMTime::invalid();
    if (format_ && !timing_.front().duration.isValid()) {
        // Audio without an explicit duration lasts as long as its frames.
        return CMTime(static_cast<int64_t>(numSamples()), static_cast<int32_t>(format_->sampleRate));
    }
    return timing_.front().duration;
}

const std::vector<float>& CMSampleBuffer::pcm() const {
    static const std::vector<float> none;
    return pcm_ ? *pcm_ : none;
}

size_t CMSampleBuffer::numSamples() const {
    if (!format_ || format_->channelsPerFrame <= 0) return image_ ? 1 : 0;
    return pcm().size() / static_cast<size_t>(format_->channelsPerFrame);
}

CMSampleBufferRef CMSampleBuffer::copyWithNewTiming(std::vector<CMSampleTimingInfo> timing) const {
    auto copy = std::shared_ptr<CMSampleBuffer>(new CMSampleBuffer(*this));
    copy->timing_ = std::move(timing);
    return copy;
}

} // namespace vantrel
