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

TEST(VideoProcessorTest, NoPoolNoFrameButTheCameraStillRuns) {
    Engine broken(CGSize{0, 0});
    const auto source = positionPicture(64, 36);
    EXPECT_EQ(broken.frame(source, 0, pointerAt({10, 10})), nullptr);
    EXPECT_EQ(broken.frame(source, 1 / 60.0, pointerAt({10, 10})), nullptr);
    EXPECT_TRUE(broken.processor.lastCropRect().size.width > 0);

    // After a cleanup frames keep coming: a new pool is made.
    Engine engine;
    ASSERT_TRUE(engine.frame(source, 0, pointerAt({10, 10})));
    engine.processor.cleanup();
    EXPECT_TRUE(engine.frame(source, 1 / 60.0, pointerAt({10, 10})));
}

TEST(VideoProcessorTest, ASlowPanMovesASharpEdgeByFractionsOfAPixel) {
    // Dark left of x = 200, light from there on. The pointer rests right of
    // the edge: the zoom eases in on it over seconds and carries the edge
    // across the output, at its slow ends by much less than a pixel a frame.
    constexpr int kW = 400, kH = 120, kEdge = 200;
    auto source = CVPixelBuffer::create(kW, kH);
    for (int row = 0; row < kH; ++row)
        for (int x = 0; x < kW; ++x)
            std::memset(source->row(row) + 4 * x, x < kEdge ? 0 : 255, 4);
    Engine engine(CGSize{kW, kH});
    double lastSeen = 0, lastWanted = 0;
    int slowSteps = 0;
    for (int i = 0; i < 240; ++i) {
        const auto out = engine.frame(source, i / 60.0, pointerAt({300, 60}));
        ASSERT_TRUE(out);
        const CGRect crop = engine.processor.lastCropRect();
        const double wanted = (kEdge - crop.origin.x) * kW / crop.size.width;
        // The edge as the output shows it: the dark pixels of a row, the
        // anti-aliased ones counted by their share (of the levels the
        // resampler gives the two sides, a level or two off full).
        const uint8_t* row = out->row(kH / 2);
        const double dark = row[1], light = row[4 * (kW - 1) + 1];
        double seen = 0;
        for (int x = 0; x < kW; ++x)
            seen += (light - row[4 * x + 1]) / (light - dark);
        EXPECT_NEAR(seen, wanted, 0.1) << "frame " << i;
        const double step = wanted - lastWanted;
        if (i > 0 && std::abs(step) > 0.02 && std::abs(step) < 0.5) {
            ++slowSteps;
            // Neither still nor a jump: the same way, by about as much.
            EXPECT_GT((seen - lastSeen) * step, 0) << "frame " << i;
            EXPECT_NEAR(seen - lastSeen, step, 0.1) << "frame " << i;
        }
        lastSeen = seen, lastWanted = wanted;
    }
    EXPECT_GT(slowSteps, 30);
}
