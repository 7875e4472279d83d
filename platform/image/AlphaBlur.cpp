#include "platform/image/AlphaBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vantrel::alpha_blur {

namespace {

// Intermediate passes keep 7 fractional bits, so that six roundings cost
// less than one step of the final 8-bit alpha.
constexpr int kFractionBits = 7;
// Wider shadows than this look no different and would only cost more.
constexpr double kLargestSigma = 256;

// One box of the three: the window reaches `left` pixels back and `right`
// pixels ahead of the pixel it writes.
struct Box {
    int left = 0;
    int right = 0;
    int size() const { return left + right + 1; }
};

// Box widths whose three-fold convolution has about the gaussian's variance.
// An even width cannot be centred: two of them lean to opposite sides and
// the third grows by one, so the result stays symmetric.
std::array<Box, 3> boxesFor(double sigma) {
    if (!(sigma > 0)) return {};
    sigma = std::min(sigma, kLargestSigma);
    const int d = static_cast<int>(std::floor(sigma * 3.0 * std::sqrt(2.0 * M_PI) / 4.0 + 0.5));
    if (d <= 1) return {};
    if (d % 2 == 1) {
        const int half = (d - 1) / 2;
        return {Box{half, half}, Box{half, half}, Box{half, half}};
    }
    const int half = d / 2;
    return {Box{half, half - 1}, Box{half - 1, half}, Box{half, half}};
}

// Division by the box size as a multiplication: exact enough for sums of
// at most a few hundred 15-bit values.
struct Divider {
    explicit Divider(int size) : reciprocal((uint64_t{1} << kShift) / size + 1) {}
    uint16_t operator()(uint32_t sum) const { return static_cast<uint16_t>((sum * reciprocal) >> kShift); }
    static constexpr int kShift = 32;
    uint64_t reciprocal;
};

// Boxes up to this size divide in single precision, as vector code: for
// sums below 2^20 with half a unit added, the error of the product stays far
// below the smallest distance to the next whole quotient, so the truncated
// quotient is exactly the one Divider gives.
constexpr int kLargestFloatDivisor = 32;

void divideRow(const uint32_t* sums, uint16_t* target, int width, int size) {
    if (size <= kLargestFloatDivisor) {
        const float reciprocal = 1.0f / static_cast<float>(size);
        for (int x = 0; x < width; ++x) {
            const float sum = static_cast<float>(static_cast<int32_t>(sums[x]));
            target[x] = static_cast<uint16_t>(static_cast<int32_t>((sum + 0.5f) * reciprocal));
        }
        return;
    }
    const Divider divide(size);
    for (int x = 0; x < width; ++x)
        target[x] = divide(sums[x]);
}

// Box average down the columns, a whole row at a time so that the inner
// loops run along memory. Where the processor has AVX2, the same loops are
// made twice as wide (the results are the same bit for bit).
__attribute__((target_clones("avx2", "default"))) void boxColumns(const uint16_t* in, uint16_t* out,
                                                                  int width, int height, Box box,
                                                                  std::vector<uint32_t>& sums) {
    const uint32_t half = static_cast<uint32_t>(box.size() / 2);
    sums.assign(width, half);
    for (int y = 0; y <= box.right && y < height; ++y) {
        const uint16_t* row = in + static_cast<size_t>(y) * width;
        for (int x = 0; x < width; ++x)
            sums[x] += row[x];
    }
    for (int y = 0; y < height; ++y) {
        divideRow(sums.data(), out + static_cast<size_t>(y) * width, width, box.size());
        const int entering = y + box.right + 1;
        const int leaving = y - box.left;
        if (entering < height) {
            const uint16_t* row = in + static_cast<size_t>(entering) * width;
            for (int x = 0; x < width; ++x)
                sums[x] += row[x];
        }
        if (leaving >= 0) {
            const uint16_t* row = in + static_cast<size_t>(leaving) * width;
            for (int x = 0; x < width; ++x)
                sums[x] -= row[x];
        }
    }
}

} // namespace

int reachPixels(double sigma) {
    int reach = 0;
    for (const Box& box : boxesFor(sigma))
        reach += box.left > box.right ? box.left : box.right;
    return reach;
}

void blurPlane(uint8_t* plane, size_t stride, int width, int height, double sigma, BlurScratch& scratch) {
    const std::array<Box, 3> boxes = boxesFor(sigma);
    if (width <= 0 || height <= 0 || boxes[0].size() <= 1) return;

    const size_t count = static_cast<size_t>(width) * height;
    if (scratch.planes.size() < 2 * count) scratch.planes.resize(2 * count);
    uint16_t* a = scratch.planes.data();
    uint16_t* b = a + count;

    // The rows are blurred as the columns of the plane turned on its side:
    // a column pass runs along memory, a whole row of sums at a time, which
    // the compiler turns into vector code; a pass along each row cannot be.
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = plane + y * stride;
        for (int x = 0; x < width; ++x)
            a[static_cast<size_t>(x) * height + y] = static_cast<uint16_t>(row[x] << kFractionBits);
    }
    for (const Box& box : boxes) {
        boxColumns(a, b, height, width, box, scratch.columnSums);
        std::swap(a, b);
    }
    for (int x = 0; x < width; ++x) {
        const uint16_t* column = a + static_cast<size_t>(x) * height;
        for (int y = 0; y < height; ++y)
            b[static_cast<size_t>(y) * width + x] = column[y];
    }
    std::swap(a, b);
    for (const Box& box : boxes) {
        boxColumns(a, b, width, height, box, scratch.columnSums);
        std::swap(a, b);
    }
    constexpr int kHalf = 1 << (kFractionBits - 1);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = plane + y * stride;
        for (int x = 0; x < width; ++x)
            row[x] = static_cast<uint8_t>((a[y * width + x] + kHalf) >> kFractionBits);
    }
}

} // namespace vantrel::alpha_blur
