#include "platform/image/BgraToYuv709.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

using namespace vantrel;

namespace {

// BT.709 from its definition: luma weights, then studio range (16-235, 16-240).
struct Yuv {
    double y, u, v;
};
Yuv bt709(double r, double g, double b) {
    const double kr = 0.2126, kb = 0.0722;
    const double luma = kr * r + (1 - kr - kb) * g + kb * b; // 0..255
    return {16 + luma * 219 / 255, 128 + (b - luma) / (2 * (1 - kb)) * 224 / 255,
            128 + (r - luma) / (2 * (1 - kr)) * 224 / 255};
}

struct Picture {
    int width, height;
    std::vector<uint8_t> bgra, y, u, v;
    Picture(int w, int h)
        : width(w), height(h), bgra(size_t(w) * h * 4), y(size_t(w) * h),
          u(size_t((w + 1) / 2) * ((h + 1) / 2)), v(u.size()) {}
    YuvPlanes planes() { return {y.data(), width, u.data(), (width + 1) / 2, v.data(), (width + 1) / 2}; }
    uint8_t* pixel(int x, int yy) { return bgra.data() + (size_t(yy) * width + x) * 4; }
};

Picture uniform(int w, int h, uint8_t r, uint8_t g, uint8_t b) {
    Picture p(w, h);
    for (int i = 0; i < w * h; ++i) {
        p.bgra[4 * i] = b;
        p.bgra[4 * i + 1] = g;
        p.bgra[4 * i + 2] = r;
        p.bgra[4 * i + 3] = 255;
    }
    return p;
}

Picture noise(int w, int h, unsigned seed) {
    Picture p(w, h);
    std::mt19937 random(seed);
    for (auto& byte : p.bgra)
        byte = static_cast<uint8_t>(random());
    return p;
}

} // namespace

TEST(BgraToYuv709, TheEndsOfTheRangeLandOnTheStudioLimits) {
    Picture white = uniform(16, 2, 255, 255, 255), black = uniform(16, 2, 0, 0, 0);
    convertBgraToI420Bt709(white.bgra.data(), 64, 16, 2, white.planes());
    convertBgraToI420Bt709(black.bgra.data(), 64, 16, 2, black.planes());
    EXPECT_EQ(white.y[0], 235);
    EXPECT_EQ(black.y[0], 16);
    EXPECT_EQ(white.u[0], 128);
    EXPECT_EQ(white.v[0], 128);
}

TEST(BgraToYuv709, EveryPixelOfANoisyOddSizedPictureFollowsTheFormula) {
    // 37x9: two vector blocks, an odd scalar tail and an odd last row.
    Picture p = noise(37, 9, 7);
    convertBgraToI420Bt709(p.bgra.data(), size_t(p.width) * 4, p.width, p.height, p.planes());
    for (int y = 0; y < p.height; ++y) {
        for (int x = 0; x < p.width; ++x) {
            const uint8_t* px = p.pixel(x, y);
            ASSERT_NEAR(p.y[size_t(y) * p.width + x], bt709(px[2], px[1], px[0]).y, 1.0) << x << "," << y;
        }
    }
    const int cw = (p.width + 1) / 2;
    for (int cy = 0; cy < (p.height + 1) / 2; ++cy) {
        for (int cx = 0; cx < cw; ++cx) {
            // The mean of the block; a missing column or row repeats its neighbour.
            double r = 0, g = 0, b = 0;
            for (int dy = 0; dy < 2; ++dy) {
                for (int dx = 0; dx < 2; ++dx) {
                    const uint8_t* px =
                        p.pixel(std::min(2 * cx + dx, p.width - 1), std::min(2 * cy + dy, p.height - 1));
                    r += px[2] / 4.0;
                    g += px[1] / 4.0;
                    b += px[0] / 4.0;
                }
            }
            const Yuv want = bt709(r, g, b);
            ASSERT_NEAR(p.u[size_t(cy) * cw + cx], want.u, 1.0) << cx << "," << cy;
            ASSERT_NEAR(p.v[size_t(cy) * cw + cx], want.v, 1.0) << cx << "," << cy;
        }
    }
}

TEST(BgraToYuv709, StaysOutsideItsPlanesAndHonoursStrides) {
    // Padded rows in and out: nothing may be written into the padding.
    const int w = 20, h = 4, inStride = 96, yStride = 32, cStride = 16;
    std::vector<uint8_t> in(size_t(inStride) * h, 200), y(size_t(yStride) * h, 0xAB),
        u(size_t(cStride) * 2, 0xAB), v(u.size(), 0xAB);
    convertBgraToI420Bt709(in.data(), inStride, w, h,
                           {y.data(), yStride, u.data(), cStride, v.data(), cStride});
    for (int row = 0; row < h; ++row) {
        for (int x = 0; x < yStride; ++x)
            ASSERT_EQ(y[size_t(row) * yStride + x] == 0xAB, x >= w) << x;
    }
    for (int row = 0; row < 2; ++row) {
        for (int x = 0; x < cStride; ++x)
            ASSERT_EQ(u[size_t(row) * cStride + x] == 0xAB, x >= w / 2) << x;
    }
}
