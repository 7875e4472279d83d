#include "PointerSprite.h"

#include "platform/image/CGBitmapContext.h"

namespace vantrel::tools {

namespace {
constexpr int kArrowWidth = 14;
constexpr int kArrowHeight = 21;
} // namespace

PointerSprite::PointerSprite() {
    auto bitmap = CGBitmapContextCreate(kArrowWidth, kArrowHeight);
    // The classic arrow, tip at the top-left corner.
    CGPath arrow;
    const double h = kArrowHeight - 1;
    arrow.moveToPoint({1, h});
    arrow.addLineToPoint({1, h - 16});
    arrow.addLineToPoint({5, h - 12.5});
    arrow.addLineToPoint({8, h - 19});
    arrow.addLineToPoint({10.5, h - 18});
    arrow.addLineToPoint({7.5, h - 11.5});
    arrow.addLineToPoint({12.5, h - 11.5});
    arrow.closeSubpath();
    CGContextAddPath(*bitmap, arrow);
    CGContextSetFillColorWithColor(*bitmap, NSColor::whiteColor());
    CGContextFillPath(*bitmap);
    CGContextAddPath(*bitmap, arrow);
    CGContextSetStrokeColorWithColor(*bitmap, NSColor::blackColor());
    CGContextSetLineWidth(*bitmap, 1.2);
    CGContextStrokePath(*bitmap);
    arrow_ = CIImage::fromCGImage(CGBitmapContextCreateImage(*bitmap));
}

CVPixelBufferRef PointerSprite::drawOver(const CVPixelBufferRef& screen, CGPoint location) {
    if (!pool_)
        pool_ = CVPixelBufferPoolCreate({2, kCVPixelFormatType_32BGRA, screen->width(), screen->height()});
    auto out = CVPixelBufferPoolCreatePixelBuffer(pool_);
    if (!out) return screen;
    const CIImage placed = arrow_.transformedBy(CGAffineTransform::makeTranslation(
        std::round(location.x) - 1, std::round(location.y) - kArrowHeight + 1));
    context_.render(placed.compositedOver(CIImage::fromPixelBuffer(screen)), *out,
                    CGRect(0, 0, screen->width(), screen->height()));
    return out;
}

} // namespace vantrel::tools
