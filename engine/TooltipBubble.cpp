// Drawing the label bubble: a dark rounded plate with a soft shadow and the
// label in white, made once per text and reused while the pointer rests.
#include "CursorTooltip.h"
#include "platform/image/AttributedText.h"
#include "platform/image/CGBitmapContext.h"

#include <cmath>

namespace vantrel {

namespace {
constexpr CGFloat kFontShareOfHeight = 0.018;
constexpr CGFloat kMaxTextShareOfWidth = 0.25;
constexpr CGFloat kHorizontalPaddingInFonts = 0.6;
constexpr CGFloat kVerticalPaddingInFonts = 0.35;
constexpr CGFloat kCornerRadiusInFonts = 0.4;
const CGColor kBubbleFill{0, 0, 0, 0.75};
const CGColor kBubbleShadow{0, 0, 0, 0.5};
constexpr CGSize kShadowOffset{0, -2.0};
constexpr CGFloat kShadowBlur = 6.0;
} // namespace

std::optional<CIImage> drawTooltipBubble(const std::string& text, CGSize sourceSize) {
    const CGFloat f = sourceSize.height * kFontShareOfHeight;
    NSMutableParagraphStyle paragraph;
    paragraph.alignment = NSTextAlignment::left;
    paragraph.lineBreakMode = NSLineBreakMode::byTruncatingTail;
    const NSAttributedString label(
        text, {NSFont::systemFontOfSize(f, NSFontWeightMedium), NSColor::whiteColor(), paragraph});
    const CGSize textSize = label.size();

    const CGSize box{std::min(textSize.width, sourceSize.width * kMaxTextShareOfWidth), textSize.height};
    const CGFloat bubbleWidth = std::ceil(2 * f * kHorizontalPaddingInFonts + box.width);
    const CGFloat bubbleHeight = std::ceil(2 * f * kVerticalPaddingInFonts + box.height);

    auto context = CGBitmapContextCreate(static_cast<int>(bubbleWidth), static_cast<int>(bubbleHeight));
    if (!context) return std::nullopt;
    const CGRect whole{0, 0, bubbleWidth, bubbleHeight};
    CGContextClearRect(*context, whole);
    CGContextSetAllowsAntialiasing(*context, true);
    CGContextSetShouldAntialias(*context, true);

    CGContextSetShadowWithColor(*context, kShadowOffset, kShadowBlur, kBubbleShadow);
    CGContextAddPath(*context,
                     CGPathCreateWithRoundedRect(whole, f * kCornerRadiusInFonts, f * kCornerRadiusInFonts));
    CGContextSetFillColorWithColor(*context, kBubbleFill);
    CGContextFillPath(*context);
    CGContextSetShadowWithColor(*context, {0, 0}, 0, std::nullopt);

    label.drawInRect(*context, CGRect((bubbleWidth - box.width) * 0.5, (bubbleHeight - box.height) * 0.5,
                                      box.width, box.height));
    const auto bitmap = CGBitmapContextCreateImage(*context);
    if (!bitmap) return std::nullopt;
    return CIImage::fromCGImage(bitmap);
}

} // namespace vantrel
