#include "platform/image/AttributedText.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace vantrel {
namespace {

NSAttributedString text(const std::string& string, CGFloat size, NSFontWeight weight = NSFontWeightRegular,
                        NSParagraphStyle style = {}) {
    return NSAttributedString(string, {NSFont::systemFontOfSize(size, weight), NSColor::whiteColor(), style});
}

// Where ink fell in an image, y-up like the context.
struct Ink {
    int minX = 1 << 30, minY = 1 << 30, maxX = -1, maxY = -1; // inclusive
    long total = 0;                                           // sum of alpha
    bool any() const { return maxX >= 0; }
};

Ink inkOf(const CGImage& image) {
    Ink ink;
    for (int row = 0; row < image.height(); ++row) {
        const uint8_t* p = image.pixels().row(row);
        const int y = image.height() - 1 - row;
        for (int x = 0; x < image.width(); ++x) {
            const int a = p[4 * x + 3];
            if (a == 0) continue;
            ink.total += a;
            ink.minX = std::min(ink.minX, x);
            ink.maxX = std::max(ink.maxX, x);
            ink.minY = std::min(ink.minY, y);
            ink.maxY = std::max(ink.maxY, y);
        }
    }
    return ink;
}

Ink drawAndInk(const NSAttributedString& string, int width, int height, const CGRect& rect) {
    auto context = CGBitmapContextCreate(width, height);
    string.drawInRect(*context, rect);
    return inkOf(*CGBitmapContextCreateImage(*context));
}

// ---- Measuring

TEST(AttributedTextTest, SizeGrowsWithTheTextAndTheFont) {
    const CGSize save = text("Save", 20).size();
    const CGSize longer = text("Save Document As", 20).size();
    EXPECT_GT(save.width, 20);
    EXPECT_GT(longer.width, save.width * 2.5);
    EXPECT_DOUBLE_EQ(longer.height, save.height) << "one line, one height";
    // A line is about the em plus descent and gap.
    EXPECT_GT(save.height, 20 * 1.0);
    EXPECT_LT(save.height, 20 * 1.6);

    const CGSize doubled = text("Save Document As", 40).size();
    EXPECT_NEAR(doubled.width, 2 * longer.width, longer.width * 0.05);
    EXPECT_NEAR(doubled.height, 2 * longer.height, longer.height * 0.05);

    EXPECT_GT(text("Save", 20, NSFontWeightBold).size().width, save.width);
    EXPECT_NEAR(text("two\nlines", 20).size().height, 2 * save.height, 1.0);
    EXPECT_EQ(text("", 20).size().width, 0);
    EXPECT_EQ(text("Save", 0).size(), CGSize{});
}

TEST(AttributedTextTest, EveryThreadMeasuresAlike) {
    const CGSize expected = text("⌘⇧ Export…", 31, NSFontWeightBold).size();
    std::vector<CGSize> seen(4);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] {
            for (int n = 0; n < 20; ++n)
                seen[i] = text("⌘⇧ Export…", 31, NSFontWeightBold).size();
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (const CGSize& size : seen)
        EXPECT_EQ(size, expected);
}

// ---- Drawing

TEST(AttributedTextTest, DrawsInsideTheRectFromItsTopLeft) {
    const NSAttributedString label = text("Hello World", 24);
    const CGSize size = label.size();
    // A rectangle three lines tall, away from every edge of the bitmap.
    const CGRect rect(30, 20, size.width, 3 * size.height);
    const Ink ink = drawAndInk(label, 300, 160, rect);
    ASSERT_TRUE(ink.any());
    EXPECT_GE(ink.minX, rect.minX());
    EXPECT_LE(ink.maxX, rect.maxX());
    EXPECT_GE(ink.minY, rect.minY());
    EXPECT_LE(ink.maxY, rect.maxY());
    // The line hangs from the top: all ink lies in the first line's height,
    // and the capitals come near that top.
    EXPECT_GT(ink.minY, rect.maxY() - size.height);
    EXPECT_GT(ink.maxY, rect.maxY() - size.height * 0.4);
    EXPECT_LT(ink.minX, rect.minX() + 5);
}

TEST(AttributedTextTest, InkIsTheForegroundColour) {
    const CGColor colour = CGColorCreateGenericRGB(1.0, 0.2, 0.0, 1.0);
    auto context = CGBitmapContextCreate(120, 40);
    NSAttributedString("IIII", {NSFont::systemFontOfSize(30, NSFontWeightBold), colour, {}})
        .drawInRect(*context, CGRect(0, 0, 120, 40));
    CGImageRef image = CGBitmapContextCreateImage(*context);
    int solid = 0;
    for (int row = 0; row < 40; ++row) {
        for (int x = 0; x < 120; ++x) {
            const uint8_t* p = image->pixels().row(row) + 4 * x;
            if (p[3] == 0) continue;
            EXPECT_EQ(p[2], p[3]); // red is full
            EXPECT_EQ(p[0], 0);    // no blue
            EXPECT_NEAR(p[1], p[3] * 0.2, 1);
            solid += p[3] == 255;
        }
    }
    EXPECT_GT(solid, 50);
}

TEST(AttributedTextTest, BoldLaysDownMoreInk) {
    const CGRect rect(0, 0, 300, 40);
    const Ink regular = drawAndInk(text("Keystroke overlay", 24, NSFontWeightRegular), 300, 40, rect);
    const Ink medium = drawAndInk(text("Keystroke overlay", 24, NSFontWeightMedium), 300, 40, rect);
    const Ink bold = drawAndInk(text("Keystroke overlay", 24, NSFontWeightBold), 300, 40, rect);
    EXPECT_GT(bold.total, regular.total * 1.2);
    EXPECT_GE(medium.total, regular.total);
    EXPECT_LE(medium.total, bold.total);
}

TEST(AttributedTextTest, AlignmentPlacesTheLineInTheWidth) {
    const CGRect rect(0, 0, 400, 40);
    const NSParagraphStyle centred{NSTextAlignment::center};
    const NSParagraphStyle right{NSTextAlignment::right};
    const Ink left = drawAndInk(text("Align", 24), 400, 40, rect);
    const Ink middle = drawAndInk(text("Align", 24, NSFontWeightRegular, centred), 400, 40, rect);
    const Ink end = drawAndInk(text("Align", 24, NSFontWeightRegular, right), 400, 40, rect);
    EXPECT_LT(left.minX, 5);
    EXPECT_NEAR(middle.minX, 399 - middle.maxX, 3);
    EXPECT_GT(end.maxX, 392);
    EXPECT_EQ(end.maxX - end.minX, left.maxX - left.minX);
}

TEST(AttributedTextTest, TailTruncationEndsInAnEllipsisWithinTheWidth) {
    // Full blocks leave ink in every column they cover: cut off by the
    // clip, they would reach the rectangle's right edge at full height.
    std::string bars;
    for (int i = 0; i < 40; ++i)
        bars += "\u2588";
    const CGFloat size = 20;
    const NSParagraphStyle truncating{NSTextAlignment::left, NSLineBreakMode::byTruncatingTail};
    const NSParagraphStyle clipping{NSTextAlignment::left, NSLineBreakMode::byClipping};
    const NSAttributedString truncated = text(bars, size, NSFontWeightMedium, truncating);
    const NSAttributedString clipped = text(bars, size, NSFontWeightMedium, clipping);
    const CGFloat lineHeight = truncated.size().height;
    ASSERT_GT(truncated.size().width, 300) << "the text is far wider than the box";

    const CGRect rect(10, 0, 150, 3 * lineHeight);
    auto topHalfInkNearRightEdge = [&](const NSAttributedString& string, Ink* whole) {
        auto context = CGBitmapContextCreate(200, static_cast<int>(rect.maxY()) + 1);
        string.drawInRect(*context, rect);
        CGImageRef image = CGBitmapContextCreateImage(*context);
        *whole = inkOf(*image);
        int ink = 0;
        for (int x = 157; x < 160; ++x)
            for (int y = static_cast<int>(rect.maxY() - lineHeight * 0.5); y < rect.maxY(); ++y)
                ink += image->pixels().row(image->height() - 1 - y)[4 * x + 3];
        return ink;
    };
    Ink truncatedInk, clippedInk;
    EXPECT_EQ(topHalfInkNearRightEdge(truncated, &truncatedInk), 0) << "dots sit low, bars do not";
    EXPECT_GT(topHalfInkNearRightEdge(clipped, &clippedInk), 0);
    EXPECT_LE(truncatedInk.maxX, 159);
    EXPECT_GT(truncatedInk.maxX, 130) << "the box is used up to its end";
    // Block glyphs overhang the line a little; a second line would reach
    // two line heights down.
    EXPECT_GT(truncatedInk.minY, rect.maxY() - 1.5 * lineHeight) << "one line only";
}

TEST(AttributedTextTest, WordWrappingBreaksLinesInNarrowRects) {
    const NSAttributedString words = text("one two three four five six", 20);
    const CGFloat lineHeight = words.size().height;
    const Ink ink = drawAndInk(words, 200, 200, CGRect(0, 0, 80, 200));
    EXPECT_LE(ink.maxX, 80);
    EXPECT_LT(ink.minY, 200 - 2 * lineHeight) << "at least three lines";
}

TEST(AttributedTextTest, HardEdgesWithoutAntialiasing) {
    auto partialPixels = [](bool antialias) {
        auto context = CGBitmapContextCreate(200, 40);
        CGContextSetShouldAntialias(*context, antialias);
        text("Smooth edges", 24).drawInRect(*context, CGRect(0, 0, 200, 40));
        CGImageRef image = CGBitmapContextCreateImage(*context);
        EXPECT_GT(inkOf(*image).total, 255 * 100);
        int partial = 0;
        for (int row = 0; row < 40; ++row) {
            for (int x = 0; x < 200; ++x) {
                const int a = image->pixels().row(row)[4 * x + 3];
                partial += a > 0 && a < 255;
            }
        }
        return partial;
    };
    EXPECT_EQ(partialPixels(false), 0);
    EXPECT_GT(partialPixels(true), 50);
}

TEST(AttributedTextTest, TextCastsTheContextsShadow) {
    auto context = CGBitmapContextCreate(100, 60);
    CGContextSetShadowWithColor(*context, {0, -20}, 0, CGColorCreateGenericRGB(0, 0, 0, 1));
    const NSAttributedString label = text("Shadow", 20);
    label.drawInRect(*context, CGRect(0, 30, 100, label.size().height));
    const Ink ink = inkOf(*CGBitmapContextCreateImage(*context));
    EXPECT_LT(ink.minY, 30) << "the shadow lies below the rectangle";
}

TEST(AttributedTextTest, NothingToDrawDrawsNothing) {
    EXPECT_FALSE(drawAndInk(text("Hidden", 20), 100, 40, CGRect(0, 0, 0, 40)).any());
    EXPECT_FALSE(drawAndInk(text("", 20), 100, 40, CGRect(0, 0, 100, 40)).any());
    EXPECT_FALSE(drawAndInk(text("Hidden", -3), 100, 40, CGRect(0, 0, 100, 40)).any());
    // Broken UTF-8 still draws, with replacement characters.
    EXPECT_TRUE(drawAndInk(text("ok \xff\xfe", 20), 100, 40, CGRect(0, 0, 100, 40)).any());
}

} // namespace
} // namespace vantrel
