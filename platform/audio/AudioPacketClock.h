#pragma once
// Stamps the packets of an audio capture on the host clock. The first packet
// is anchored where the server says it was captured (or, for the monitor of
// a sink, where it is played); every later one is the anchor plus the frames
// counted since, in ticks of the sample rate, so that the scheduling jitter
// of packet delivery never reaches the timestamps and each packet starts
// exactly where the previous one ended. When the count and the server's
// word part by more than kMaxDriftNs, either way (frames lost in a server
// hiccup, a suspended source, a device clock a little fast or slow over
// minutes), it anchors again on the server's word, so the track never
// strays from the picture by more than that.
//
// Not thread-safe: one capture thread owns it.

#include "platform/core/CMTime.h"

#include <cstdint>
#include <optional>

namespace vantrel {

class AudioPacketClock {
public:
    /// Under a frame at 60 fps; far above the jitter of the server's timing.
    static constexpr int64_t kMaxDriftNs = 15'000'000;

    explicit AudioPacketClock(int sampleRate) : sampleRate_(sampleRate) {}

    int sampleRate() const { return sampleRate_; }

    /// The presentation time of a packet of `frames` whose first frame the
    /// server places at `capturedAtNs` on the host clock; the clock then
    /// stands at the packet's end. Without the server's word (its timing has
    /// not arrived yet) a packet is counted on from the anchor, and before
    /// any anchor it has no time: the result is invalid and the packet is
    /// best dropped.
    CMTime stamp(std::optional<int64_t> capturedAtNs, int64_t frames);
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
