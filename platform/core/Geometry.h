#pragma once
// Plane geometry in the names the logic was designed with. Rectangles are
// origin + size in a y-up space; nothing here flips y.

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantrel {

using CGFloat = double;

struct CGPoint {
    CGFloat x = 0;
    CGFloat y = 0;
    friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
    CGFloat width = 0;
    CGFloat height = 0;
    friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
    CGPoint origin;
    CGSize size;

    CGRect() = default;
    CGRect(CGPoint o, CGSize s) : origin(o), size(s) {}
    CGRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) : origin{x, y}, size{w, h} {}

    /// The rectangle with no area that intersections of disjoint rectangles give.
    static CGRect null() {
        constexpr CGFloat inf = std::numeric_limits<CGFloat>::infinity();
        return {inf, inf, 0, 0};
    }
    /// An unbounded rectangle: the extent of a plain colour.
    static CGRect infinite() {
        constexpr CGFloat big = std::numeric_limits<CGFloat>::max() / 4;
        return {-big / 2, -big / 2, big, big};
    }

    bool isNull() const { return std::isinf(origin.x) || std::isinf(origin.y); }
    bool isEmpty() const { return isNull() || size.width <= 0 || size.height <= 0; }
    bool isInfinite() const { return *this == infinite(); }

    // Rectangles with a negative size are read as their standardised form.
    CGFloat minX() const { return std::min(origin.x, origin.x + size.width); }
    CGFloat minY() const { return std::min(origin.y, origin.y + size.height); }
    CGFloat maxX() const { return std::max(origin.x, origin.x + size.width); }
    CGFloat maxY() const { return std::max(origin.y, origin.y + size.height); }
    CGFloat midX() const { return origin.x + size.width / 2; }
    CGFloat midY() const { return origin.y + size.height / 2; }
    CGFloat width() const { return std::abs(size.width); }
    CGFloat height() const { return std::abs(size.height); }

    /// Grows (negative dx, dy) or shrinks each side, as CGRectInset.
    CGRect insetBy(CGFloat dx, CGFloat dy) const;
    /// The common part, or null() when they do not overlap.
    CGRect intersection(const CGRect& other) const;
    /// The smallest rectangle holding both; a null side is ignored.
    CGRect unionWith(const CGRect& other) const;
    /// The smallest rectangle with whole-number edges that holds this one.
    CGRect integral() const;
    bool contains(CGPoint p) const { return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY(); }

    friend bool operator==(const CGRect&, const CGRect&) = default;
};

/// An axis-aligned affine map: x' = a·x + tx, y' = d·y + ty. The engine only
/// translates and scales, so the shear terms of a general affine map are left out.
struct CGAffineTransform {
    CGFloat a = 1;
    CGFloat d = 1;
    CGFloat tx = 0;
    CGFloat ty = 0;

    static CGAffineTransform identity() { return {}; }
    static CGAffineTransform makeTranslation(CGFloat x, CGFloat y) { return {1, 1, x, y}; }
    static CGAffineTransform makeScale(CGFloat sx, CGFloat sy) { return {sx, sy, 0, 0}; }

    /// This map applied first, then `then`.
    CGAffineTransform concatenating(const CGAffineTransform& then) const {
        return {a * then.a, d * then.d, tx * then.a + then.tx, ty * then.d + then.ty};
    }
    CGAffineTransform inverted() const { return {1 / a, 1 / d, -tx / a, -ty / d}; }
    CGPoint apply(CGPoint p) const { return {a * p.x + tx, d * p.y + ty}; }
    CGRect apply(const CGRect& r) const;
    bool isIdentity() const { return a == 1 && d == 1 && tx == 0 && ty == 0; }

    friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

} // namespace vantrel
