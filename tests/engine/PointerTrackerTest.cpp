// The pointer's filtered velocity and the look-ahead point the camera aims at.

#include "engine/PointerTracker.h"

#include <cmath>
#include <gtest/gtest.h>

namespace vantrel {
namespace {

constexpr double kFrame60 = 1.0 / 60.0;
const CGSize kSource{1920, 1080};

/// Moves the pointer along x at `speed` for `seconds`, starting at `startX`; returns the last prediction.
CGPoint sweep(PointerTracker& tracker, CGFloat startX, CGFloat speed, double seconds,
              CGSize source = kSource) {
    CGPoint predicted{};
    for (int n = 0; n <= std::lround(seconds / kFrame60); ++n)
        predicted = tracker.track({startX + speed * n * kFrame60, 500}, source, kFrame60);
    return predicted;
}

TEST(PointerTrackerTest, LeadShortensAsTheSpeedGrows) {
    PointerTracker steady;
    const CGPoint predicted = sweep(steady, 100, 1200, 1.2);
    EXPECT_NEAR(steady.smoothedMouseVelocity().x, 1200, 1);
    // At 1200 units per second the look-ahead has halved to 0.06 s.
    EXPECT_NEAR(predicted.x - steady.previousMouseLocation()->x, 72, 0.1);
    EXPECT_EQ(predicted.y, 500);

    // However fast the hand, the lead stays short of 144 units.
    PointerTracker flick;
    const CGSize vast{1e9, 1e9};
    const CGPoint far = sweep(flick, 0, 1e6, 2, vast);
    const CGFloat lead = far.x - flick.previousMouseLocation()->x;
    EXPECT_LT(lead, 144);
    EXPECT_GT(lead, 143);
}

TEST(PointerTrackerTest, PredictionStopsAtTheFrameEdges) {
    PointerTracker right;
    EXPECT_EQ(sweep(right, 1400, 3000, 1 / 6.0).x, kSource.width);
    PointerTracker left;
    EXPECT_EQ(sweep(left, 550, -3000, 1 / 6.0).x, 0);
}

} // namespace
} // namespace vantrel
