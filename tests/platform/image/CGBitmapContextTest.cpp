#include "platform/image/CGBitmapContext.h"

#include <gtest/gtest.h>

namespace vantrel {
namespace {

struct Bgra {
    int b = 0, g = 0, r = 0, a = 0;
    friend bool operator==(const Bgra&, const Bgra&) = default;
};

std::ostream& operator<<(std::ostream& out, const Bgra& p) {
    return out << "bgra(" << p.b << "," << p.g << "," << p.r << "," << p.a << ")";
}

// A pixel of an image by y-up coordinates, as the context draws them.
Bgra pixel(const CGImage& image, int x, int y) {
    const uint8_t* p = image.pixels().row(image.height() - 1 - y) + 4 * x;
    return {p[0], p[1], p[2], p[3]};
}
Bgra pixel(CGContext& context, int x, int y) {
    return pixel(*CGBitmapContextCreateImage(context), x, y);
}
int alphaAt(CGContext& context, int x, int y) {
    return pixel(context, x, y).a;
}
// Colours whose premultiplied bytes are exact: 0.2 = 0x33 / 0xff.
const CGColor kOpaque = CGColorCreateGenericRGB(0.2, 0.4, 0.8, 1.0);
const Bgra kOpaquePixel{204, 102, 51, 255};
const CGColor kTranslucent = CGColorCreateGenericRGB(1.0, 0.0, 1.0 / 3, 0.6); // premultiplied: 153, 0, 51
const Bgra kTranslucentPixel{51, 0, 153, 153};
const CGColor kBlack = CGColorCreateGenericRGB(0, 0, 0, 1);
const CGColor kWhite = CGColorCreateGenericRGB(1, 1, 1, 1);

TEST(CGBitmapContextTest, SizesAndAClearStartEvenOnReusedMemory) {
    EXPECT_FALSE(CGBitmapContextCreate(0, 10));
    EXPECT_FALSE(CGBitmapContextCreate(10, -1));
    EXPECT_FALSE(CGBitmapContextCreate(16385, 1));
    EXPECT_FALSE(CGBitmapContextCreate(10000, 10000));
    EXPECT_TRUE(CGBitmapContextCreate(16384, 1));
    for (int round = 0; round < 3; ++round) {
        auto context = CGBitmapContextCreate(37, 23);
        CGImageRef image = CGBitmapContextCreateImage(*context);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x)
                ASSERT_EQ(pixel(*image, x, y), Bgra{}) << round << ": " << x << "," << y;
        // Leave paint and a shadow behind for the next round; a clear of
        // only part of the paint must not make it count as clean.
        CGContextSetShadowWithColor(*context, {3, -2}, 6, kBlack);
        CGContextSetFillColorWithColor(*context, kOpaque);
        CGContextFillRect(*context, CGRect(5, 5, 20, 10));
        CGContextFillEllipseInRect(*context, CGRect(30, 15, 20, 20));
        CGContextClearRect(*context, CGRect(0, 0, 10, 23));
    }
}

TEST(CGBitmapContextTest, AnImageKeepsWhatWasDrawnWhenItWasMade) {
    auto context = CGBitmapContextCreate(8, 8);
    CGContextSetFillColorWithColor(*context, kOpaque);
    CGContextFillRect(*context, CGRect(0, 0, 4, 8));
    CGImageRef first = CGBitmapContextCreateImage(*context);
    CGContextFillRect(*context, CGRect(4, 0, 4, 8));
    CGContextClearRect(*context, CGRect(0, 0, 2, 8));
    CGImageRef second = CGBitmapContextCreateImage(*context);
    EXPECT_EQ(pixel(*first, 1, 3), kOpaquePixel);
    EXPECT_EQ(pixel(*first, 6, 3), Bgra{});
    EXPECT_EQ(pixel(*second, 1, 3), Bgra{});
    EXPECT_EQ(pixel(*second, 6, 3), kOpaquePixel);
}

TEST(CGBitmapContextTest, FillAndClearWriteExactPixelsYUp) {
    auto context = CGBitmapContextCreate(10, 10);
    CGContextSetFillColorWithColor(*context, kTranslucent);
    CGContextFillRect(*context, CGRect(2, 1, 3, 2));
    // One pixel above the bottom edge: in memory (top row first) rows 7 and 8.
    const uint8_t* row8 = CGBitmapContextCreateImage(*context)->pixels().row(8);
    EXPECT_EQ((Bgra{row8[8], row8[9], row8[10], row8[11]}), kTranslucentPixel);

    CGContextSetFillColorWithColor(*context, kOpaque);
    CGContextFillRect(*context, CGRect(0, 0, 10, 10));
    CGContextClearRect(*context, CGRect(2, 3, 4, 5));
    CGContextClearRect(*context, CGRect(7.5, 0, 10, 10)); // half of column 7, all beyond
    CGImageRef image = CGBitmapContextCreateImage(*context);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 7; ++x) {
            const bool cleared = x >= 2 && x < 6 && y >= 3 && y < 8;
            EXPECT_EQ(pixel(*image, x, y), cleared ? Bgra{} : kOpaquePixel) << x << "," << y;
        }
        EXPECT_NEAR(pixel(*image, 7, y).a, 128, 1);
        EXPECT_EQ(pixel(*image, 8, y), Bgra{});
    }
}

TEST(CGBitmapContextTest, ShadowOffsetAlphaAndSwitchingItOff) {
    // Unblurred, the shadow is the shape moved by (6, 4): right and up.
    auto context = CGBitmapContextCreate(40, 40);
    CGContextSetShadowWithColor(*context, {6, 4}, 0, kBlack);
    CGContextSetFillColorWithColor(*context, kWhite);
    CGContextFillRect(*context, CGRect(10, 10, 10, 10));
    EXPECT_EQ(pixel(*context, 22, 15), (Bgra{0, 0, 0, 255}));
    EXPECT_EQ(pixel(*context, 25, 23), (Bgra{0, 0, 0, 255}));
    EXPECT_EQ(pixel(*context, 26, 15), Bgra{});
    EXPECT_EQ(pixel(*context, 15, 9), Bgra{}) << "nothing below";

    // The shadow carries the shape's alpha times its own.
    auto faint = CGBitmapContextCreate(40, 10);
    CGContextSetShadowWithColor(*faint, {20, 0}, 0, CGColorCreateGenericRGB(0, 0, 0, 0.2));
    CGContextSetFillColorWithColor(*faint, CGColorCreateGenericRGB(1, 1, 1, 0.6));
    CGContextFillRect(*faint, CGRect(0, 0, 10, 10));
    EXPECT_NEAR(pixel(*faint, 25, 5).a, 31, 1);

    // No colour, or a clear one, casts nothing.
    auto none = CGBitmapContextCreate(40, 40);
    CGContextSetShadowWithColor(*none, {3, -3}, 8, kBlack);
    CGContextSetShadowWithColor(*none, {0, 0}, 0, std::nullopt);
    CGContextFillRect(*none, CGRect(10, 10, 20, 20));
    CGContextSetShadowWithColor(*none, {3, -3}, 8, CGColorCreateGenericRGB(0, 0, 0, 0));
    CGContextFillRect(*none, CGRect(10, 10, 20, 20));
    EXPECT_EQ(alphaAt(*none, 9, 20), 0);
    EXPECT_EQ(alphaAt(*none, 20, 8), 0);
}

} // namespace
} // namespace vantrel
