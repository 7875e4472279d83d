// The image recipe rendered into pixel buffers, checked against pixels
// worked out by hand. Buffers store the top row first; images are y-up.
#include "platform/image/CIContext.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIImage.h"
#include "platform/image/SubpixelScale.h"

#include <array>
#include <cmath>
#include <vector>
#include <cstring>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

using Pixel = std::array<uint8_t, 4>; // B, G, R, A

constexpr Pixel kRed{0, 0, 255, 255};
constexpr Pixel kBlue{255, 0, 0, 255};
constexpr Pixel kClear{0, 0, 0, 0};

CVPixelBufferRef solid(int w, int h, Pixel p) {
    auto buffer = CVPixelBuffer::create(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            std::memcpy(buffer->row(y) + 4 * x, p.data(), 4);
    return buffer;
}

// Pixel at (x, y) in image space (y up).
Pixel at(const CVPixelBuffer& b, int x, int yUp) {
    Pixel p;
    std::memcpy(p.data(), b.row(b.height() - 1 - yUp) + 4 * x, 4);
    return p;
}

// Debian's libyuv filters with 7-bit weights that lose up to two levels of
// 255 on a resampled pixel, so resampled pixels are compared with that slack.
void expectNear(const Pixel& actual, const Pixel& expected) {
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(actual[c], expected[c], 2) << "channel " << c;
}

void put(CVPixelBuffer& b, int x, int yUp, Pixel p) {
    std::memcpy(b.row(b.height() - 1 - yUp) + 4 * x, p.data(), 4);
}

// A 4x4 picture: bottom half red, top half blue.
CVPixelBufferRef redBelowBlue() {
    auto buffer = solid(4, 4, kBlue);
    for (int x = 0; x < 4; ++x) {
        put(*buffer, x, 0, kRed);
        put(*buffer, x, 1, kRed);
    }
    return buffer;
}

struct Rendered {
    CIContext context;
    CVPixelBufferRef render(const CIImage& image, int w, int h, Pixel garbage = {0xAB, 0xAB, 0xAB, 0xAB}) {
        auto out = solid(w, h, garbage);
        context.render(image, *out, CGRect(0, 0, w, h));
        return out;
    }
};

} // namespace

TEST(ImageRenderingTest, WritesEveryPixelOfTheBoundsAndKeepsYUp) {
    Rendered r;
    // A 4x4 picture moved right by 2 on a 6x4 canvas: the left strip must be
    // cleared, not left with what the buffer held.
    auto out = r.render(
        CIImage::fromPixelBuffer(redBelowBlue()).transformedBy(CGAffineTransform::makeTranslation(2, 0)), 6,
        4);
    EXPECT_EQ(at(*out, 0, 0), kClear);
    EXPECT_EQ(at(*out, 1, 3), kClear);
    EXPECT_EQ(at(*out, 2, 0), kRed);  // bottom stays bottom
    EXPECT_EQ(at(*out, 5, 3), kBlue); // top stays top
}

TEST(ImageRenderingTest, ACropReachingPastTheSourceLeavesTheRestTransparent) {
    Rendered r;
    // A view a little wider than the picture (zoom below 1) anchored at the
    // origin: the picture is drawn smaller, at the lower left.
    const CGRect crop{0, 0, 8, 8};
    const CIImage image = CIImage::fromPixelBuffer(solid(4, 4, kRed))
                              .croppedTo(crop)
                              .transformedBy(CGAffineTransform::makeScale(0.5, 0.5));
    auto out = r.render(image, 4, 4);
    expectNear(at(*out, 0, 0), kRed);
    expectNear(at(*out, 1, 1), kRed);
    EXPECT_EQ(at(*out, 2, 0), kClear);
    EXPECT_EQ(at(*out, 0, 2), kClear);
    EXPECT_EQ(at(*out, 3, 3), kClear);
}

TEST(ImageRenderingTest, BitmapsLandOnWholePixelsExactlyAndResampleBetweenThem) {
    Rendered r;
    auto dot = solid(2, 2, kBlue);
    const CIImage background = CIImage::fromPixelBuffer(solid(8, 8, kRed));
    auto exact = r.render(CIImage::fromPixelBuffer(dot)
                              .transformedBy(CGAffineTransform::makeTranslation(3, 5))
                              .compositedOver(background),
                          8, 8);
    EXPECT_EQ(at(*exact, 3, 5), kBlue);
    EXPECT_EQ(at(*exact, 4, 6), kBlue);
    EXPECT_EQ(at(*exact, 2, 5), kRed);
    EXPECT_EQ(at(*exact, 5, 5), kRed);

    // Scaled by 2 over the background: a 4x4 blue block, nothing beyond it.
    auto scaled = r.render(CIImage::fromPixelBuffer(dot)
                               .transformedBy(CGAffineTransform::makeScale(2, 2))
                               .transformedBy(CGAffineTransform::makeTranslation(2, 2))
                               .compositedOver(background),
                           8, 8);
    expectNear(at(*scaled, 2, 2), kBlue);
    expectNear(at(*scaled, 5, 5), kBlue);
    EXPECT_EQ(at(*scaled, 1, 1), kRed);
    EXPECT_EQ(at(*scaled, 6, 6), kRed);
}

