#include "platform/image/AlphaBlur.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace vantrel::alpha_blur {
namespace {

struct Plane {
    int width;
    int height;
    size_t stride;
    std::vector<uint8_t> bytes;

    Plane(int w, int h, size_t s, uint8_t fill = 0) : width(w), height(h), stride(s), bytes(s * h, fill) {}
    uint8_t& at(int x, int y) { return bytes[y * stride + x]; }
    void blur(double sigma) {
        BlurScratch scratch;
        blurPlane(bytes.data(), stride, width, height, sigma, scratch);
    }
};

Plane impulse(int size, uint8_t value = 255) {
    Plane plane(size, size, size);
    for (auto& b : plane.bytes)
        b = 0;
    plane.at(size / 2, size / 2) = value;
    return plane;
}

TEST(AlphaBlurTest, ImpulseSpreadsLikeAGaussian) {
    constexpr double kSigma = 4.0;
    constexpr int kSize = 61;
    // A bright spot so that rounding does not swamp the tails.
    Plane plane(kSize, kSize, kSize);
    for (int y = 28; y <= 32; ++y)
        for (int x = 28; x <= 32; ++x)
            plane.at(x, y) = 255;
    const double before = 25 * 255.0;
    plane.blur(kSigma);

    double total = 0, varianceX = 0, varianceY = 0;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const double v = plane.at(x, y);
            total += v;
            varianceX += v * (x - 30) * (x - 30);
            varianceY += v * (y - 30) * (y - 30);
        }
    }
    EXPECT_NEAR(total, before, before * 0.02) << "alpha is neither made nor lost";
    // The 5×5 block alone has a variance of 2 along each axis.
    EXPECT_NEAR(std::sqrt(varianceX / total - 2.0), kSigma, kSigma * 0.1);
    EXPECT_NEAR(std::sqrt(varianceY / total - 2.0), kSigma, kSigma * 0.1);

    for (int d = 0; d < 12; ++d) {
        EXPECT_EQ(plane.at(30 + d, 30), plane.at(30 - d, 30)) << "left-right symmetric at " << d;
        EXPECT_EQ(plane.at(30, 30 + d), plane.at(30, 30 - d)) << "up-down symmetric at " << d;
        EXPECT_EQ(plane.at(30 + d, 30), plane.at(30, 30 + d)) << "same along both axes at " << d;
        EXPECT_GE(plane.at(30 + d, 30), plane.at(31 + d, 30)) << "falls off with distance at " << d;
    }
}

TEST(AlphaBlurTest, ReachBoundsHowFarAlphaTravels) {
    for (const double sigma : {1.0, 3.0, 4.0, 6.5}) {
        const int reach = reachPixels(sigma);
        ASSERT_GT(reach, 2 * sigma) << "sigma " << sigma;
        const int size = 2 * reach + 9;
        Plane plane = impulse(size);
        plane.blur(sigma);
        const int centre = size / 2;
        // Anything past the reach must be untouched: a shadow's plane only
        // has that much margin.
        for (int x = 0; x < size; ++x) {
            if (std::abs(x - centre) > reach) {
                EXPECT_EQ(plane.at(x, centre), 0) << "sigma " << sigma << " x " << x;
            }
        }
        EXPECT_GT(plane.at(centre + static_cast<int>(sigma), centre), 0) << "sigma " << sigma;
    }
}

// Each pass counts what lies outside as clear, so edges lose a good part of
// their alpha: a shadow's plane has its margin for that.
TEST(AlphaBlurTest, EdgesLoseAlphaToTheClearOutside) {
    Plane plane(40, 40, 40, 255);
    plane.blur(3.0);
    EXPECT_EQ(plane.at(20, 20), 255) << "deep inside stays opaque";
    for (const auto& [x, y] : {std::pair{0, 20}, {39, 20}, {20, 0}, {20, 39}}) {
        EXPECT_GT(plane.at(x, y), 255 * 0.3) << x << "," << y;
        EXPECT_LT(plane.at(x, y), 255 * 0.5) << x << "," << y;
    }
    EXPECT_LT(plane.at(0, 0), plane.at(0, 20) * 0.6) << "a corner loses on two sides";
}

TEST(AlphaBlurTest, TinySigmaChangesNothing) {
    EXPECT_EQ(reachPixels(0.3), 0);
    EXPECT_EQ(reachPixels(0.0), 0);
    EXPECT_EQ(reachPixels(-2.0), 0);
    EXPECT_EQ(reachPixels(std::nan("")), 0);
    Plane plane = impulse(9, 200);
    const std::vector<uint8_t> before = plane.bytes;
    plane.blur(0.3);
    EXPECT_EQ(plane.bytes, before);
}

TEST(AlphaBlurTest, RowPaddingIsLeftAlone) {
    Plane plane(10, 6, 16, 0xAB);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 10; ++x)
            plane.at(x, y) = (x == 5 && y == 3) ? 255 : 0;
    plane.blur(1.5);
    for (int y = 0; y < 6; ++y)
        for (size_t x = 10; x < 16; ++x)
            EXPECT_EQ(plane.bytes[y * 16 + x], 0xAB);
    EXPECT_GT(plane.at(4, 3), 0);
    EXPECT_GT(plane.at(5, 2), 0);
}

} // namespace
} // namespace vantrel::alpha_blur
