// The webcam picture: its size, place, rounded corners and shadow.
#include "engine/WebcamOverlay.h"

#include "platform/image/CIContext.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

CIImage solidImage(CGRect extent, CIColor color) {
    return CIImage::fromColor(color).croppedTo(extent);
}

// Pixel (x, y) of a rendering, y up: B, G, R, A.
std::array<uint8_t, 4> pixel(const CVPixelBuffer& b, int x, int y) {
    std::array<uint8_t, 4> p;
    std::memcpy(p.data(), b.row(b.height() - 1 - y) + 4 * x, 4);
    return p;
}

} // namespace

TEST(WebcamOverlayTest, SizesFollowTheOutputWidthAndThePicturesProportions) {
    WebcamOverlay overlay({1920, 1080}, CIFilter::filterWithName("CIBlendWithMask"));
    EXPECT_EQ(overlay.pictureRect({0, 0, 1280, 720}, WebcamPosition::bottomRight), CGRect(1516, 20, 384, 216));
    EXPECT_EQ(overlay.pictureRect({0, 0, 1280, 720}, WebcamPosition::topLeft), CGRect(20, 844, 384, 216));
    // Odd sizes round down; an extent off the origin lands at the same place.
    WebcamOverlay odd({1366, 768}, nullptr);
    EXPECT_EQ(odd.pictureRect({-50, 33, 640, 480}, WebcamPosition::topRight),
              CGRect(1366 - 273 - 20, 768 - 204 - 20, 273, 204));
    // A sliver of a picture divides by one, not by nearly nothing.
    EXPECT_EQ(overlay.pictureRect({0, 0, 0.2, 10}, WebcamPosition::bottomLeft).size, (CGSize{384, 3840}));
}

TEST(WebcamOverlayTest, ThePictureHasRoundCornersAndAShadowBelowItMadeOnce) {
    WebcamOverlay overlay({640, 360}, CIFilter::filterWithName("CIBlendWithMask"));
    const CIImage frame = solidImage({0, 0, 640, 360}, {1, 1, 1, 1});
    AppSettingsSnapshot settings;
    settings.webcamPosition = WebcamPosition::bottomLeft;
    CIContext context;
    CVPixelBufferRef first;
    for (const CIColor colour : {CIColor{1, 0, 0, 1}, CIColor{0, 0, 1, 1}}) {
        const CIImage camera = solidImage({0, 0, 320, 180}, colour);
        auto out = context.createPixelBuffer(overlay.applyWebcam(frame, camera, settings), {0, 0, 640, 360});
        if (!first) first = out;
        // Picture: 128 x 72 at (20, 20), this frame's colour inside.
        EXPECT_EQ(pixel(*out, 84, 56)[2], colour.red * 255);
        EXPECT_EQ(pixel(*out, 84, 56)[0], colour.blue * 255);
    }
    const auto out = first;
    EXPECT_GT(pixel(*out, 20, 20)[0], 150);                    // the corner pixel is rounded away
    EXPECT_LT(pixel(*out, 84, 16)[0], 235);                    // shadow just below the picture
    EXPECT_GT(pixel(*out, 84, 16)[0], 120);                    // but soft
    EXPECT_LT(pixel(*out, 84, 16)[0], pixel(*out, 84, 95)[0]); // stronger below than above
    EXPECT_EQ(pixel(*out, 300, 200), (std::array<uint8_t, 4>{255, 255, 255, 255}));
    EXPECT_EQ(pixel(*out, 84, 3)[0], 255); // the shadow ends 12 below the picture, 2 lower

    // Mask and shadow are made once per picture size and dropped by cleanup.
    const CIImage mask = overlay.roundedMask({128, 72});
    EXPECT_EQ(overlay.roundedMask({128, 72}).node(), mask.node());
    overlay.cleanup();
    EXPECT_NE(overlay.roundedMask({128, 72}).node(), mask.node());
}
