#pragma once
// Colours for the bitmap context and text drawing, in device RGB.

#include "platform/core/Geometry.h"

#include <algorithm>

namespace vantrel {

/// Straight (not premultiplied) components from 0 to 1.
struct CGColor {
    CGFloat red = 0, green = 0, blue = 0, alpha = 0;

    /// The same colour with another alpha (NSColor's colorWithAlphaComponent:).
    CGColor withAlphaComponent(CGFloat newAlpha) const {
        return {red, green, blue, std::clamp(newAlpha, 0.0, 1.0)};
    }
    friend bool operator==(const CGColor&, const CGColor&) = default;
};

/// Components outside 0...1 are clamped, as Core Graphics does.
inline CGColor CGColorCreateGenericRGB(CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha) {
    return {std::clamp(red, 0.0, 1.0), std::clamp(green, 0.0, 1.0), std::clamp(blue, 0.0, 1.0),
            std::clamp(alpha, 0.0, 1.0)};
}

/// AppKit's named colours, for text attributes.
struct NSColor {
    static CGColor whiteColor() { return {1, 1, 1, 1}; }
    static CGColor blackColor() { return {0, 0, 0, 1}; }
    static CGColor clearColor() { return {0, 0, 0, 0}; }
};

} // namespace vantrel
