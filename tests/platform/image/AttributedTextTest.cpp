#include "platform/image/AttributedText.h"

#include <gtest/gtest.h>

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

TEST(AttributedTextTest, TailTruncationEndsInAnEllipsisWithinTheWidth) {
    // Full blocks ink every column they cover at full height: cut off by the
    // clip they would reach the box's right edge high up; dots sit low.
    std::string bars;
    for (int i = 0; i < 40; ++i)
        bars += "\u2588";
    const NSAttributedString truncated =
        text(bars, 20, NSFontWeightMedium, {NSTextAlignment::left, NSLineBreakMode::byTruncatingTail});
    const CGFloat line = truncated.size().height;
    ASSERT_GT(truncated.size().width, 300) << "the text is far wider than the box";
    const CGRect rect(10, 0, 150, 3 * line);
    auto context = CGBitmapContextCreate(200, static_cast<int>(rect.maxY()) + 1);
    truncated.drawInRect(*context, rect);
    CGImageRef image = CGBitmapContextCreateImage(*context);
    const Ink ink = inkOf(*image);
    int highInkAtTheEnd = 0;
    for (int x = 157; x < 160; ++x)
        for (int y = static_cast<int>(rect.maxY() - line * 0.5); y < rect.maxY(); ++y)
            highInkAtTheEnd += image->pixels().row(image->height() - 1 - y)[4 * x + 3];
    EXPECT_EQ(highInkAtTheEnd, 0);
    EXPECT_LE(ink.maxX, 159);
    EXPECT_GT(ink.maxX, 130) << "the box is used up to its end";
    EXPECT_GT(ink.minY, rect.maxY() - 1.5 * line) << "one line only";
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
