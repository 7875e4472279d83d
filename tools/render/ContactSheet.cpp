#include "ContactSheet.h"

#include "platform/image/CIContext.h"

namespace vantrel::tools {

namespace {
constexpr int kGap = 8;
}

CVPixelBufferRef makeContactSheet(const std::vector<CVPixelBufferRef>& frames, int columns,
                                  int thumbnailWidth) {
    if (frames.empty() || columns <= 0 || thumbnailWidth <= 0) return nullptr;
    const double scale = static_cast<double>(thumbnailWidth) / frames.front()->width();
    const int thumbnailHeight = static_cast<int>(frames.front()->height() * scale);
    const int rows = (static_cast<int>(frames.size()) + columns - 1) / columns;
    const int sheetWidth = columns * (thumbnailWidth + kGap) + kGap;
    const int sheetHeight = rows * (thumbnailHeight + kGap) + kGap;

    CIImage sheet =
        CIImage::fromColor({0.12, 0.12, 0.14, 1}).croppedTo(CGRect(0, 0, sheetWidth, sheetHeight));
    for (size_t i = 0; i < frames.size(); ++i) {
        const int column = static_cast<int>(i) % columns, row = static_cast<int>(i) / columns;
        // Row 0 at the top; images are y-up.
        const double x = kGap + column * (thumbnailWidth + kGap);
        const double y = sheetHeight - (row + 1) * (thumbnailHeight + kGap);
        sheet = CIImage::fromPixelBuffer(frames[i])
                    .transformedBy(CGAffineTransform::makeScale(scale, scale))
                    .transformedBy(CGAffineTransform::makeTranslation(x, y))
                    .compositedOver(sheet);
    }
    CIContext context;
    return context.createPixelBuffer(sheet, CGRect(0, 0, sheetWidth, sheetHeight));
}

} // namespace vantrel::tools
