#include "platform/audio/AudioPacketClock.h"

#include <cstdlib>

namespace vantrel {

namespace {
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
}

int64_t AudioPacketClock::hostTicks(int64_t hostNs) const {
    // Rounded once, at the anchor; from there on everything counts whole frames.
    const __int128 scaled = static_cast<__int128>(hostNs) * sampleRate_ + kNanosecondsPerSecond / 2;
    return static_cast<int64_t>(scaled / kNanosecondsPerSecond);
}

CMTime AudioPacketClock::stamp(std::optional<int64_t> capturedAtNs, int64_t frames) {
    if (capturedAtNs) {
        const int64_t captured = hostTicks(*capturedAtNs);
        const int64_t counted = anchorTicks_ + framesSinceAnchor_;
        const int64_t maxDriftTicks = kMaxDriftNs * sampleRate_ / kNanosecondsPerSecond;
        // Moving back overlaps the end of what was handed on, which the
        // writer cuts off; moving on leaves a gap, which it fills with
        // silence. Either costs a few milliseconds of sound, once; a track
        // off by more than a frame would cost the whole recording.
        if (!anchored_ || std::llabs(captured - counted) > maxDriftTicks) {
            if (anchored_) ++reanchors_;
            anchored_ = true;
            anchorTicks_ = captured;
            framesSinceAnchor_ = 0;
        }
    }
    if (!anchored_) return CMTime::invalid();
    const CMTime presentation(anchorTicks_ + framesSinceAnchor_, sampleRate_);
    framesSinceAnchor_ += frames;
    return presentation;
}

void AudioPacketClock::skip(int64_t frames) {
    // Before the first packet there is nothing to keep in step with.
    if (anchored_) framesSinceAnchor_ += frames;
}

} // namespace vantrel
