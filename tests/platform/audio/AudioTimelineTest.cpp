#include "platform/audio/AudioTimeline.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {
constexpr int64_t kMs = 1'000'000;
constexpr int kRate = 48000;
} // namespace

TEST(AudioTimeline, ContiguousRunsFollowEachOtherByCountedSamples) {
    AudioTimeline t(kRate);
    auto first = t.place(100 * kMs, 480, kRate);
    EXPECT_FALSE(first.dropped);
    // The track starts at 0 all the same, silent until its first sample.
    EXPECT_EQ(t.firstSample(), 0);
    EXPECT_EQ(first.silenceSamples, 4800);
    // A few milliseconds of jitter in the stamps changes nothing.
    for (int64_t stampMs : {110 + 3, 120 - 0, 130 + 20, 140}) {
        auto p = t.place(stampMs * kMs, 480, kRate);
        EXPECT_EQ(p.skipFrames, 0);
        EXPECT_EQ(p.silenceSamples, 0);
        EXPECT_FALSE(p.dropped);
    }
    EXPECT_DOUBLE_EQ(t.placedSamples(), 4800 + 5 * 480);
}

TEST(AudioTimeline, AGapLongerThanFiftyMillisecondsIsFilledUpToTheStamp) {
    AudioTimeline t(kRate);
    t.place(0, 480, kRate);                     // ends at 10 ms
    auto small = t.place(50 * kMs, 480, kRate); // 40 ms late: still counted on
    EXPECT_EQ(small.silenceSamples, 0);
    auto gap = t.place(1000 * kMs, 480, kRate); // expected at 20 ms
    EXPECT_EQ(gap.silenceSamples, 48000 - 960);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 48000 + 480);
}

TEST(AudioTimeline, AnOverlapLosesItsHeadAndARunInsideTheTrackIsDropped) {
    AudioTimeline t(kRate);
    t.place(0, 4800, kRate); // 0..100 ms
    auto overlap = t.place(95 * kMs, 480, kRate);
    EXPECT_EQ(overlap.skipFrames, 240);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 4800 + 240);
    auto inside = t.place(20 * kMs, 480, kRate);
    EXPECT_TRUE(inside.dropped);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 4800 + 240);
}

TEST(AudioTimeline, AudioBeforeTimeZeroIsCutOff) {
    AudioTimeline t(kRate);
    EXPECT_TRUE(t.place(-30 * kMs, 480, kRate).dropped);
    EXPECT_FALSE(t.started());
    auto straddling = t.place(-5 * kMs, 480, kRate);
    EXPECT_EQ(straddling.skipFrames, 240);
    EXPECT_EQ(t.firstSample(), 0);
    EXPECT_DOUBLE_EQ(t.placedSamples(), 240);
}

TEST(AudioTimeline, OtherInputRatesArePlacedInOutputSamples) {
    AudioTimeline t(kRate);
    t.place(0, 441, 44100); // 10 ms
    EXPECT_DOUBLE_EQ(t.placedSamples(), 480);
    auto overlap = t.place(5 * kMs, 441, 44100); // 5 ms early: 220.5 input frames
    EXPECT_NEAR(overlap.skipFrames, 220.5, 0.5);
    auto gap = t.place(200 * kMs, 441, 44100);
    EXPECT_NEAR(gap.silenceSamples, 48 * (200 - 15), 1);
}

TEST(AudioTimeline, ATrackWithAnOriginStartsThereWhateverComesFirst) {
    // An origin of one AAC priming delay: what would sound before it is cut.
    AudioTimeline early(kRate, AudioTimeline::kDefaultGapNs, 1024);
    auto p = early.place(0, 2048, kRate);
    EXPECT_EQ(p.skipFrames, 1024);
    EXPECT_EQ(p.silenceSamples, 0);
    EXPECT_EQ(early.firstSample(), 1024);
    EXPECT_DOUBLE_EQ(early.placedSamples(), 1024);

    AudioTimeline late(kRate, AudioTimeline::kDefaultGapNs, 1024);
    auto q = late.place(100 * kMs, 480, kRate);
    EXPECT_EQ(q.skipFrames, 0);
    EXPECT_EQ(q.silenceSamples, 4800 - 1024);
    EXPECT_DOUBLE_EQ(late.placedSamples(), 4800 - 1024 + 480);
}
