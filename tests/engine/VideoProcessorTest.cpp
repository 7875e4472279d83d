// One frame through the engine: time step, camera, crop and scale, the pool.
#include "engine/VideoProcessor.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

constexpr double kWall = 1'800'000'000.0;

// A picture whose every pixel tells where it is: blue = x, green = y (y up).
CVPixelBufferRef positionPicture(int w, int h) {
    auto buffer = CVPixelBuffer::create(w, h);
    for (int row = 0; row < h; ++row)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = buffer->row(row) + 4 * x;
            p[0] = static_cast<uint8_t>(x * 255 / (w - 1));
            p[1] = static_cast<uint8_t>((h - 1 - row) * 255 / (h - 1));
            p[2] = 40;
            p[3] = 255;
        }
    return buffer;
}

struct Engine {
    explicit Engine(CGSize size = {64, 36})
        : clock(std::make_shared<ManualWallClock>(kWall)), processor(size, clock) {}

    CVPixelBufferRef frame(const CVPixelBufferRef& pixels, double seconds, const EventState& state,
                           const AppSettingsSnapshot& settings = {}) {
        return processor.process(CMSampleBuffer::makeVideo(pixels, CMTime::withSeconds(seconds, 600)), state,
                                 settings, std::nullopt);
    }

    std::shared_ptr<ManualWallClock> clock;
    VideoProcessor processor;
};

EventState pointerAt(CGPoint p, bool pressed = false) {
    EventState state = EventState::initial(kWall);
    state.mouseLocation = p;
    state.isMouseClicked = pressed;
    return state;
}

bool sameRect(const CGRect& a, const CGRect& b) {
    return std::abs(a.origin.x - b.origin.x) < 1e-9 && std::abs(a.origin.y - b.origin.y) < 1e-9 &&
           std::abs(a.size.width - b.size.width) < 1e-9 && std::abs(a.size.height - b.size.height) < 1e-9;
}

} // namespace

TEST(VideoProcessorTest, WithoutAutoZoomTheOutputIsTheSourceItself) {
    Engine engine;
    AppSettingsSnapshot settings;
    settings.enableAutoZoom = false;
    const auto source = positionPicture(64, 36);
    CVPixelBufferRef out;
    for (int i = 0; i < 5; ++i)
        out = engine.frame(source, i / 60.0, pointerAt({10, 10}), settings);
    ASSERT_TRUE(out);
    EXPECT_TRUE(sameRect(engine.processor.lastCropRect(), CGRect(0, 0, 64, 36)));
    for (int row = 0; row < 36; ++row)
        EXPECT_EQ(std::memcmp(out->row(row), source->row(row), 64 * 4), 0) << row;
}

TEST(VideoProcessorTest, TheOutputIsTheCropScaledToTheOutputSize) {
    // A small output of a larger source: every output pixel shows the source
    // point the crop maps it to.
    Engine engine(CGSize{160, 90});
    const auto source = positionPicture(320, 180);
    CVPixelBufferRef out;
    for (int i = 0; i < 120; ++i)
        out = engine.frame(source, i / 60.0, pointerAt({240, 120}));
    ASSERT_TRUE(out);
    EXPECT_EQ(out->width(), 160);
    const CGRect crop = engine.processor.lastCropRect();
    EXPECT_GT(engine.processor.lastEffectiveZoom(), 1.2); // it did zoom in on the pointer
    for (int y : {0, 45, 89})
        for (int x : {0, 80, 159}) {
            const double sourceX = crop.origin.x + (x + 0.5) * crop.size.width / 160;
            const double sourceY = crop.origin.y + (y + 0.5) * crop.size.height / 90;
            const uint8_t* p = out->row(89 - y) + 4 * x;
            // Slack: placement on whole output pixels and the resampler's 7-bit weights.
            EXPECT_NEAR(p[0], (sourceX - 0.5) * 255 / 319, 4) << x << "," << y;
            EXPECT_NEAR(p[1], (sourceY - 0.5) * 255 / 179, 4) << x << "," << y;
        }
}