// (The mask filter choosing between two images is checked by the webcam
// overlay's round corners in WebcamOverlayTest.)
TEST(ImageRenderingTest, AlphaVectorFadesAndAnUnknownFilterIsNone) {
    Rendered r;
    auto fade = CIFilter::filterWithName("CIColorMatrix");
    fade->setValue(CIImage::fromColor({1, 0, 0, 1}).croppedTo({0, 0, 2, 2}), kCIInputImageKey);
    fade->setValue(CIVector{0, 0, 0, 0.5}, kCIInputAVectorKey);
    auto faded = r.render(*fade->outputImage(), 2, 2);
    EXPECT_EQ(at(*faded, 0, 0), (Pixel{0, 0, 128, 128}));

    EXPECT_EQ(CIFilter::filterWithName("CIUnknownFilter"), nullptr);
}

// Laying a picture over another runs eight, four and one pixels at a time:
// every width gives what the premultiplied formula gives pixel by pixel,
// through clear, opaque and part-covering runs.
TEST(ImageRenderingTest, SourceOverGivesTheFormulaAtEveryRowLength) {
    Rendered r;
    uint32_t seed = 12345;
    const auto next = [&] { return seed = seed * 1664525u + 1013904223u, uint8_t(seed >> 24); };
    for (const int width : {1, 3, 4, 7, 8, 13, 37}) {
        auto top = CVPixelBuffer::create(width, 1), bottom = CVPixelBuffer::create(width, 1);
        for (int x = 0; x < width; ++x) {
            // Runs of eight: clear, opaque, then mixed alphas.
            const int run = x / 8 % 3;
            const uint8_t alpha = run == 0 ? 0 : run == 1 ? 255 : next();
            Pixel s{};
            for (int c = 0; c < 3; ++c)
                s[c] = alpha ? uint8_t(next() % (alpha + 1)) : 0;
            s[3] = alpha;
            put(*top, x, 0, s);
            put(*bottom, x, 0, {next(), next(), next(), 255});
        }
        const auto out = r.render(CIImage::fromPixelBuffer(top).compositedOver(CIImage::fromPixelBuffer(bottom)),
                                  width, 1);
        for (int x = 0; x < width; ++x) {
            const Pixel s = at(*top, x, 0), d = at(*bottom, x, 0), o = at(*out, x, 0);
            for (int c = 0; c < 4; ++c) {
                const unsigned product = d[c] * (255u - s[3]) + 128;
                EXPECT_EQ(o[c], uint8_t(s[c] + ((product + (product >> 8)) >> 8)))
                    << "width " << width << ", pixel " << x << ", channel " << c;
            }
        }
    }
}

// An enlargement's columns are filtered eight at a time where the processor
// can, the rest by libyuv's kernel: both give each channel
// (p0 · (127 − f) + p1 · f) >> 7 at the fraction f (seven bits) the target
// centre falls on, and repeat the edge pixel beyond the outer centres.
TEST(ImageRenderingTest, EnlargedColumnsGiveTheFilterSumsAtEveryScaleAndOffset) {
    constexpr int kSourceWidth = 61, kTargetWidth = 150;
    std::vector<uint8_t> sourcePixels(4 * kSourceWidth), targetPixels(4 * kTargetWidth);
    uint32_t seed = 99;
    for (auto& byte : sourcePixels)
        byte = uint8_t((seed = seed * 1664525u + 1013904223u) >> 24);
    const pixel_ops::Surface source{sourcePixels.data(), sourcePixels.size(), kSourceWidth, 1};
    const pixel_ops::Surface target{targetPixels.data(), targetPixels.size(), kTargetWidth, 1};
    pixel_ops::ScaleWork work;
    for (const double scale : {1.0, 1.37, 2.0, 3.1})
        for (const double offset : {-7.25, 0.0, 0.4, 3.9}) {
            pixel_ops::scaleBilinear(source, {scale, offset, 1, 0}, target, target.bounds(), work);
            const int64_t step = std::llround(65536 / scale);
            const int64_t first = std::llround(((0.5 - offset) / scale - 0.5) * 65536);
            for (int x = 0; x < kTargetWidth; ++x) {
                const int64_t at = first + x * step;
                const int whole = int(at >> 16), f = int(at >> 9) & 0x7f;
                for (int c = 0; c < 4; ++c) {
                    int expected;
                    if (at < 0)
                        expected = sourcePixels[size_t(c)];
                    else if (whole >= kSourceWidth - 1)
                        expected = sourcePixels[4 * size_t(kSourceWidth - 1) + size_t(c)];
                    else
                        expected = (sourcePixels[4 * size_t(whole) + size_t(c)] * (127 - f) +
                                    sourcePixels[4 * size_t(whole + 1) + size_t(c)] * f) >> 7;
                    ASSERT_EQ(targetPixels[4 * size_t(x) + size_t(c)], expected)
                        << "scale " << scale << ", offset " << offset << ", column " << x << ", channel " << c;
                }
            }
        }
}
