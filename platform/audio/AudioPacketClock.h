#pragma once
// Stamps the packets of an audio capture on the host clock. The first packet
// is anchored where the server says it was captured; every later one is the
// anchor plus the frames counted since, in ticks of the sample rate, so that
// the scheduling jitter of packet delivery never reaches the timestamps and
// each packet starts exactly where the previous one ended. Only when the
// counted time falls behind the server's word by more than kMaxDriftNs
// (frames lost in a server hiccup, a suspended source) does it anchor again;
// time never runs backwards.
//
// Not thread-safe: one capture thread owns it.

#include "platform/core/CMTime.h"

#include <cstdint>

namespace vantrel {

class AudioPacketClock {
public:
    static constexpr int64_t kMaxDriftNs = 200'000'000;

    explicit AudioPacketClock(int sampleRate) : sampleRate_(sampleRate) {}

    int sampleRate() const { return sampleRate_; }

    /// The presentation time of a packet of `frames` whose first frame the
    /// server places at `capturedAtNs` on the host clock; the clock then
    /// stands at the packet's end.
    CMTime stamp(int64_t capturedAtNs, int64_t frames);
    /// `frames` the server lost (a hole in the stream): time moves on without a packet.
    void skip(int64_t frames);

    /// Times the clock anchored after its first packet.
    int reanchorCount() const { return reanchors_; }

private:
    int64_t hostTicks(int64_t hostNs) const;

    int sampleRate_;
    bool anchored_ = false;
    int64_t anchorTicks_ = 0;
    int64_t framesSinceAnchor_ = 0;
    int reanchors_ = 0;
};

} // namespace vantrel
