#include "platform/writer/VideoQueuePolicy.h"

#include <algorithm>

namespace vantrel {

VideoQueuePolicy::VideoQueuePolicy(size_t maxFrames, int64_t maxSpanNs)
    : maxFrames_(std::max<size_t>(1, maxFrames)), maxSpanNs_(maxSpanNs) {}

double VideoQueuePolicy::fill() const {
    return double(count_) / double(maxFrames_);
}

bool VideoQueuePolicy::hasRoom() const {
    return count_ < maxFrames_;
}

void VideoQueuePolicy::pushed() {
    if (count_ < maxFrames_) ++count_;
}

void VideoQueuePolicy::popped() {
    if (count_ > 0) --count_;
}

void VideoQueuePolicy::clear() {
    count_ = 0;
}

void VideoQueuePolicy::step(int64_t nowNs) {
    const double f = fill();
    highSince_ = f >= kHighFill ? (highSince_ < 0 ? nowNs : highSince_) : -1;
    lowSince_ = f <= kLowFill ? (lowSince_ < 0 ? nowNs : lowSince_) : -1;
    // A step up that held: the next one comes after the shortest wait again.
    if (lastStepUp_ >= 0 && nowNs - lastStepUp_ >= kBounceWindowNs) {
        lastStepUp_ = -1;
        stepUpAfter_ = kStepUpAfterNs;
    }
    if (highSince_ >= 0 && nowNs - highSince_ >= kStepDownAfterNs && level_ + 1 < kRateDivisors.size()) {
        ++level_;
        offered_ = 0;
        // Frames queued at the higher rate still fill the queue for up to
        // its span: judge the lower rate only after them.
        highSince_ = nowNs + maxSpanNs_;
        if (lastStepUp_ >= 0) {
            // The encoder could not keep up with the higher rate: probe it less often.
            stepUpAfter_ = std::min(stepUpAfter_ * 2, kMaxStepUpAfterNs);
            lastStepUp_ = -1;
        }
    } else if (lowSince_ >= 0 && nowNs - lowSince_ >= stepUpAfter_ && level_ > 0) {
        --level_;
        offered_ = 0;
        lowSince_ = nowNs;
        lastStepUp_ = nowNs;
    }
}

VideoQueuePolicy::Offer VideoQueuePolicy::offer(int64_t nowNs) {
    step(nowNs);
    const bool onRate = offered_++ % static_cast<uint64_t>(rateDivisor()) == 0;
    if (!onRate) return Offer::skip;
    return hasRoom() ? Offer::take : Offer::full;
}

} // namespace vantrel
