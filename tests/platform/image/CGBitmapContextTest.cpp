#include "platform/image/CGBitmapContext.h"

#include <cmath>
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

// ---- Creation and images

TEST(CGBitmapContextTest, RefusesSizesNoBitmapCanHave) {
    EXPECT_FALSE(CGBitmapContextCreate(0, 10));
    EXPECT_FALSE(CGBitmapContextCreate(10, -1));
    EXPECT_FALSE(CGBitmapContextCreate(16385, 1));
    EXPECT_FALSE(CGBitmapContextCreate(10000, 10000));
    auto thin = CGBitmapContextCreate(16384, 1);
    ASSERT_TRUE(thin);
    EXPECT_EQ(thin->width(), 16384);
    EXPECT_EQ(thin->height(), 1);
}

TEST(CGBitmapContextTest, NewContextIsClearEvenOnReusedMemory) {
    for (int round = 0; round < 3; ++round) {
        auto context = CGBitmapContextCreate(37, 23);
        ASSERT_TRUE(context);
        CGImageRef image = CGBitmapContextCreateImage(*context);
        ASSERT_EQ(image->width(), 37);
        ASSERT_EQ(image->height(), 23);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x)
                ASSERT_EQ(pixel(*image, x, y), Bgra{}) << round << ": " << x << "," << y;
        // Leave paint and a shadow behind for the next round.
        CGContextSetShadowWithColor(*context, {3, -2}, 6, kBlack);
        CGContextSetFillColorWithColor(*context, kOpaque);
        CGContextFillRect(*context, CGRect(5, 5, 20, 10));
        CGContextFillEllipseInRect(*context, CGRect(30, 15, 20, 20));
        // A clear of only part of the paint must not make it count as clean.
        CGContextClearRect(*context, CGRect(0, 0, 10, 23));
    }
}

TEST(CGBitmapContextTest, ImageKeepsWhatWasDrawnWhenItWasMade) {
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
    EXPECT_EQ(pixel(*second, 3, 3), kOpaquePixel);
    EXPECT_EQ(pixel(*second, 6, 3), kOpaquePixel);

    // With the images gone the context draws on in place.
    first.reset();
    second.reset();
    CGContextClearRect(*context, CGRect(0, 0, 8, 8));
    EXPECT_EQ(pixel(*context, 6, 3), Bgra{});
}

TEST(CGBitmapContextTest, BrokenGeometryDrawsNothing) {
    const double nan = std::nan("");
    auto context = CGBitmapContextCreate(20, 20);
    CGContextSetShadowWithColor(*context, {nan, INFINITY}, nan, kBlack);
    CGContextSetLineWidth(*context, nan);
    CGContextFillRect(*context, CGRect(nan, 0, 5, 5));
    CGContextStrokeEllipseInRect(*context, CGRect(2, 2, 10, 10));
    CGContextClearRect(*context, CGRect(0, nan, 5, 5));
    CGContextFillEllipseInRect(*context, CGRect(0, 0, INFINITY, 5));
    CGImageRef image = CGBitmapContextCreateImage(*context);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 20; ++x)
            EXPECT_EQ(pixel(*image, x, y), Bgra{}) << x << "," << y;

    // Offset and blur fell back to nothing: the shadow hides under the fill.
    CGContextFillRect(*context, CGRect(0, 0, 5, 5));
    EXPECT_EQ(alphaAt(*context, 2, 2), 255);
    EXPECT_EQ(alphaAt(*context, 6, 2), 0);
}

// ---- Filling, orientation, clearing

TEST(CGBitmapContextTest, FillRectWritesExactPremultipliedPixelsYUp) {
    auto context = CGBitmapContextCreate(8, 6);
    CGContextSetFillColorWithColor(*context, kTranslucent);
    CGContextFillRect(*context, CGRect(2, 1, 3, 2));
    CGImageRef image = CGBitmapContextCreateImage(*context);

    // The rectangle sits one pixel above the bottom edge, so in memory
    // (top row first) it covers rows 3 and 4.
    const uint8_t* row4 = image->pixels().row(4);
    EXPECT_EQ((Bgra{row4[8], row4[9], row4[10], row4[11]}), kTranslucentPixel);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool inside = x >= 2 && x < 5 && y >= 1 && y < 3;
            EXPECT_EQ(pixel(*image, x, y), inside ? kTranslucentPixel : Bgra{}) << x << "," << y;
        }
    }
}

