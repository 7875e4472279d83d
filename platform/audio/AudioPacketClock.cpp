#include "platform/audio/AudioPacketClock.h"

namespace vantrel {

namespace {
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
}

int64_t AudioPacketClock::hostTicks(int64_t hostNs) const {
    // Rounded once, at the anchor; from there on everything counts whole frames.
    const __int128 scaled = static_cast<__int128>(hostNs) * sampleRate_ + kNanosecondsPerSecond / 2;
    return static_cast<int64_t>(scaled / kNanosecondsPerSecond);
}

CMTime AudioPacketClock::stamp(int64_t capturedAtNs, int64_t frames) {
    const int64_t captured = hostTicks(capturedAtNs);
    const int64_t counted = anchorTicks_ + framesSinceAnchor_;
    const int64_t maxDriftTicks = kMaxDriftNs * sampleRate_ / kNanosecondsPerSecond;
    // Only forward: frames lost to a hiccup or a suspend leave the count
    // behind the host clock. A count running ahead would need a device clock
    // fast by hundreds of milliseconds; moving back would overlap packets
    // already handed on, which no writer accepts.
    if (!anchored_ || captured - counted > maxDriftTicks) {
        if (anchored_) ++reanchors_;
        anchored_ = true;
        anchorTicks_ = captured;
        framesSinceAnchor_ = 0;
    }
    const CMTime presentation(anchorTicks_ + framesSinceAnchor_, sampleRate_);
    framesSinceAnchor_ += frames;
    return presentation;
}

void AudioPacketClock::skip(int64_t frames) {
    // Before the first packet there is nothing to keep in step with.
    if (anchored_) framesSinceAnchor_ += frames;
}

} // namespace vantrel
