#pragma once
// Vector paths in the y-up space of a bitmap context: a list of subpaths made
// of lines and cubic curves, built once and drawn by a context.

#include "platform/core/Geometry.h"

#include <array>
#include <vector>

namespace vantrel {

struct CGPathElement {
    enum class Type { moveToPoint, addLineToPoint, addCurveToPoint, closeSubpath };
    Type type = Type::moveToPoint;
    /// moveTo and lineTo use the first point; a curve has two control points, then its end.
    std::array<CGPoint, 3> points{};
};

class CGPath {
public:
    void moveToPoint(CGPoint point);
    void addLineToPoint(CGPoint point);
    void addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end);
    void closeSubpath();
    /// Appends the subpaths of `other`.
    void addPath(const CGPath& other);

    bool isEmpty() const { return elements_.empty(); }
    const std::vector<CGPathElement>& elements() const { return elements_; }
    /// The smallest rectangle that holds every point, control points included;
    /// null for an empty path.
    CGRect boundingBox() const;

private:
    std::vector<CGPathElement> elements_;
};

/// The rectangle as one closed subpath, counter-clockwise in y-up space.
CGPath CGPathCreateWithRect(const CGRect& rect);
/// The ellipse that fills `rect`, as four cubic curves.
CGPath CGPathCreateWithEllipseInRect(const CGRect& rect);
/// `rect` with quarter-ellipse corners of the given radii. Radii are clamped
/// to half the rectangle's sides (Core Graphics refuses larger ones).
CGPath CGPathCreateWithRoundedRect(const CGRect& rect, CGFloat cornerWidth, CGFloat cornerHeight);

} // namespace vantrel