TEST(CGBitmapContextTest, ColoursAreClampedAndDefaultToOpaqueBlack) {
    EXPECT_EQ(CGColorCreateGenericRGB(-1, 2, 0.5, 7), (CGColor{0, 1, 0.5, 1}));
    auto context = CGBitmapContextCreate(2, 2);
    CGContextFillRect(*context, CGRect(0, 0, 1, 1));
    EXPECT_EQ(pixel(*context, 0, 0), (Bgra{0, 0, 0, 255}));
    EXPECT_EQ(pixel(*context, 1, 1), Bgra{});
}

TEST(CGBitmapContextTest, TranslucentFillsCompositeOver) {
    auto context = CGBitmapContextCreate(4, 4);
    CGContextSetFillColorWithColor(*context, kWhite);
    CGContextFillRect(*context, CGRect(0, 0, 4, 4));
    CGContextSetFillColorWithColor(*context, CGColorCreateGenericRGB(0, 0, 0, 0.6));
    CGContextFillRect(*context, CGRect(0, 0, 2, 4));
    // White under 60 % black: 255 × 0.4 = 102, still opaque.
    EXPECT_EQ(pixel(*context, 1, 1), (Bgra{102, 102, 102, 255}));
    EXPECT_EQ(pixel(*context, 3, 1), (Bgra{255, 255, 255, 255}));
}

TEST(CGBitmapContextTest, ClearRectMakesExactlyThatAreaTransparent) {
    auto context = CGBitmapContextCreate(10, 10);
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

TEST(CGBitmapContextTest, AntialiasingNeedsBothSwitches) {
    // A circle drawn with and without smoothing: smooth edges have partial
    // alpha, hard ones only none or full.
    auto countPartial = [](bool allows, bool should) {
        auto context = CGBitmapContextCreate(30, 30);
        CGContextSetAllowsAntialiasing(*context, allows);
        CGContextSetShouldAntialias(*context, should);
        CGContextFillEllipseInRect(*context, CGRect(3.3, 4.1, 22.5, 21));
        CGImageRef image = CGBitmapContextCreateImage(*context);
        int partial = 0, full = 0;
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 30; ++x) {
                const int a = pixel(*image, x, y).a;
                partial += a > 0 && a < 255;
                full += a == 255;
            }
        }
        EXPECT_GT(full, 250); // the disc is there in every case
        return partial;
    };
    EXPECT_GT(countPartial(true, true), 20);
    EXPECT_EQ(countPartial(false, true), 0);
    EXPECT_EQ(countPartial(true, false), 0);
}

// ---- Paths and ellipses

TEST(CGBitmapContextTest, StrokedEllipseIsARingWithAClearInside) {
    auto context = CGBitmapContextCreate(41, 41);
    CGContextSetStrokeColorWithColor(*context, kOpaque);
    CGContextSetLineWidth(*context, 2.0);
    // Radius 10 around (20, 20): the line covers radii 9 to 11.
    CGContextStrokeEllipseInRect(*context, CGRect(10, 10, 20, 20));
    CGImageRef image = CGBitmapContextCreateImage(*context);

    // Pixels wholly within the band, on all four sides.
    EXPECT_EQ(pixel(*image, 29, 19), kOpaquePixel);
    EXPECT_EQ(pixel(*image, 10, 20), kOpaquePixel);
    EXPECT_EQ(pixel(*image, 19, 29), kOpaquePixel);
    EXPECT_EQ(pixel(*image, 20, 10), kOpaquePixel);
    // Inside and outside stay clear.
    for (const auto& [x, y] :
         {std::pair{20, 20}, {25, 20}, {20, 14}, {24, 24}, {32, 20}, {20, 7}, {28, 28}}) {
        EXPECT_EQ(pixel(*image, x, y), Bgra{}) << x << "," << y;
    }
}