TEST(VideoProcessorTest, ASampleWithoutPicturesChangesNothing) {
    Engine withGap, plain;
    const auto source = positionPicture(64, 36);
    // A status-only sample far in the future must not become the last frame time.
    EXPECT_EQ(withGap.processor.process(CMSampleBuffer::makeVideo(nullptr, CMTime(100, 1)), pointerAt({5, 5}),
                                        {}, std::nullopt),
              nullptr);
    for (int i = 0; i < 3; ++i) {
        withGap.frame(source, i / 60.0, pointerAt({5 + i * 3.0, 5}));
        plain.frame(source, i / 60.0, pointerAt({5 + i * 3.0, 5}));
        EXPECT_TRUE(sameRect(withGap.processor.lastCropRect(), plain.processor.lastCropRect())) << i;
    }
}

TEST(VideoProcessorTest, ALongPauseMovesTheCameraByOneBoundedStepOnly) {
    Engine paused, steady;
    const auto source = positionPicture(64, 36);
    for (int i = 0; i < 30; ++i) {
        paused.frame(source, i / 60.0, pointerAt({10, 10}));
        steady.frame(source, i / 60.0, pointerAt({10, 10}));
    }
    // Ten seconds later for one, 0.05 s later for the other: the same move.
    paused.frame(source, 29 / 60.0 + 10.0, pointerAt({50, 30}));
    steady.frame(source, 29 / 60.0 + 0.05, pointerAt({50, 30}));
    EXPECT_TRUE(sameRect(paused.processor.lastCropRect(), steady.processor.lastCropRect()));
}

TEST(VideoProcessorTest, SameOrBackwardTimesNeverBreakTheFrame) {
    Engine engine;
    const auto source = positionPicture(64, 36);
    for (double t : {0.0, 0.0, 0.1, 0.05, 0.05, 0.2}) {
        ASSERT_TRUE(engine.frame(source, t, pointerAt({40, 20})));
        const CGRect crop = engine.processor.lastCropRect();
        EXPECT_TRUE(std::isfinite(crop.origin.x) && std::isfinite(crop.origin.y) &&
                    std::isfinite(crop.size.width));
        EXPECT_GT(crop.size.width, 0);
    }
}

TEST(VideoProcessorTest, TheButtonStateIsCarriedFromFrameToFrame) {
    // Held down over two frames is one press: the second frame gives no new
    // kick to the view, exactly as if the button had been let go.
    Engine held, released;
    const auto source = positionPicture(64, 36);
    AppSettingsSnapshot settings;
    settings.enableAutoZoom = false;
    held.frame(source, 0, pointerAt({30, 20}, true), settings);
    released.frame(source, 0, pointerAt({30, 20}, true), settings);
    held.frame(source, 1 / 60.0, pointerAt({30, 20}, true), settings);
    released.frame(source, 1 / 60.0, pointerAt({30, 20}, false), settings);
    EXPECT_DOUBLE_EQ(held.processor.lastEffectiveZoom(), released.processor.lastEffectiveZoom());
    EXPECT_LT(held.processor.lastEffectiveZoom(), 1.0); // and the one press did kick
}

TEST(VideoProcessorTest, NoPoolNoFrameButTheCameraStillRuns) {
    Engine broken(CGSize{0, 0});
    const auto source = positionPicture(64, 36);
    EXPECT_EQ(broken.frame(source, 0, pointerAt({10, 10})), nullptr);
    EXPECT_EQ(broken.frame(source, 1 / 60.0, pointerAt({10, 10})), nullptr);
    EXPECT_TRUE(broken.processor.lastCropRect().size.width > 0);
}

TEST(VideoProcessorTest, BuffersComeFromAPoolThatCleanupReleases) {
    Engine engine;
    const auto source = positionPicture(64, 36);
    const auto first = engine.frame(source, 0, pointerAt({10, 10}));
    const uint8_t* memory = first->baseAddress();
    const auto second = engine.frame(source, 1 / 60.0, pointerAt({10, 10}));
    EXPECT_NE(second->baseAddress(), memory); // the first is still held
    engine.processor.cleanup();
    // Frames keep coming after a cleanup: a new pool is made.
    EXPECT_TRUE(engine.frame(source, 2 / 60.0, pointerAt({10, 10})));
}
