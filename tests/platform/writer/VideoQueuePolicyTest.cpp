#include "platform/writer/VideoQueuePolicy.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace vantrel;
using Offer = VideoQueuePolicy::Offer;

namespace {

constexpr int64_t kTick = 1'000'000'000 / 60;

// A 60 fps stream offered to the policy on a fake clock, in front of an
// encoder that takes `fps` frames a second and, when asked, stalls for
// `stallNs` at the start of every second (a page that scrolls).
struct Stream {
    VideoQueuePolicy policy{31};
    int64_t now = 0, busyUntil = 0;
    std::vector<Offer> offers;

    void run(double seconds, double fps, int64_t stallNs = 0) {
        for (int i = 0; i < seconds * 60; ++i) {
            now += kTick;
            if (stallNs && now % 1'000'000'000 < kTick) busyUntil = std::max(busyUntil, now) + stallNs;
            for (; policy.size() > 0 && busyUntil <= now; busyUntil += int64_t(1e9 / fps))
                policy.popped();
            if (policy.size() == 0) busyUntil = std::max(busyUntil, now);
            offers.push_back(policy.offer(now));
            if (offers.back() == Offer::take) policy.pushed();
        }
    }
    long count(Offer kind, size_t from = 0) const { return std::count(offers.begin() + from, offers.end(), kind); }
};

} // namespace

// A still screen queues a sample every tenth of a second; an encoder busy
// with the first key frame for half a second is no overload.
TEST(VideoQueuePolicyTest, SparseSamplesBehindASlowKeyFrameAreAllTaken) {
    VideoQueuePolicy policy(31);
    int64_t now = 0;
    for (int i = 0; i < 8; ++i, now += 100'000'000) {
        ASSERT_EQ(policy.offer(now), Offer::take) << i;
        policy.pushed();
    }
    EXPECT_EQ(policy.rateDivisor(), 1);
}

TEST(VideoQueuePolicyTest, CarriesAFifthOfASecondStallEverySecondWithoutLosingAFrame) {
    Stream s;
    s.run(10, 90, 200'000'000);
    EXPECT_EQ(s.count(Offer::take), 600);
}

TEST(VideoQueuePolicyTest, UnderOverloadDropsEvenlyAndComesBackWhenTheEncoderKeepsUp) {
    Stream s;
    s.run(5, 12);
    // Settled on every third frame: the frames left out fall evenly, two in three.
    EXPECT_EQ(s.policy.rateDivisor(), 3);
    std::vector<size_t> kept;
    for (size_t i = s.offers.size() - 120; i < s.offers.size(); ++i)
        if (s.offers[i] != Offer::skip) kept.push_back(i);
    for (size_t k = 1; k < kept.size(); ++k)
        EXPECT_EQ(kept[k] - kept[k - 1], 3u);
    s.run(5.5, 200);
    EXPECT_EQ(s.policy.rateDivisor(), 1);
    EXPECT_EQ(s.count(Offer::take, s.offers.size() - 60), 60);
}

TEST(VideoQueuePolicyTest, AnEncoderBetweenTwoRatesLosesFewFramesToAFullQueue) {
    // At 40 fps a 60 fps queue ends full, losing a third of the frames; the
    // rate settles at 30 and probes 60 ever more rarely, each probe losing
    // the frames that overflow the queue before the rate comes down again.
    Stream s;
    s.run(60, 40);
    EXPECT_LT(s.count(Offer::full), 3600 / 20);
    EXPECT_GT(s.count(Offer::take), 3600 / 2 - 3600 / 20);
}