TEST(CGBitmapContextTest, FilledEllipseCoversItsInside) {
    auto context = CGBitmapContextCreate(30, 20);
    CGContextSetFillColorWithColor(*context, kTranslucent);
    CGContextFillEllipseInRect(*context, CGRect(0, 0, 30, 20));
    EXPECT_EQ(pixel(*context, 15, 10), kTranslucentPixel);
    EXPECT_EQ(pixel(*context, 1, 10), kTranslucentPixel);
    EXPECT_EQ(pixel(*context, 0, 0), Bgra{});
    EXPECT_EQ(pixel(*context, 29, 19), Bgra{});
}

TEST(CGBitmapContextTest, RoundedRectFillLeavesCornersClear) {
    auto context = CGBitmapContextCreate(40, 20);
    CGContextAddPath(*context, CGPathCreateWithRoundedRect(CGRect(0, 0, 40, 20), 8, 8));
    CGContextSetFillColorWithColor(*context, kOpaque);
    CGContextFillPath(*context);
    CGImageRef image = CGBitmapContextCreateImage(*context);
    for (const auto& [x, y] : {std::pair{0, 0}, {39, 0}, {0, 19}, {39, 19}, {1, 1}, {38, 18}}) {
        EXPECT_EQ(pixel(*image, x, y), Bgra{}) << x << "," << y;
    }
    for (const auto& [x, y] : {std::pair{20, 0}, {20, 19}, {0, 10}, {39, 10}, {20, 10}, {3, 3}}) {
        EXPECT_EQ(pixel(*image, x, y), kOpaquePixel) << x << "," << y;
    }
}

TEST(CGBitmapContextTest, FillUsesTheNonZeroWindingRule) {
    // Two squares, one inside the other: wound the same way the inner one is
    // filled (winding 2); wound against the outer one it is a hole.
    auto square = [](CGFloat x0, CGFloat y0, CGFloat side, bool counterClockwise) {
        CGPath path;
        path.moveToPoint({x0, y0});
        if (counterClockwise) {
            path.addLineToPoint({x0 + side, y0});
            path.addLineToPoint({x0 + side, y0 + side});
            path.addLineToPoint({x0, y0 + side});
        } else {
            path.addLineToPoint({x0, y0 + side});
            path.addLineToPoint({x0 + side, y0 + side});
            path.addLineToPoint({x0 + side, y0});
        }
        path.closeSubpath();
        return path;
    };
    auto context = CGBitmapContextCreate(20, 20);
    CGContextAddPath(*context, square(0, 0, 20, true));
    CGContextAddPath(*context, square(5, 5, 10, true));
    CGContextFillPath(*context);
    EXPECT_EQ(alphaAt(*context, 10, 10), 255);

    CGContextClearRect(*context, CGRect(0, 0, 20, 20));
    CGContextAddPath(*context, square(0, 0, 20, true));
    CGContextAddPath(*context, square(5, 5, 10, false));
    CGContextFillPath(*context);
    EXPECT_EQ(alphaAt(*context, 10, 10), 0);
    EXPECT_EQ(alphaAt(*context, 2, 10), 255);
}

TEST(CGBitmapContextTest, DrawingAPathEmptiesIt) {
    auto context = CGBitmapContextCreate(20, 10);
    CGContextAddPath(*context, CGPathCreateWithRect(CGRect(0, 0, 5, 10)));
    CGContextFillPath(*context);
    CGContextClearRect(*context, CGRect(0, 0, 20, 10));
    CGContextAddPath(*context, CGPathCreateWithRect(CGRect(10, 0, 5, 10)));
    CGContextFillPath(*context);
    EXPECT_EQ(alphaAt(*context, 2, 5), 0) << "the first rectangle was not filled again";
    EXPECT_EQ(alphaAt(*context, 12, 5), 255);

    // A fill rect leaves the path alone; the next path fill takes it.
    CGContextAddPath(*context, CGPathCreateWithRect(CGRect(0, 0, 2, 2)));
    CGContextFillRect(*context, CGRect(18, 0, 2, 2));
    EXPECT_EQ(alphaAt(*context, 0, 0), 0);
    CGContextFillPath(*context);
    EXPECT_EQ(alphaAt(*context, 0, 0), 255);
}

