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
// Colours whose premultiplied bytes are exact: 0.2 = 0x33 / 0xff.
const CGColor kOpaque = CGColorCreateGenericRGB(0.2, 0.4, 0.8, 1.0);
const Bgra kOpaquePixel{204, 102, 51, 255};
const CGColor kBlack = CGColorCreateGenericRGB(0, 0, 0, 1);

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

} // namespace
} // namespace vantrel
