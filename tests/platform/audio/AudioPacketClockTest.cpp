#include "platform/audio/AudioPacketClock.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {
constexpr int64_t kMs = 1'000'000;
constexpr int64_t kStartNs = 5'000 * kMs; // anywhere on the host clock
CMTime hostTime(int64_t ns) {
    return CMTime(ns, 1'000'000'000);
}
} // namespace

TEST(AudioPacketClock, AnchorsOnTheServersWordThenCountsThroughItsJitter) {
    AudioPacketClock clock(44100);
    // 5 s + 15 µs lies 0.66 of a frame past 5 s at 44.1 kHz: the next frame wins.
    const CMTime first = clock.stamp(kStartNs + 15'000, 441);
    EXPECT_EQ(first, CMTime(5 * 44100 + 1, 44100));
    CMTime last = first;
    for (int packet = 1; packet <= 1000; ++packet) {
        // The server's word wobbles by up to 10 ms around the count.
        const int64_t wobbleMs = (packet * 7) % 21 - 10;
        const CMTime next = clock.stamp(kStartNs + (packet * 10 + wobbleMs) * kMs, 441);
        ASSERT_EQ(next, last + CMTime(441, 44100)) << "packet " << packet;
        last = next;
    }
    // No rounding creeps in over ten seconds.
    EXPECT_EQ(last + CMTime(441, 44100) - first, CMTime(1001 * 441, 44100));
    EXPECT_EQ(clock.reanchorCount(), 0);
}

TEST(AudioPacketClock, WithoutTheServersWordItCountsOnButNeverAnchors) {
    AudioPacketClock clock(48000);
    clock.skip(4800); // a hole before anything is known changes nothing
    EXPECT_FALSE(clock.stamp(std::nullopt, 480).isValid());
    EXPECT_EQ(clock.stamp(kStartNs, 480), hostTime(kStartNs));
    EXPECT_EQ(clock.stamp(std::nullopt, 480), hostTime(kStartNs + 10 * kMs));
    clock.skip(960); // frames the server lost still take their time
    EXPECT_EQ(clock.stamp(kStartNs + 40 * kMs, 480), hostTime(kStartNs + 40 * kMs));
}

TEST(AudioPacketClock, DriftBeyondTheLimitEitherWayAnchorsAgain) {
    // A source suspended for a while (count behind), or a device clock fast
    // over minutes (count ahead): the track follows the server, not the count.
    for (const int64_t driftMs : {-25, 25, 500}) {
        SCOPED_TRACE(driftMs);
        AudioPacketClock clock(48000);
        clock.stamp(kStartNs, 480);
        const int64_t truth = kStartNs + (10 + driftMs) * kMs;
        EXPECT_EQ(clock.stamp(truth, 480), hostTime(truth));
        EXPECT_EQ(clock.reanchorCount(), 1);
        EXPECT_EQ(clock.stamp(truth + 10 * kMs, 480), hostTime(truth + 10 * kMs));
    }
}
