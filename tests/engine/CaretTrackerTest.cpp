// Typing episodes: the line lock, line breaks, the safe zone, jumps and the
// zoom lock, frame by frame on a 1920 × 1080 source.

#include "engine/CaretTracker.h"

#include <gtest/gtest.h>

namespace vantrel {
namespace {

const CGSize kSource{1920, 1080};

/// A focused field centred on (cx, cy); 100 × 20 wants the full zoom.
CGRect fieldAt(CGFloat cx, CGFloat cy, CGFloat width = 100, CGFloat height = 20) {
    return {cx - width / 2, cy - height / 2, width, height};
}

/// A field as wide as needed for `zoom` to make it fill 45 % of the view.
CGRect fieldWanting(CGFloat zoom, CGFloat cx, CGFloat cy) {
    return fieldAt(cx, cy, 1920 * 0.45 / zoom, 20);
}

class CaretTrackerTest : public ::testing::Test {
protected:
    CaretTracker tracker{2.0, 0.05};

    CaretAim type(const CGRect& field, CGFloat currentZoom = 2.0) {
        return tracker.trackCaret(field, kSource, currentZoom);
    }
};

TEST_F(CaretTrackerTest, AimHoldsInsideTheSafeZoneAndIsDraggedAtItsRim) {
    type(fieldAt(1000, 500));
    // At zoom 2 the safe zone reaches 240 to each side and 135 up and down.
    for (CGFloat cx = 1020; cx <= 1240; cx += 20)
        EXPECT_EQ(type(fieldAt(cx, 500)).targetPoint.x, 1000);
    EXPECT_EQ(type(fieldAt(1260, 500)).targetPoint.x, 1020);
    EXPECT_EQ(type(fieldAt(1380, 500)).targetPoint.x, 1140);

    // Back to the left: the aim waits until the caret passes the left rim.
    EXPECT_EQ(type(fieldAt(1260, 500)).targetPoint.x, 1140);
    EXPECT_EQ(type(fieldAt(1140, 500)).targetPoint.x, 1140);
    EXPECT_EQ(type(fieldAt(1000, 500)).targetPoint.x, 1140);
    EXPECT_EQ(type(fieldAt(880, 500)).targetPoint.x, 1120);

    EXPECT_EQ(type(fieldAt(880, 380)).targetPoint.y, 500);
    EXPECT_EQ(type(fieldAt(880, 350)).targetPoint.y, 485);
}

TEST_F(CaretTrackerTest, ZoomLockOnlyRisesAndByMoreThanTheBand) {
    EXPECT_DOUBLE_EQ(type(fieldWanting(1.2, 1000, 500)).targetZoom, 1.2);
    EXPECT_DOUBLE_EQ(type(fieldWanting(1.1, 1000, 500)).targetZoom, 1.2);
    EXPECT_DOUBLE_EQ(type(fieldWanting(1.24, 1000, 500)).targetZoom, 1.2);
    EXPECT_DOUBLE_EQ(type(fieldWanting(1.3, 1000, 500)).targetZoom, 1.3);
    EXPECT_DOUBLE_EQ(type(fieldWanting(1.0, 1000, 500)).targetZoom, 1.3);
}

TEST_F(CaretTrackerTest, OnlyAJumpBeyondTheLimitStartsTheEpisodeOver) {
    type(fieldAt(1000, 500));
    // Exactly 150 to a wide field: the same episode, and its zoom lock holds.
    EXPECT_EQ(type(fieldWanting(1.2, 1150, 500)).targetZoom, 2.0);
    EXPECT_TRUE(tracker.caretPanLockCenter());

    // Beyond 150: this frame keeps its aim, the locks restart, and the zoom
    // lock takes the new field's wanted zoom at once.
    const CaretAim jumped = type(fieldWanting(1.2, 1300.5, 500));
    EXPECT_EQ(jumped.targetPoint.x, 1300.5 - 240);
    EXPECT_DOUBLE_EQ(jumped.targetZoom, 1.2);
    EXPECT_FALSE(tracker.caretPanLockCenter());
    EXPECT_FALSE(tracker.caretYLockAnchor());
    EXPECT_EQ(*tracker.lastTypingCenter(), (CGPoint{1300.5, 500}));

    // The next frame begins the lock on the caret itself.
    EXPECT_EQ(type(fieldWanting(1.2, 1300.5, 510)).targetPoint, (CGPoint{1300.5, 510}));
}

} // namespace
} // namespace vantrel
