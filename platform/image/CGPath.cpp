#include "platform/image/CGPath.h"

#include <algorithm>
#include <limits>

namespace vantrel {

namespace {
// Distance of a cubic's control points from the ends, relative to the
// radius, for the closest fit to a quarter circle.
constexpr CGFloat kQuarterArcControl = 0.5522847498307936;

// The quarter ellipse around `centre` from angle `fromDegrees` to 90° more,
// counter-clockwise in y-up space; the path must stand at its start.
void addQuarterArc(CGPath& path, CGPoint centre, CGFloat rx, CGFloat ry, int fromDegrees) {
    // Unit vectors along the start and end radii.
    static constexpr CGPoint kAxes[4] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    const CGPoint u = kAxes[(fromDegrees / 90) % 4];
    const CGPoint v = kAxes[(fromDegrees / 90 + 1) % 4];
    const CGPoint start{centre.x + u.x * rx, centre.y + u.y * ry};
    const CGPoint end{centre.x + v.x * rx, centre.y + v.y * ry};
    const CGFloat k = kQuarterArcControl;
    path.addCurveToPoint({start.x + v.x * rx * k, start.y + v.y * ry * k},
                         {end.x + u.x * rx * k, end.y + u.y * ry * k}, end);
}
} // namespace

void CGPath::moveToPoint(CGPoint point) {
    elements_.push_back({CGPathElement::Type::moveToPoint, {point}});
}

void CGPath::addLineToPoint(CGPoint point) {
    elements_.push_back({CGPathElement::Type::addLineToPoint, {point}});
}

void CGPath::addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end) {
    elements_.push_back({CGPathElement::Type::addCurveToPoint, {control1, control2, end}});
}

void CGPath::closeSubpath() {
    elements_.push_back({CGPathElement::Type::closeSubpath, {}});
}

void CGPath::addPath(const CGPath& other) {
    elements_.insert(elements_.end(), other.elements_.begin(), other.elements_.end());
}

CGRect CGPath::boundingBox() const {
    constexpr CGFloat inf = std::numeric_limits<CGFloat>::infinity();
    CGFloat minX = inf, minY = inf, maxX = -inf, maxY = -inf;
    for (const CGPathElement& element : elements_) {
        const int count = element.type == CGPathElement::Type::addCurveToPoint ? 3
                          : element.type == CGPathElement::Type::closeSubpath  ? 0
                                                                               : 1;
        for (int i = 0; i < count; ++i) {
            minX = std::min(minX, element.points[i].x);
            minY = std::min(minY, element.points[i].y);
            maxX = std::max(maxX, element.points[i].x);
            maxY = std::max(maxY, element.points[i].y);
        }
    }
    if (minX > maxX) return CGRect::null();
    return {minX, minY, maxX - minX, maxY - minY};
}

CGPath CGPathCreateWithRect(const CGRect& rect) {
    CGPath path;
    path.moveToPoint({rect.minX(), rect.minY()});
    path.addLineToPoint({rect.maxX(), rect.minY()});
    path.addLineToPoint({rect.maxX(), rect.maxY()});
    path.addLineToPoint({rect.minX(), rect.maxY()});
    path.closeSubpath();
    return path;
}

CGPath CGPathCreateWithEllipseInRect(const CGRect& rect) {
    return CGPathCreateWithRoundedRect(rect, rect.width() / 2, rect.height() / 2);
}

CGPath CGPathCreateWithRoundedRect(const CGRect& rect, CGFloat cornerWidth, CGFloat cornerHeight) {
    const CGFloat rx = std::clamp(cornerWidth, 0.0, rect.width() / 2);
    const CGFloat ry = std::clamp(cornerHeight, 0.0, rect.height() / 2);
    if (rx <= 0 || ry <= 0) return CGPathCreateWithRect(rect);

    const CGFloat x0 = rect.minX(), y0 = rect.minY(), x1 = rect.maxX(), y1 = rect.maxY();
    CGPath path;
    // Counter-clockwise from the lower end of the right side; a side shrinks to
    // nothing where the corners meet, as in a circle.
    path.moveToPoint({x1, y0 + ry});
    if (y1 - ry > y0 + ry) path.addLineToPoint({x1, y1 - ry});
    addQuarterArc(path, {x1 - rx, y1 - ry}, rx, ry, 0);
    if (x0 + rx < x1 - rx) path.addLineToPoint({x0 + rx, y1});
    addQuarterArc(path, {x0 + rx, y1 - ry}, rx, ry, 90);
    if (y0 + ry < y1 - ry) path.addLineToPoint({x0, y0 + ry});
    addQuarterArc(path, {x0 + rx, y0 + ry}, rx, ry, 180);
    if (x1 - rx > x0 + rx) path.addLineToPoint({x1 - rx, y0});
    addQuarterArc(path, {x1 - rx, y0 + ry}, rx, ry, 270);
    path.closeSubpath();
    return path;
}

} // namespace vantrel
