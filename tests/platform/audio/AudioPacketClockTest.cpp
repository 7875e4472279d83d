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

TEST(AudioPacketClockAnchoring, FirstPacketStartsWhereTheServerPlacesIt) {
    AudioPacketClock clock(48000);
    const CMTime first = clock.stamp(kStartNs, 480);
    EXPECT_EQ(first.timescale, 48000);
    EXPECT_EQ(first, hostTime(kStartNs));
}

TEST(AudioPacketClockAnchoring, AnchorRoundsToTheNearestFrame) {
    AudioPacketClock clock(44100);
    // 5 s + 15 µs lies 0.66 of a frame past 5 s at 44.1 kHz: the next frame wins.
    const CMTime first = clock.stamp(kStartNs + 15'000, 441);
    EXPECT_EQ(first, CMTime(5 * 44100 + 1, 44100));
}

TEST(AudioPacketClockCounting, PacketsFollowEachOtherExactlyWhateverTheJitter) {
    AudioPacketClock clock(48000);
    const int64_t arrivalJitterMs[] = {0, 14, 6, 31, 18, 40, 47, 52};
    CMTime expected = clock.stamp(kStartNs, 480);
    for (int64_t jitter : arrivalJitterMs) {
        const CMTime next = clock.stamp(kStartNs + jitter * kMs, 480);
        expected = expected + CMTime(480, 48000);
        EXPECT_EQ(next, expected) << "arrival jitter " << jitter << " ms";
    }
    EXPECT_EQ(clock.reanchorCount(), 0);
}

TEST(AudioPacketClockCounting, TenSecondsOfPacketsEndExactlyTenSecondsLater) {
    AudioPacketClock clock(44100);
    const CMTime first = clock.stamp(kStartNs, 441);
    CMTime last;
    for (int packet = 1; packet <= 1000; ++packet)
        last = clock.stamp(kStartNs + packet * 10 * kMs + (packet % 3) * kMs, 441);
    // 1000 packets after the first, of 10 ms each: no rounding may creep in.
    EXPECT_EQ(last - first, CMTime(10, 1));
}

TEST(AudioPacketClockHoles, LostFramesMoveTimeOn) {
    AudioPacketClock clock(48000);
    const CMTime first = clock.stamp(kStartNs, 480);
    clock.skip(960);
    const CMTime after = clock.stamp(kStartNs + 30 * kMs, 480);
    EXPECT_EQ(after - first, CMTime(1440, 48000));
}

TEST(AudioPacketClockHoles, HoleBeforeTheFirstPacketIsIgnored) {
    AudioPacketClock clock(48000);
    clock.skip(4800);
    EXPECT_EQ(clock.stamp(kStartNs, 480), hostTime(kStartNs));
}

TEST(AudioPacketClockDrift, FallingBehindByMoreThanTheLimitAnchorsAgain) {
    AudioPacketClock clock(48000);
    clock.stamp(kStartNs, 480);
    // The source was suspended for half a second: the count is 490 ms behind.
    const CMTime resumed = clock.stamp(kStartNs + 500 * kMs, 480);
    EXPECT_EQ(resumed, hostTime(kStartNs + 500 * kMs));
    EXPECT_EQ(clock.reanchorCount(), 1);
    // And counts on from the new anchor.
    EXPECT_EQ(clock.stamp(kStartNs + 530 * kMs, 480), hostTime(kStartNs + 510 * kMs));
}

TEST(AudioPacketClockDrift, LagWithinTheLimitKeepsCounting) {
    AudioPacketClock clock(48000);
    clock.stamp(kStartNs, 480);
    const CMTime late = clock.stamp(kStartNs + 190 * kMs, 480);
    EXPECT_EQ(late, hostTime(kStartNs + 10 * kMs));
    EXPECT_EQ(clock.reanchorCount(), 0);
}

TEST(AudioPacketClockDrift, NeverRunsBackwards) {
    AudioPacketClock clock(48000);
    clock.stamp(kStartNs, 48000);
    // The server claims the next packet began 300 ms before the last one ended.
    const CMTime next = clock.stamp(kStartNs + 700 * kMs, 480);
    EXPECT_EQ(next, hostTime(kStartNs + 1000 * kMs));
}
