// The camera frame by frame through its public face: the time step, the first
// frame, the clamp and crop, hysteresis, clicks, and which input leads.

#include "engine/VirtualCamera.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>

namespace vantrel {
namespace {

constexpr double kFrame60 = 1.0 / 60.0;
constexpr double kStart = 1000.0;
const CGSize kSource{1920, 1080};
const CGPoint kCentre{960, 540};

class VirtualCameraTest : public ::testing::Test {
protected:
    /// The wall clock stands still unless a test moves it, so input stays fresh.
    std::shared_ptr<ManualWallClock> clock = std::make_shared<ManualWallClock>(kStart);
    VirtualCamera camera{clock};
    AppSettingsSnapshot settings;

    EventState pointerAt(CGPoint location, bool clicked = false) const {
        EventState state = EventState::initial(kStart);
        state.mouseLocation = location;
        state.isMouseClicked = clicked;
        return state;
    }

    EventState typingIn(CGRect field) const {
        EventState state = EventState::initial(kStart);
        state.lastInputMode = InputMode::keyboard;
        state.focusedRect = field;
        return state;
    }

    void run(const EventState& state, double seconds, double deltaTime = kFrame60) {
        for (int n = 0; n < std::lround(seconds / deltaTime); ++n)
            camera.update(state, settings, kSource, deltaTime, state.isMouseClicked);
    }
};

// The same view: where the camera is, how it moves, and what it crops.
void expectSameView(const VirtualCamera& a, const VirtualCamera& b) {
    EXPECT_NEAR(a.velocity().x, b.velocity().x, 1e-9);
    EXPECT_NEAR(a.zoomSpeed(), b.zoomSpeed(), 1e-12);
    EXPECT_NEAR(a.lastCropRect().origin.x, b.lastCropRect().origin.x, 1e-9);
    EXPECT_NEAR(a.lastCropRect().size.width, b.lastCropRect().size.width, 1e-9);
}

// --- Time step ---

TEST_F(VirtualCameraTest, FirstFrameStartsOnTheTargetAtRest) {
    const CGPoint nearCentre{963, 541};
    camera.update(pointerAt(nearCentre), settings, kSource, kFrame60, false);
    EXPECT_EQ(*camera.center(), nearCentre);
    EXPECT_EQ(*camera.smoothedTarget(), nearCentre);
    EXPECT_EQ(camera.velocity(), (CGPoint{0, 0}));

    // A target the clamp can't reach yet: the camera began on it, so nothing
    // pulls it, and the clamp alone holds it at the upper limits.
    VirtualCamera other(clock);
    other.update(pointerAt({1500, 800}), settings, kSource, kFrame60, false);
    const CGRect crop = other.lastCropRect();
    EXPECT_EQ(other.velocity(), (CGPoint{0, 0}));
    EXPECT_NEAR(crop.maxX(), kSource.width, 1e-9);
    EXPECT_NEAR(crop.maxY(), kSource.height, 1e-9);
}

TEST_F(VirtualCameraTest, LongFramesAreSubSteppedAndAStallMovesOneBoundedStepAtMost) {
    const EventState state = pointerAt({1260, 690});
    run(state, 0.6);
    VirtualCamera twin = camera, stalled = camera, bounded = camera;
    camera.update(state, settings, kSource, 2 * kFrame60, false);
    twin.update(state, settings, kSource, kFrame60, false);
    twin.update(state, settings, kSource, kFrame60, false);
    EXPECT_EQ(camera.lastSubStepCount(), 4);
    expectSameView(camera, twin);

    stalled.update(state, settings, kSource, 10.0, false);
    bounded.update(state, settings, kSource, 0.05, false);
    EXPECT_EQ(stalled.lastSubStepCount(), 6);
    expectSameView(stalled, bounded);
    stalled.update(state, settings, kSource, std::numeric_limits<double>::infinity(), false);
    EXPECT_EQ(stalled.lastSubStepCount(), 6);
}

TEST_F(VirtualCameraTest, ShortFramesSkipStepsButStillCrop) {
    int framesWithoutStep = 0;
    int steps = 0;
    for (int n = 0; n < 30; ++n) {
        camera.update(pointerAt(kCentre), settings, kSource, 0.004, false);
        framesWithoutStep += camera.lastSubStepCount() == 0;
        steps += camera.lastSubStepCount();
    }
    EXPECT_GT(framesWithoutStep, 10);
    EXPECT_EQ(steps, 14); // 30 × 0.004 s holds 14 whole steps

}

TEST_F(VirtualCameraTest, NoTimePassesOnZeroNegativeOrInvalidFrameIntervals) {
    // Even as the very first frame.
    camera.update(pointerAt({700, 400}), settings, kSource, 0.0, false);
    EXPECT_EQ(camera.lastSubStepCount(), 0);
    EXPECT_EQ(*camera.center(), (CGPoint{960, 540}));

    for (int n = 0; n < 20; ++n)
        camera.update(pointerAt({700.0 + 20 * n, 400}), settings, kSource, kFrame60, false);
    const VirtualCamera before = camera;
    for (double deltaTime : {0.0, -0.5, std::nan(""), -std::numeric_limits<double>::infinity()}) {
        camera.update(pointerAt({1800, 100}, true), settings, kSource, deltaTime, false);
        EXPECT_EQ(camera.lastSubStepCount(), 0);
        EXPECT_EQ(camera.pointer().smoothedMouseVelocity(), before.pointer().smoothedMouseVelocity());
        EXPECT_EQ(*camera.smoothedTarget(), *before.smoothedTarget());
        EXPECT_EQ(camera.velocity(), before.velocity());
        EXPECT_EQ(camera.zoomFactor(), before.zoomFactor());
        EXPECT_EQ(camera.clickImpact(), 0); // a press without a step gives no kick
        EXPECT_EQ(camera.lastCropRect(), before.lastCropRect());
    }
}

// --- View: clicks, hysteresis, clamp ---

TEST_F(VirtualCameraTest, ClickAtSixtyFramesDipsTheViewBriefly) {
    settings.enableAutoZoom = false;
    run(pointerAt(kCentre), 0.5);
    camera.update(pointerAt(kCentre, true), settings, kSource, kFrame60, false);
    EXPECT_EQ(camera.lastSubStepCount(), 2);

    CGFloat lowest = 0;
    double lowestAt = 0;
    for (int n = 1; n <= 60; ++n) {
        const double since = n * kFrame60;
        EXPECT_EQ(camera.zoomFactor(), 1.0); // the impact never enters the zoom spring
        if (camera.effectiveZoom() < 1.0) {
            // A crop wider than the frame stays anchored at the lower left.
            EXPECT_EQ(camera.lastCropRect().origin, (CGPoint{0, 0}));
            EXPECT_GT(camera.lastCropRect().size.width, kSource.width);
        }
        if (camera.clickImpact() < lowest) {
            lowest = camera.clickImpact();
            lowestAt = since;
        }
        camera.update(pointerAt(kCentre, true), settings, kSource, kFrame60, true);
    }
    EXPECT_NEAR(lowest, -0.0044, 0.0001);
    EXPECT_NEAR(lowestAt, 0.083, 0.01);
    EXPECT_LT(std::abs(camera.clickImpact()), 1e-5);
}

TEST_F(VirtualCameraTest, ZoomComesToRestShortOfItsAimBothWays) {
    run(pointerAt(kCentre), 10);
    EXPECT_NEAR(camera.zoomFactor(), 1.91, 0.01);
    EXPECT_EQ(camera.lastAim().targetZoom, camera.zoomFactor());

    clock->advance(3.5);
    run(pointerAt(kCentre), 10);
    EXPECT_EQ(camera.lastAim().branch, CameraBranch::rest);
    EXPECT_NEAR(camera.zoomFactor(), 1.05, 0.01);
    EXPECT_GT(camera.lastCropRect().origin.x, 0);
}

TEST_F(VirtualCameraTest, CornersHoldTheCameraWithoutStoppingIt) {
    run(pointerAt({0, 0}), 10);
    EXPECT_EQ(camera.lastCropRect().origin, (CGPoint{0, 0}));
    // The clamp moves the position only; the spring still pushes into the corner.
    EXPECT_LT(camera.velocity().x, -1);
    EXPECT_LT(camera.velocity().y, -1);
    // Out of reach, the target keeps the flight lowering on.
    EXPECT_NEAR(camera.zoomFactor(), 1.75, 0.02);

}

// --- Which input leads ---

TEST_F(VirtualCameraTest, IdleLimitsAreInclusive) {
    // Mouse: followed up to 3 s idle; keyboard with a field: the caret up to 6 s.
    const CGRect field{1200, 700, 200, 40};
    auto branchAfter = [&](double idle, InputMode mode, bool hasField) {
        clock->set(kStart + idle);
        EventState state = pointerAt({400, 300});
        state.lastInputMode = mode;
        if (hasField) state.focusedRect = field;
        VirtualCamera fresh(clock);
        fresh.update(state, settings, kSource, kFrame60, false);
        return fresh.lastAim().branch;
    };
    EXPECT_EQ(branchAfter(3.0, InputMode::mouse, true), CameraBranch::follow);
    EXPECT_EQ(branchAfter(3.001, InputMode::mouse, false), CameraBranch::rest);
    EXPECT_EQ(branchAfter(3.0, InputMode::keyboard, false), CameraBranch::follow);
    EXPECT_EQ(branchAfter(6.0, InputMode::keyboard, true), CameraBranch::caret);
    EXPECT_EQ(branchAfter(6.001, InputMode::keyboard, true), CameraBranch::rest);
    settings.enableAutoZoom = false;
    EXPECT_EQ(branchAfter(0, InputMode::keyboard, true), CameraBranch::rest);
}

void expectNoTypingEpisode(const CaretTracker& caret) {
    EXPECT_FALSE(caret.typingZoomLock());
    EXPECT_FALSE(caret.lastTypingCenter());
    EXPECT_FALSE(caret.caretPanLockCenter());
    EXPECT_FALSE(caret.previousCaretCenter());
    EXPECT_FALSE(caret.caretYLockAnchor());
    EXPECT_FALSE(caret.isReturningFromNewLine());
}

TEST_F(VirtualCameraTest, RestOrAnyMouseFrameEndsTheTypingEpisode) {
    // A line break leaves every piece of the episode set.
    run(typingIn({1200, 700, 200, 40}), 0.5);
    run(typingIn({900, 700, 200, 40}), 0.1);
    ASSERT_TRUE(camera.caret().typingZoomLock());
    ASSERT_TRUE(camera.caret().isReturningFromNewLine());

    camera.update(pointerAt({1300, 720}), settings, kSource, kFrame60, false);
    EXPECT_EQ(camera.lastAim().branch, CameraBranch::follow);
    expectNoTypingEpisode(camera.caret());

    run(typingIn({1200, 700, 200, 40}), 0.5);
    run(typingIn({900, 700, 200, 40}), 0.1);
    ASSERT_TRUE(camera.caret().caretPanLockCenter());
    clock->advance(6.5);
    camera.update(typingIn({900, 700, 200, 40}), settings, kSource, kFrame60, false);
    EXPECT_EQ(camera.lastAim().branch, CameraBranch::rest);
    expectNoTypingEpisode(camera.caret());
}

/// Share of a target jump that the smoothed target covers in one frame at 60 fps.
double shareCoveredInOneFrame(VirtualCamera& camera, const AppSettingsSnapshot& settings,
                              const EventState& first, const EventState& second) {
    camera.update(first, settings, kSource, kFrame60, false);
    const CGFloat from = camera.smoothedTarget()->x;
    camera.update(second, settings, kSource, kFrame60, false);
    return (camera.smoothedTarget()->x - from) / (camera.lastAim().targetPoint.x - from);
}

TEST_F(VirtualCameraTest, TargetSmoothingIsSlowerWhileTypingExceptAfterALineBreak) {
    EXPECT_NEAR(shareCoveredInOneFrame(camera, settings, pointerAt({400, 500}), pointerAt({1400, 500})),
                0.154, 0.001);

    EventState keysFirst = pointerAt({400, 500});
    EventState keysThen = pointerAt({1400, 500});
    keysFirst.lastInputMode = keysThen.lastInputMode = InputMode::keyboard;
    VirtualCamera typing(clock);
    EXPECT_NEAR(shareCoveredInOneFrame(typing, settings, keysFirst, keysThen), 0.041, 0.001);

    VirtualCamera newLine(clock);
    EXPECT_NEAR(shareCoveredInOneFrame(newLine, settings, typingIn({1450, 500, 100, 20}),
                                       typingIn({450, 500, 100, 20})),
                0.181, 0.001);
    EXPECT_TRUE(newLine.caret().isReturningFromNewLine());
}

} // namespace
} // namespace vantrel