// ---- Shadows

TEST(CGBitmapContextTest, ShadowIsBlurredAndFallsOffWithDistance) {
    constexpr double kBlur = 8.0; // sigma 4
    auto context = CGBitmapContextCreate(80, 60);
    CGContextSetShadowWithColor(*context, {0, 0}, kBlur, kBlack);
    CGContextSetFillColorWithColor(*context, kWhite);
    CGContextFillRect(*context, CGRect(20, 20, 30, 20));
    CGImageRef image = CGBitmapContextCreateImage(*context);

    EXPECT_EQ(pixel(*image, 35, 30), (Bgra{255, 255, 255, 255})) << "the shape lies over its shadow";
    // Beside the right edge, a gaussian of sigma 4 leaves 255 × Φ(-d / 4) at
    // distance d from the edge; the shadow is black.
    int previous = 256;
    for (const int x : {50, 52, 54, 58}) {
        const double d = x + 0.5 - 50;
        const double expected = 255 * 0.5 * std::erfc(d / 4.0 / std::sqrt(2.0));
        const Bgra p = pixel(*image, x, 30);
        EXPECT_NEAR(p.a, expected, 10) << "x " << x;
        EXPECT_EQ((Bgra{p.b, p.g, p.r}), Bgra{}) << "x " << x;
        EXPECT_LT(p.a, previous) << "x " << x;
        previous = p.a;
    }
    EXPECT_LE(pixel(*image, 67, 30).a, 1) << "gone after four sigmas";
    // Above and below too; corners get less than sides.
    EXPECT_EQ(pixel(*image, 35, 40).a, pixel(*image, 35, 19).a);
    EXPECT_LT(pixel(*image, 51, 41).a, pixel(*image, 51, 30).a);
}

TEST(CGBitmapContextTest, ShadowOffsetMovesRightAndUp) {
    auto context = CGBitmapContextCreate(40, 40);
    CGContextSetShadowWithColor(*context, {6, 4}, 0, kBlack);
    CGContextSetFillColorWithColor(*context, kWhite);
    CGContextFillRect(*context, CGRect(10, 10, 10, 10));
    CGImageRef image = CGBitmapContextCreateImage(*context);
    // An unblurred shadow is the shape moved by (6, 4): right and up.
    EXPECT_EQ(pixel(*image, 22, 15), (Bgra{0, 0, 0, 255}));
    EXPECT_EQ(pixel(*image, 25, 23), (Bgra{0, 0, 0, 255}));
    EXPECT_EQ(pixel(*image, 26, 15), Bgra{});
    EXPECT_EQ(pixel(*image, 15, 24), Bgra{});
    EXPECT_EQ(pixel(*image, 15, 9), Bgra{}) << "nothing below";
    EXPECT_EQ(pixel(*image, 9, 15), Bgra{}) << "nothing left";

    // Blurred, the side the offset points to gets more shadow.
    auto blurred = CGBitmapContextCreate(60, 60);
    CGContextSetShadowWithColor(*blurred, {5, 0}, 6, kBlack);
    CGContextFillRect(*blurred, CGRect(20, 20, 20, 20));
    EXPECT_GT(alphaAt(*blurred, 42, 30), alphaAt(*blurred, 17, 30) + 40);
}

TEST(CGBitmapContextTest, ShadowCarriesTheShapesAlpha) {
    auto context = CGBitmapContextCreate(40, 10);
    CGContextSetShadowWithColor(*context, {20, 0}, 0, kBlack);
    CGContextSetFillColorWithColor(*context, CGColorCreateGenericRGB(1, 1, 1, 0.6));
    CGContextFillRect(*context, CGRect(0, 0, 10, 10));
    EXPECT_EQ(pixel(*context, 25, 5), (Bgra{0, 0, 0, 153}));

    CGContextSetShadowWithColor(*context, {20, 0}, 0, CGColorCreateGenericRGB(0, 0, 0, 0.2));
    CGContextSetFillColorWithColor(*context, kWhite);
    CGContextClearRect(*context, CGRect(0, 0, 40, 10));
    CGContextFillRect(*context, CGRect(0, 0, 10, 10));
    EXPECT_EQ(pixel(*context, 25, 5), (Bgra{0, 0, 0, 51}));
}

