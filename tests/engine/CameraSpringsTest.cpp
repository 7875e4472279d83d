// The springs alone, stepped at 120 Hz with a held aim: the reference figures
// of the camera's motion, the dead zone, the flight lowering and the fixed step.

#include "engine/CameraSprings.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace vantrel {
namespace {

constexpr double kStep = 1.0 / 120.0;

/// The motion after every step of a run of `seconds` with a held aim.
std::vector<CameraMotion> trajectory(CameraMotion motion, const SpringAim& aim, double seconds) {
    CameraSprings springs;
    std::vector<CameraMotion> path;
    for (int n = 0; n < std::lround(seconds / kStep); ++n) {
        springs.step(motion, aim, kStep);
        path.push_back(motion);
    }
    return path;
}

/// Seconds into the run at which `reached` first holds, or -1.
double firstTime(const std::vector<CameraMotion>& path,
                 const std::function<bool(const CameraMotion&)>& reached) {
    for (size_t n = 0; n < path.size(); ++n)
        if (reached(path[n])) return static_cast<double>(n + 1) * kStep;
    return -1;
}

/// Holds the camera still (a dead zone wider than the offset) so that only the zoom moves.
CGFloat settledZoom(CGFloat distance, CGFloat targetZoom) {
    CameraSprings springs;
    CameraMotion motion;
    const SpringAim aim{{distance, 0}, targetZoom, 1e9, false};
    for (int n = 0; n < 120 * 20; ++n)
        springs.step(motion, aim, kStep);
    EXPECT_EQ(motion.position.x, 0);
    return motion.zoom;
}

TEST(CameraSpringsTest, ZoomSpringPassesTheReferenceMarksBothWays) {
    const auto in = trajectory(CameraMotion{}, {{0, 0}, 2.0, 50, false}, 10);
    EXPECT_NEAR(firstTime(in, [](auto& m) { return m.zoom >= 1.5; }), 0.525, kStep);
    EXPECT_NEAR(firstTime(in, [](auto& m) { return m.zoom >= 1.9; }), 1.59, kStep);
    EXPECT_NEAR(firstTime(in, [](auto& m) { return m.zoom >= 1.99; }), 3.12, kStep);
    // Overdamped: it never passes its aim.
    EXPECT_EQ(firstTime(in, [](auto& m) { return m.zoom > 2.0; }), -1);

    CameraMotion zoomedIn;
    zoomedIn.zoom = 2.0;
    const auto out = trajectory(zoomedIn, {{0, 0}, 1.0, 50, false}, 10);
    EXPECT_NEAR(firstTime(out, [](auto& m) { return m.zoom <= 1.5; }), 0.525, kStep);
    EXPECT_NEAR(firstTime(out, [](auto& m) { return m.zoom <= 1.1; }), 1.59, kStep);
    EXPECT_NEAR(firstTime(out, [](auto& m) { return m.zoom <= 1.01; }), 3.12, kStep);
}

TEST(CameraSpringsTest, PanCoversTheReferenceDistancesAndRestsOneDeadZoneShort) {
    const auto path = trajectory(CameraMotion{}, {{600, 0}, 1.0, 50, false}, 20);
    EXPECT_NEAR(firstTime(path, [](auto& m) { return m.position.x >= 300; }), 0.29, kStep);
    EXPECT_NEAR(firstTime(path, [](auto& m) { return m.position.x >= 500; }), 0.72, kStep);
    EXPECT_NEAR(firstTime(path, [](auto& m) { return m.position.x >= 540; }), 1.12, kStep);
    EXPECT_EQ(firstTime(path, [](auto& m) { return m.position.x > 550 || m.position.y != 0; }), -1);
    EXPECT_NEAR(path.back().position.x, 550, 0.01);
    EXPECT_NEAR(path.back().velocity.x, 0, 1e-3);
}

TEST(CameraSpringsTest, LongFlightsLowerTheZoomAim) {
    EXPECT_NEAR(settledZoom(400, 2.0), 2.0, 1e-6);
    EXPECT_NEAR(settledZoom(500, 2.0), 2.0 - 0.126, 1e-6);
    EXPECT_NEAR(settledZoom(900, 2.0), 1.65, 1e-6);
    EXPECT_NEAR(settledZoom(5000, 2.0), 1.65, 1e-6);
    // The lowering never takes the aim below the floor.
    EXPECT_EQ(settledZoom(900, 1.2), 1.0);
}

} // namespace
} // namespace vantrel
