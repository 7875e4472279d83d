#include "platform/core/Geometry.h"

namespace vantrel {

CGRect CGRect::insetBy(CGFloat dx, CGFloat dy) const {
    if (isNull()) return *this;
    CGRect r{minX() + dx, minY() + dy, width() - 2 * dx, height() - 2 * dy};
    if (r.size.width < 0 || r.size.height < 0) return null();
    return r;
}

CGRect CGRect::intersection(const CGRect& other) const {
    if (isNull() || other.isNull()) return null();
    const CGFloat x0 = std::max(minX(), other.minX());
    const CGFloat y0 = std::max(minY(), other.minY());
    const CGFloat x1 = std::min(maxX(), other.maxX());
    const CGFloat y1 = std::min(maxY(), other.maxY());
    if (x1 < x0 || y1 < y0) return null();
    return {x0, y0, x1 - x0, y1 - y0};
}

CGRect CGRect::unionWith(const CGRect& other) const {
    if (isNull()) return other;
    if (other.isNull()) return *this;
    const CGFloat x0 = std::min(minX(), other.minX());
    const CGFloat y0 = std::min(minY(), other.minY());
    return {x0, y0, std::max(maxX(), other.maxX()) - x0, std::max(maxY(), other.maxY()) - y0};
}

CGRect CGRect::integral() const {
    if (isNull()) return *this;
    const CGFloat x0 = std::floor(minX());
    const CGFloat y0 = std::floor(minY());
    return {x0, y0, std::ceil(maxX()) - x0, std::ceil(maxY()) - y0};
}

CGRect CGAffineTransform::apply(const CGRect& r) const {
    if (r.isNull() || r.isInfinite()) return r;
    const CGPoint p0 = apply(CGPoint{r.minX(), r.minY()});
    const CGPoint p1 = apply(CGPoint{r.maxX(), r.maxY()});
    const CGFloat x0 = std::min(p0.x, p1.x);
    const CGFloat y0 = std::min(p0.y, p1.y);
    return {x0, y0, std::abs(p1.x - p0.x), std::abs(p1.y - p0.y)};
}

} // namespace vantrel
