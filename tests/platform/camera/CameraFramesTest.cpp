// Camera frames into BGRA: YUYV, NV12 and MJPEG against hand-made pictures,
// mirroring, padded rows and frames that are too short or damaged; a file
// that is no V4L2 camera; the choice of format.
#include "platform/camera/CameraFrameConverter.h"
#include "platform/camera/CameraStreamV4L2.h"

#include <QBuffer>
#include <QImage>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

struct Bgra {
    int b, g, r;
};

Bgra pixel(const CVPixelBuffer& buffer, int x, int y) {
    const uint8_t* p = buffer.row(y) + x * 4;
    return {p[0], p[1], p[2]};
}

::testing::AssertionResult near(Bgra actual, Bgra expected, int tolerance = 3) {
    if (std::abs(actual.b - expected.b) <= tolerance && std::abs(actual.g - expected.g) <= tolerance &&
        std::abs(actual.r - expected.r) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "got BGR " << actual.b << "," << actual.g << "," << actual.r << ", expected " << expected.b
           << "," << expected.g << "," << expected.r;
}

// Video-range BT.601: Y 235 is white, Y 16 black; Y 81 U 90 V 240 pure red.
constexpr Bgra kWhite{255, 255, 255}, kBlack{0, 0, 0}, kRed{0, 0, 255};

/// 4x2 YUYV: top row white, white, black, black; bottom row red, red, red, red.
std::vector<uint8_t> yuyvFrame(size_t stride) {
    std::vector<uint8_t> bytes(stride * 2, 0);
    const uint8_t top[] = {235, 128, 235, 128, 16, 128, 16, 128};
    const uint8_t bottom[] = {81, 90, 81, 240, 81, 90, 81, 240};
    std::copy(std::begin(top), std::end(top), bytes.begin());
    std::copy(std::begin(bottom), std::end(bottom), bytes.begin() + stride);
    return bytes;
}

CameraFrame frameOf(const std::vector<uint8_t>& bytes, CameraPixelFormat format, int w, int h,
                    size_t stride) {
    return {bytes.data(), bytes.size(), stride, {format, w, h}};
}

} // namespace

TEST(CameraFrameConverterTest, YuyvBecomesBgraMirroredOrNotSkippingPaddingAndRefusingShortFrames) {
    CameraFrameConverter converter;
    auto out = CVPixelBuffer::create(4, 2);
    std::string error;
    const auto bytes = yuyvFrame(8);
    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::yuyv, 4, 2, 8), false, *out, error)) << error;
    EXPECT_TRUE(near(pixel(*out, 0, 0), kWhite));
    EXPECT_TRUE(near(pixel(*out, 3, 0), kBlack));
    EXPECT_TRUE(near(pixel(*out, 1, 1), kRed, 6));
    EXPECT_EQ(out->row(0)[3], 255); // opaque
    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::yuyv, 4, 2, 8), true, *out, error)) << error;
    EXPECT_TRUE(near(pixel(*out, 0, 0), kBlack));
    EXPECT_TRUE(near(pixel(*out, 3, 0), kWhite));

    const auto padded = yuyvFrame(16); // 8 bytes of picture, 8 of padding a row
    ASSERT_TRUE(converter.convert(frameOf(padded, CameraPixelFormat::yuyv, 4, 2, 16), false, *out, error));
    EXPECT_TRUE(near(pixel(*out, 0, 1), kRed, 6));
    auto shortFrame = bytes;
    shortFrame.resize(12);
    EXPECT_FALSE(converter.convert(frameOf(shortFrame, CameraPixelFormat::yuyv, 4, 2, 8), false, *out, error));
    EXPECT_FALSE(error.empty());
    error.clear();
    auto wrongSize = CVPixelBuffer::create(8, 2);
    EXPECT_FALSE(converter.convert(frameOf(padded, CameraPixelFormat::yuyv, 4, 2, 16), false, *wrongSize, error));
    EXPECT_FALSE(error.empty());
}

