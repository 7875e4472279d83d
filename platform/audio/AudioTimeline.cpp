#include "platform/audio/AudioTimeline.h"

#include <algorithm>
#include <cmath>

namespace vantrel {

constexpr double kNsPerSecond = 1e9;

AudioTimeline::AudioTimeline(int outputRate, int64_t gapNs, int64_t originSample)
    : outputRate_(outputRate), gapNs_(gapNs), firstSample_(originSample) {}

AudioTimeline::Placement AudioTimeline::place(int64_t startNs, int64_t frames, double inputRate) {
    Placement p;
    if (frames <= 0 || inputRate <= 0) {
        p.dropped = true;
        return p;
    }
    const double outPerIn = outputRate_ / inputRate;
    const double start = startNs * outputRate_ / kNsPerSecond; // in output samples
    if (!started_) {
        const double origin = static_cast<double>(firstSample_);
        if (start < origin)
            p.skipFrames = static_cast<int64_t>(std::ceil((origin - start) / outPerIn - 1e-9));
        if (p.skipFrames >= frames) {
            p.dropped = true;
            return p;
        }
        started_ = true;
        p.silenceSamples = std::max<int64_t>(0, std::llround(start + p.skipFrames * outPerIn - origin));
        endSample_ = origin + static_cast<double>(p.silenceSamples) + (frames - p.skipFrames) * outPerIn;
        return p;
    }
    const double delta = start - endSample_;
    const double gap = gapNs_ * outputRate_ / kNsPerSecond;
    if (delta > gap) {
        p.silenceSamples = std::llround(delta);
        endSample_ += static_cast<double>(p.silenceSamples);
    } else if (delta <= -0.5 * outPerIn) {
        p.skipFrames = std::llround(-delta / outPerIn);
        if (p.skipFrames >= frames) {
            p.dropped = true;
            return p;
        }
    }
    endSample_ += (frames - p.skipFrames) * outPerIn;
    return p;
}

} // namespace vantrel
