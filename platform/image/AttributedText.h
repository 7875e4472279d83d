#pragma once
// Styled text for overlay bitmaps, in AppKit's terms: a string with one set
// of attributes (font, colour, paragraph style) that can measure itself and
// draw into a bitmap context. Laid out by Pango with the desktop's fonts
// (fontconfig); sizes are in context units, one unit one pixel.
//
// Nothing is cached between calls: a caller that draws the same text on
// every frame keeps the bitmap. Each thread lays out with its own Pango
// context, so any thread may measure and draw.

#include "platform/image/CGBitmapContext.h"
#include "platform/image/CGColor.h"
#include "platform/core/Geometry.h"

#include <string>

namespace vantrel {

enum class NSFontWeight { regular, medium, semibold, bold };
inline constexpr NSFontWeight NSFontWeightRegular = NSFontWeight::regular;
inline constexpr NSFontWeight NSFontWeightMedium = NSFontWeight::medium;
inline constexpr NSFontWeight NSFontWeightSemibold = NSFontWeight::semibold;
inline constexpr NSFontWeight NSFontWeightBold = NSFontWeight::bold;

/// The desktop's default sans-serif face at a size (em height in units) and weight.
struct NSFont {
    CGFloat pointSize = 12;
    NSFontWeight weight = NSFontWeight::regular;

    static NSFont systemFontOfSize(CGFloat pointSize, NSFontWeight weight = NSFontWeightRegular) {
        return {pointSize, weight};
    }
    friend bool operator==(const NSFont&, const NSFont&) = default;
};

/// `natural` is left-aligned: the interface texts run left to right.
enum class NSTextAlignment { left, center, right, justified, natural };

/// AppKit's values, in its order (truncating the tail is 4).
enum class NSLineBreakMode {
    byWordWrapping = 0,
    byCharWrapping = 1,
    byClipping = 2,
    byTruncatingHead = 3,
    byTruncatingTail = 4,
    byTruncatingMiddle = 5,
};

struct NSParagraphStyle {
    NSTextAlignment alignment = NSTextAlignment::natural;
    NSLineBreakMode lineBreakMode = NSLineBreakMode::byWordWrapping;
    friend bool operator==(const NSParagraphStyle&, const NSParagraphStyle&) = default;
};
using NSMutableParagraphStyle = NSParagraphStyle;

/// The attributes of the whole string; AppKit's defaults where none is given.
struct NSStringAttributes {
    NSFont font;                                     // NSFontAttributeName
    CGColor foregroundColor = NSColor::blackColor(); // NSForegroundColorAttributeName
    NSParagraphStyle paragraphStyle;                 // NSParagraphStyleAttributeName
};

class NSAttributedString {
public:
    /// `string` is UTF-8; invalid bytes show as replacement characters.
    NSAttributedString(std::string string, NSStringAttributes attributes);

    const std::string& string() const { return string_; }
    const NSStringAttributes& attributes() const { return attributes_; }

    /// Width and height the text takes when nothing limits it: the widest
    /// line, and the lines' full height (ascent, descent and line gap) for
    /// as many lines as the string has. Fractional, not rounded.
    CGSize size() const;

    /// How many characters no installed font has a glyph for: Pango draws
    /// each of them as a box with its code point. 0 when every character,
    /// after font fallback, has a real glyph.
    int missingGlyphCount() const;

    /// Lays the text out in the width of `rect` (wrapping or truncating as
    /// the line break mode says, aligned as the alignment says) with the
    /// first line's top at the rectangle's top, and draws it in the
    /// foreground colour, clipped to `rect`. Follows the context's shadow
    /// and antialiasing.
    void drawInRect(CGContext& context, const CGRect& rect) const;

private:
    std::string string_;
    NSStringAttributes attributes_;
};

} // namespace vantrel
