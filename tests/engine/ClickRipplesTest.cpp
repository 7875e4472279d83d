// Click ripples through time: when they are born, how they age and die, and
// what each one looks like at its age.
#include "engine/ClickRipples.h"

#include "engine/VideoProcessor.h"
#include "platform/image/CIContext.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

constexpr double kFrame = 1.0 / 60;
constexpr double kWall = 1'800'000'000.0;

// The engine with ripples on and the view held still, fed one frame at a time.
struct Clicks {
    Clicks() : processor({320, 180}, std::make_shared<ManualWallClock>(kWall)) {
        settings.enableAutoZoom = false;
        settings.showMouseClicks = true;
    }
    size_t frame(CGPoint mouse, bool pressed, double deltaTime = kFrame) {
        seconds += deltaTime;
        EventState state = EventState::initial(kWall);
        state.mouseLocation = mouse;
        state.isMouseClicked = pressed;
        processor.process(CMSampleBuffer::makeVideo(source, CMTime::withSeconds(seconds, 600)), state,
                          settings, std::nullopt);
        return ripples().size();
    }
    const std::vector<ClickRipple>& ripples() const { return processor.ripples().activeRipples(); }

    CVPixelBufferRef source = CVPixelBuffer::create(320, 180);
    AppSettingsSnapshot settings;
    VideoProcessor processor;
    double seconds = 0;
};

} // namespace

TEST(ClickRipplesTest, FiveAtMostEachAgedByTheWholeStepUntilItsDuration) {
    ClickRipples ripples(nullptr);
    for (int i = 0; i < 5; ++i) {
        ripples.spawnRipple({10.0 * i, 0});
        ripples.advanceRipples(0.05);
    }
    ripples.spawnRipple({99, 99}); // the sixth pushes out the oldest, mid-flight
    const auto& list = ripples.activeRipples();
    ASSERT_EQ(list.size(), 5u);
    EXPECT_EQ(list.front().position.x, 10);
    EXPECT_EQ(list.back().position, (CGPoint{99, 99}));
    EXPECT_EQ(list.back().elapsedTime, 0.0);
    EXPECT_EQ(list.back().duration, 0.6);
    EXPECT_EQ(list.back().maxRadius, 50.0);

    ripples.advanceRipples(0.42); // the oldest passes 0.6, the order stays
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list.front().position.x, 20);
    ripples.advanceRipples(10.0); // a pause is not bounded here: all end at once
    EXPECT_TRUE(list.empty());

}

TEST(ClickRipplesTest, OnlyThePressEdgeWithThePointerOnTheFrameSpawns) {
    Clicks clicks;
    EXPECT_EQ(clicks.frame({100, 100}, false), 0u);
    EXPECT_EQ(clicks.frame({100, 100}, true), 1u);
    EXPECT_DOUBLE_EQ(clicks.ripples().front().elapsedTime, kFrame); // drawn in its first frame
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(clicks.frame({100 + 5.0 * i, 100}, true), 1u); // held and dragged
    clicks.frame({150, 100}, false);
    EXPECT_EQ(clicks.frame({320, 180}, true), 2u); // the frame's edges count as on it
    EXPECT_EQ(clicks.ripples().back().position, (CGPoint{320, 180}));
    clicks.frame({150, 100}, false, 10.0); // the first frame after a pause
    EXPECT_EQ(clicks.ripples().size(), 0u);
}

TEST(ClickRipplesTest, APressOffTheFrameOrWithClicksOffIsStillRecorded) {
    for (const CGPoint outside : {CGPoint{-1, 50}, CGPoint{50, -0.5}, CGPoint{320.5, 50}, CGPoint{50, 181}}) {
        Clicks clicks;
        clicks.frame({100, 100}, true);
        clicks.frame({100, 100}, false);
        EXPECT_EQ(clicks.frame(outside, true), 1u) << outside.x << "," << outside.y;
        EXPECT_DOUBLE_EQ(clicks.ripples().front().elapsedTime, 3 * kFrame); // still ageing
        // Back on the frame with the button still held: the press was seen already.
        EXPECT_EQ(clicks.frame({100, 100}, true), 1u);
    }
    Clicks off;
    off.settings.showMouseClicks = false;
    off.frame({100, 100}, true);
    off.settings.showMouseClicks = true;
    EXPECT_EQ(off.frame({100, 100}, true), 0u);
}
