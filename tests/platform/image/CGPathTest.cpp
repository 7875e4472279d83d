#include "platform/image/CGPath.h"

#include <cmath>
#include <gtest/gtest.h>

namespace vantrel {
namespace {

using Type = CGPathElement::Type;

// The points a path passes through (curve ends, line ends), not its controls.
std::vector<CGPoint> onCurvePoints(const CGPath& path) {
    std::vector<CGPoint> points;
    for (const CGPathElement& e : path.elements()) {
        if (e.type == Type::addCurveToPoint)
            points.push_back(e.points[2]);
        else if (e.type != Type::closeSubpath)
            points.push_back(e.points[0]);
    }
    return points;
}

TEST(CGPathTest, RoundedRectStaysInItsRectAndTouchesEverySide) {
    const CGRect rect(10, 20, 100, 40);
    const CGPath path = CGPathCreateWithRoundedRect(rect, 8, 6);
    EXPECT_EQ(path.boundingBox(), rect);
    EXPECT_EQ(path.elements().front().type, Type::moveToPoint);
    EXPECT_EQ(path.elements().back().type, Type::closeSubpath);

    // Corner arcs start and end where the straight sides do.
    const std::vector<CGPoint> points = onCurvePoints(path);
    auto has = [&](CGPoint p) {
        for (const CGPoint& q : points)
            if (std::abs(q.x - p.x) < 1e-9 && std::abs(q.y - p.y) < 1e-9) return true;
        return false;
    };
    EXPECT_TRUE(has({110, 26}));
    EXPECT_TRUE(has({110, 54}));
    EXPECT_TRUE(has({102, 60}));
    EXPECT_TRUE(has({18, 60}));
    EXPECT_TRUE(has({10, 54}));
    EXPECT_TRUE(has({10, 26}));
    EXPECT_TRUE(has({18, 20}));
    EXPECT_TRUE(has({102, 20}));
}

TEST(CGPathTest, OversizedCornersBecomeAnEllipse) {
    const CGRect rect(0, 0, 30, 10);
    const CGPath capsule = CGPathCreateWithRoundedRect(rect, 50, 50);
    const CGPath ellipse = CGPathCreateWithEllipseInRect(rect);
    ASSERT_EQ(capsule.elements().size(), ellipse.elements().size());
    EXPECT_EQ(capsule.boundingBox(), rect);
    // No straight pieces are left: four arcs.
    int curves = 0;
    for (const CGPathElement& e : ellipse.elements())
        curves += e.type == Type::addCurveToPoint;
    EXPECT_EQ(curves, 4);
    for (const CGPathElement& e : ellipse.elements())
        EXPECT_NE(e.type, Type::addLineToPoint);
}

TEST(CGPathTest, EllipseArcsHugTheEllipse) {
    // Cubic quarter arcs sit within 0.03 % of the radius of a true circle.
    const CGPath circle = CGPathCreateWithEllipseInRect(CGRect(-50, -50, 100, 100));
    CGPoint start{};
    for (const CGPathElement& e : circle.elements()) {
        if (e.type == Type::moveToPoint) start = e.points[0];
        if (e.type != Type::addCurveToPoint) continue;
        for (double t = 0; t <= 1.0; t += 0.125) {
            const double u = 1 - t;
            const double x = u * u * u * start.x + 3 * u * u * t * e.points[0].x +
                             3 * u * t * t * e.points[1].x + t * t * t * e.points[2].x;
            const double y = u * u * u * start.y + 3 * u * u * t * e.points[0].y +
                             3 * u * t * t * e.points[1].y + t * t * t * e.points[2].y;
            EXPECT_NEAR(std::hypot(x, y), 50.0, 50.0 * 3e-4);
        }
        start = e.points[2];
    }
}

TEST(CGPathTest, ZeroCornersGiveAPlainRectAndPathsAppend) {
    const CGPath plain = CGPathCreateWithRoundedRect(CGRect(1, 2, 3, 4), 0, 5);
    EXPECT_EQ(onCurvePoints(plain).size(), 4u);
    for (const CGPathElement& e : plain.elements())
        EXPECT_NE(e.type, Type::addCurveToPoint);

    CGPath both = plain;
    both.addPath(CGPathCreateWithRect(CGRect(10, 10, 1, 1)));
    EXPECT_EQ(both.elements().size(), 2 * plain.elements().size());
    EXPECT_EQ(both.boundingBox(), CGRect(1, 2, 10, 9));
    EXPECT_TRUE(CGPath().boundingBox().isNull());
}

} // namespace
} // namespace vantrel