TEST(CameraFrameConverterTest, Nv12BecomesBgra) {
    // 4x2: Y plane then one interleaved UV row for the 2x2 blocks: left block
    // neutral (white, black by luma), right block red.
    const std::vector<uint8_t> bytes = {235, 16,  81, 81, //
                                        235, 16,  81, 81, //
                                        128, 128, 90, 240};
    CameraFrameConverter converter;
    auto out = CVPixelBuffer::create(4, 2);
    std::string error;
    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::nv12, 4, 2, 4), false, *out, error))
        << error;
    EXPECT_TRUE(near(pixel(*out, 0, 1), kWhite));
    EXPECT_TRUE(near(pixel(*out, 1, 0), kBlack));
    EXPECT_TRUE(near(pixel(*out, 3, 1), kRed, 6));

    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::nv12, 4, 2, 4), true, *out, error));
    EXPECT_TRUE(near(pixel(*out, 0, 0), kRed, 6));
    EXPECT_TRUE(near(pixel(*out, 3, 0), kWhite));

    std::vector<uint8_t> lumaOnly(bytes.begin(), bytes.begin() + 8);
    EXPECT_FALSE(converter.convert(frameOf(lumaOnly, CameraPixelFormat::nv12, 4, 2, 4), false, *out, error));
}

TEST(CameraFrameConverterTest, MjpegIsDecodedAtItsSizeAndDamageIsRefused) {
    // A 32x16 picture, left half blue, right half yellow, saved as a baseline
    // JPEG (4:2:0, as cameras send): block edges fall on the colour edge.
    QImage picture(32, 16, QImage::Format_RGB32);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 32; ++x)
            picture.setPixel(x, y, x < 16 ? qRgb(0, 0, 255) : qRgb(255, 255, 0));
    QByteArray jpeg;
    QBuffer device(&jpeg);
    device.open(QIODevice::WriteOnly);
    ASSERT_TRUE(picture.save(&device, "JPG", 95));
    const std::vector<uint8_t> bytes(jpeg.begin(), jpeg.end());

    CameraFrameConverter converter;
    auto out = CVPixelBuffer::create(32, 16);
    std::string error;
    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::mjpeg, 32, 16, 0), false, *out, error))
        << error;
    EXPECT_TRUE(near(pixel(*out, 4, 8), {255, 0, 0}, 12));
    EXPECT_TRUE(near(pixel(*out, 27, 8), {0, 255, 255}, 12));
    ASSERT_TRUE(converter.convert(frameOf(bytes, CameraPixelFormat::mjpeg, 32, 16, 0), true, *out, error));
    EXPECT_TRUE(near(pixel(*out, 4, 8), {0, 255, 255}, 12));

    auto other = CVPixelBuffer::create(64, 16);
    EXPECT_FALSE(
        converter.convert(frameOf(bytes, CameraPixelFormat::mjpeg, 64, 16, 0), false, *other, error));
    EXPECT_NE(error.find("32x16"), std::string::npos) << error;

    const std::vector<uint8_t> garbage(200, 0x5a);
    error.clear();
    EXPECT_FALSE(
        converter.convert(frameOf(garbage, CameraPixelFormat::mjpeg, 32, 16, 0), false, *out, error));
    EXPECT_FALSE(error.empty());
}

TEST(CameraFormatChoiceTest, NearestSizeThenUncompressed) {
    using F = CameraPixelFormat;
    const std::vector<CameraFormat> offered = {{F::mjpeg, 1280, 720},
                                               {F::mjpeg, 640, 480},
                                               {F::yuyv, 640, 480},
                                               {F::yuyv, 320, 240},
                                               {F::nv12, 1920, 1080}};
    EXPECT_EQ(chooseCameraFormat(offered, 640, 480), (CameraFormat{F::yuyv, 640, 480}));
    // Only large sizes: the nearest, even if it is compressed.
    EXPECT_EQ(chooseCameraFormat({{F::nv12, 1920, 1080}, {F::mjpeg, 1280, 720}}, 640, 480),
              (CameraFormat{F::mjpeg, 1280, 720}));
    EXPECT_EQ(chooseCameraFormat({{F::yuyv, 352, 288}, {F::yuyv, 800, 600}}, 640, 480),
              (CameraFormat{F::yuyv, 800, 600}));
    EXPECT_FALSE(chooseCameraFormat({}, 640, 480));
}

TEST(CameraStreamV4L2Test, AFileThatIsNoCameraIsAClearError) {
    std::string error;
    const auto file =
        std::filesystem::temp_directory_path() / ("vantrel-not-a-camera-" + std::to_string(getpid()));
    std::ofstream(file) << "x";
    EXPECT_FALSE(CameraStreamV4L2::open(file.string(), error));
    EXPECT_EQ(error, file.string() + " is not a V4L2 device");
    std::filesystem::remove(file);
}
