#include "platform/image/PngFile.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace vantrel {
namespace {

struct Bgra {
    uint8_t b, g, r, a;
    friend bool operator==(const Bgra&, const Bgra&) = default;
};

Bgra pixelAt(const CVPixelBuffer& buffer, int x, int yFromTop) {
    const uint8_t* p = buffer.row(yFromTop) + 4 * x;
    return {p[0], p[1], p[2], p[3]};
}

class PngFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        directory_ = std::filesystem::temp_directory_path() /
                     ("vantrel-png-" + std::to_string(::getpid()) + "-" +
                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(directory_);
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

    std::filesystem::path file(const std::string& name) const { return directory_ / name; }

    void writeBytes(const std::filesystem::path& path, const std::string& bytes) const {
        std::ofstream out(path, std::ios::binary);
        out << bytes;
    }

    std::filesystem::path directory_;
};

// A file made elsewhere pins the reader's channel and row order; the round
// trip above then holds the writer to the same order.
TEST_F(PngFileTest, ReadsAnRgbFileTopRowFirstAndOpaque) {
    // 2×2 RGB: top row red, (0, 128, 255); bottom row green, white.
    static constexpr std::array<uint8_t, 78> kRgbPng = {
        0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48, 0x44, 0x52,
        0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xfd, 0xd4, 0x9a,
        0x73, 0x00, 0x00, 0x00, 0x15, 0x49, 0x44, 0x41, 0x54, 0x78, 0xda, 0x63, 0xf8, 0xcf, 0xc0, 0xc0,
        0xd0, 0x00, 0x24, 0xfe, 0x33, 0xfc, 0xff, 0xff, 0x1f, 0x00, 0x24, 0x6e, 0x06, 0x7b, 0x93, 0x56,
        0x02, 0x4a, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};
    writeBytes(file("rgb.png"), std::string(kRgbPng.begin(), kRgbPng.end()));

    CVPixelBufferRef loaded = readPngFile(file("rgb.png"));
    ASSERT_TRUE(loaded);
    ASSERT_EQ(loaded->width(), 2);
    ASSERT_EQ(loaded->height(), 2);
    EXPECT_EQ(pixelAt(*loaded, 0, 0), (Bgra{0, 0, 255, 255}));
    EXPECT_EQ(pixelAt(*loaded, 1, 0), (Bgra{255, 128, 0, 255}));
    EXPECT_EQ(pixelAt(*loaded, 0, 1), (Bgra{0, 255, 0, 255}));
    EXPECT_EQ(pixelAt(*loaded, 1, 1), (Bgra{255, 255, 255, 255}));
}

TEST_F(PngFileTest, UnreadableFilesGiveNullAndAMissingFolderFailsTheWrite) {
    EXPECT_FALSE(readPngFile(file("missing.png")));

    writeBytes(file("text.png"), "this is not a picture");
    EXPECT_FALSE(readPngFile(file("text.png")));

    // A real PNG cut off in its image data.
    CVPixelBufferRef original = CVPixelBuffer::create(32, 32);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 128; ++x)
            original->row(y)[x] = static_cast<uint8_t>(x % 4 == 3 ? 255 : x * 2 + y);
    ASSERT_TRUE(writePngFile(*original, file("whole.png")));
    std::ifstream in(file("whole.png"), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 80u);
    writeBytes(file("cut.png"), bytes.substr(0, bytes.size() / 2));
    EXPECT_FALSE(readPngFile(file("cut.png")));
    EXPECT_FALSE(writePngFile(*original, file("no-such-folder") / "out.png"));
}

} // namespace
} // namespace vantrel
