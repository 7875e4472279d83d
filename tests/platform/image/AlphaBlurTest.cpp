#include "platform/image/AlphaBlur.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace vantrel::alpha_blur {
namespace {

struct Plane {
    int width;
    int height;
    size_t stride;
    std::vector<uint8_t> bytes;

    Plane(int w, int h, size_t s, uint8_t fill = 0) : width(w), height(h), stride(s), bytes(s * h, fill) {}
    uint8_t& at(int x, int y) { return bytes[y * stride + x]; }
    void blur(double sigma) {
        BlurScratch scratch;
        blurPlane(bytes.data(), stride, width, height, sigma, scratch);
    }
};

Plane impulse(int size, uint8_t value = 255) {
    Plane plane(size, size, size);
    for (auto& b : plane.bytes)
        b = 0;
    plane.at(size / 2, size / 2) = value;
    return plane;
}

TEST(AlphaBlurTest, ReachBoundsHowFarAlphaTravels) {
    for (const double sigma : {1.0, 3.0, 4.0, 6.5}) {
        const int reach = reachPixels(sigma);
        ASSERT_GT(reach, 2 * sigma) << "sigma " << sigma;
        const int size = 2 * reach + 9;
        Plane plane = impulse(size);
        plane.blur(sigma);
        const int centre = size / 2;
        // Anything past the reach must be untouched: a shadow's plane only
        // has that much margin.
        for (int x = 0; x < size; ++x) {
            if (std::abs(x - centre) > reach) {
                EXPECT_EQ(plane.at(x, centre), 0) << "sigma " << sigma << " x " << x;
            }
        }
        EXPECT_GT(plane.at(centre + static_cast<int>(sigma), centre), 0) << "sigma " << sigma;
    }
}

} // namespace
} // namespace vantrel::alpha_blur