TEST(CGBitmapContextTest, NoShadowColourMeansNoShadow) {
    auto context = CGBitmapContextCreate(40, 40);
    CGContextSetShadowWithColor(*context, {3, -3}, 8, kBlack);
    CGContextSetShadowWithColor(*context, {0, 0}, 0, std::nullopt);
    CGContextFillRect(*context, CGRect(10, 10, 20, 20));
    CGContextSetShadowWithColor(*context, {3, -3}, 8, CGColorCreateGenericRGB(0, 0, 0, 0));
    CGContextFillRect(*context, CGRect(10, 10, 20, 20));
    CGImageRef image = CGBitmapContextCreateImage(*context);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool inside = x >= 10 && x < 30 && y >= 10 && y < 30;
            EXPECT_EQ(pixel(*image, x, y).a, inside ? 255 : 0) << x << "," << y;
        }
    }
}

TEST(CGBitmapContextTest, StrokeGlowsOnBothSidesOfTheRing) {
    const CGColor ring = CGColorCreateGenericRGB(0.4, 0.8, 1.0, 1.0);
    auto context = CGBitmapContextCreate(60, 60);
    CGContextSetShadowWithColor(*context, {0, 0}, 8, ring);
    CGContextSetStrokeColorWithColor(*context, ring);
    CGContextSetLineWidth(*context, 2);
    CGContextStrokeEllipseInRect(*context, CGRect(15, 15, 30, 30)); // radii 14 to 16
    CGImageRef image = CGBitmapContextCreateImage(*context);

    const Bgra outside = pixel(*image, 48, 30); // 2.5 beyond the line
    const Bgra inside = pixel(*image, 41, 30);  // 2.5 within it
    EXPECT_GT(outside.a, 30);
    EXPECT_GT(inside.a, 30);
    EXPECT_LT(outside.a, 200);
    // Glow in the ring's colour: premultiplied blue equals alpha.
    EXPECT_NEAR(outside.b, outside.a, 1);
    EXPECT_NEAR(outside.r, outside.a * 0.4, 2);
    EXPECT_LT(pixel(*image, 30, 30).a, inside.a) << "fading towards the centre";
}

TEST(CGBitmapContextTest, ShapesOffTheBitmapStillCastTheirShadowOnIt) {
    auto context = CGBitmapContextCreate(30, 30);
    CGContextSetShadowWithColor(*context, {12, 0}, 0, kBlack);
    CGContextFillRect(*context, CGRect(-20, 5, 18, 10)); // x -20 ... -2, shadow -8 ... 10
    EXPECT_EQ(alphaAt(*context, 0, 10), 255);
    EXPECT_EQ(alphaAt(*context, 9, 10), 255);
    EXPECT_EQ(alphaAt(*context, 10, 10), 0);

    // A shape that runs on past the bitmap's edge casts as much shadow next
    // to the edge as anywhere along it.
    auto edge = CGBitmapContextCreate(30, 30);
    CGContextSetShadowWithColor(*edge, {0, 0}, 8, kBlack);
    CGContextSetFillColorWithColor(*edge, kWhite);
    CGContextFillRect(*edge, CGRect(0, -50, 10, 130));
    const int middle = alphaAt(*edge, 10, 15);
    EXPECT_NEAR(middle, 255 * 0.5 * std::erfc(0.5 / 4.0 / std::sqrt(2.0)), 10);
    EXPECT_NEAR(alphaAt(*edge, 10, 29), middle, 2);
    EXPECT_NEAR(alphaAt(*edge, 10, 0), middle, 2);
}

} // namespace
} // namespace vantrel
