#include "platform/audio/AudioTimeline.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {
constexpr int64_t kMs = 1'000'000;
constexpr int kRate = 48000;
} // namespace

TEST(AudioTimeline, RunsAreCountedOnThroughJitterAndAGapIsFilledUpToItsStamp) {
    AudioTimeline t(kRate);
    auto first = t.place(100 * kMs, 480, kRate);
    // The track starts at 0 all the same, silent until its first sample.
    EXPECT_EQ(t.firstSample(), 0);
    EXPECT_EQ(first.silenceSamples, 4800);
    // Stamps a few milliseconds late change nothing.
    for (int64_t stampMs : {110 + 3, 120, 130 + 5, 140}) {
        auto p = t.place(stampMs * kMs, 480, kRate);
        EXPECT_EQ(p.skipFrames, 0);
        EXPECT_EQ(p.silenceSamples, 0);
    }
    EXPECT_DOUBLE_EQ(t.placedSamples(), 4800 + 5 * 480);
    // A source that moved on (a correction, another device) is placed at its time.
    auto gap = t.place(1000 * kMs, 480, kRate); // expected at 150 ms
    EXPECT_EQ(gap.silenceSamples, 48 * 850);
}

TEST(AudioTimeline, AnOverlapLosesItsHeadAndARunInsideTheTrackIsDropped) {
    AudioTimeline t(kRate);
    t.place(0, 4800, kRate); // 0..100 ms
    EXPECT_EQ(t.place(95 * kMs, 480, kRate).skipFrames, 240);
    EXPECT_TRUE(t.place(20 * kMs, 480, kRate).dropped);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 4800 + 240);
    // Other input rates are placed in output samples.
    AudioTimeline other(kRate);
    other.place(0, 441, 44100);                                       // 10 ms
    EXPECT_NEAR(other.place(5 * kMs, 441, 44100).skipFrames, 220.5, 0.5); // 5 ms early
    EXPECT_NEAR(other.place(200 * kMs, 441, 44100).silenceSamples, 48 * (200 - 15), 1);
}

TEST(AudioTimeline, NothingSoundsBeforeTheOrigin) {
    AudioTimeline t(kRate);
    EXPECT_TRUE(t.place(-30 * kMs, 480, kRate).dropped);
    EXPECT_EQ(t.place(-5 * kMs, 480, kRate).skipFrames, 240);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 240);
    // An origin of one AAC priming delay: what would sound before it is cut,
    // and what starts after it waits in silence.
    AudioTimeline early(kRate, AudioTimeline::kDefaultGapNs, 1024);
    auto p = early.place(0, 2048, kRate);
    EXPECT_EQ(p.skipFrames, 1024);
    EXPECT_EQ(p.silenceSamples, 0);
    AudioTimeline late(kRate, AudioTimeline::kDefaultGapNs, 1024);
    EXPECT_EQ(late.place(100 * kMs, 480, kRate).silenceSamples, 4800 - 1024);
}
