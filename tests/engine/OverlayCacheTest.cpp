// Overlay drawings kept between frames must never show a picture whose
// inputs have changed: a new camera picture of the same size, a new pill text.
#include "engine/VideoProcessor.h"

#include <gtest/gtest.h>
#include <vector>

using namespace vantrel;

namespace {

constexpr double kWall = 1'800'000'000.0;
constexpr int kWidth = 640, kHeight = 360;

CVPixelBufferRef solid(int width, int height, uint8_t blue, uint8_t red) {
    auto pixels = CVPixelBuffer::create(width, height);
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = pixels->row(row) + 4 * x;
            p[0] = blue, p[1] = 0, p[2] = red, p[3] = 255;
        }
    return pixels;
}

} // namespace

TEST(OverlayCacheTest, KeptDrawingsFollowTheCameraPictureAndThePillText) {
    auto clock = std::make_shared<ManualWallClock>(kWall);
    VideoProcessor processor({kWidth, kHeight}, clock);
    AppSettingsSnapshot settings;
    settings.enableAutoZoom = false;
    settings.showKeystrokes = true;
    settings.webcamPosition = WebcamPosition::topLeft;
    const auto desktop = solid(kWidth, kHeight, 255, 255);
    const auto red = solid(320, 180, 0, 255), blue = solid(320, 180, 255, 0);
    int frame = 0;
    // Each frame wraps the camera's buffer afresh, as the recorder does; the
    // keys were pressed two seconds ago: the pill is in its fade.
    auto render = [&](const CVPixelBufferRef& camera, const std::string& keys) {
        clock->set(kWall + 2.0 + frame / 60.0);
        EventState state = EventState::initial(kWall);
        state.activeKeys = keys;
        state.lastKeystrokeTime = clock->now() - 2.0;
        return processor.process(CMSampleBuffer::makeVideo(desktop, CMTime(10 * frame++, 600)), state, settings,
                                 CIImage::fromPixelBuffer(camera));
    };
    // The picture is 128 x 72 at (20, 268): is a pixel in its middle red
    // (the scaling may round a channel by a unit or two)?
    auto pictureRed = [](const CVPixelBufferRef& out) { return out->row(kHeight - 1 - 304)[4 * 84 + 2] > 250; };
    // The rows the pill lies on (20 to 70 from the bottom), whole.
    auto pill = [](const CVPixelBufferRef& out) {
        return std::vector<uint8_t>(out->row(kHeight - 70), out->row(kHeight - 20));
    };

    const auto first = render(red, "⌘ + 1");
    EXPECT_TRUE(pictureRed(first));
    const auto second = render(blue, "⌘ + 2");
    EXPECT_FALSE(pictureRed(second));
    EXPECT_NE(pill(second), pill(first));
    const auto again = render(red, "⌘ + 1");
    EXPECT_TRUE(pictureRed(again));
    EXPECT_EQ(pill(again), pill(first));
    EXPECT_TRUE(pictureRed(render(red, "⌘ + 1"))); // the same buffer again, wrapped anew
}
