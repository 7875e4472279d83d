// The demo decoder over a real HEVC file from our own writer: every picture
// in order with its time, then the same again from the first, and a clear
// refusal of a file that is missing or no video.
#include "platform/playback/VideoLoop.h"

#include "render/VideoFile.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace vantrel;
namespace fs = std::filesystem;

namespace {

constexpr int kFrames = 12, kRate = 10, kStep = 18;

CVPixelBufferRef grey(int level) {
    auto picture = CVPixelBuffer::create(64, 48);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) {
            uint8_t* p = picture->row(y) + 4 * x;
            p[0] = p[1] = p[2] = static_cast<uint8_t>(level);
            p[3] = 255;
        }
    return picture;
}

} // namespace

TEST(VideoLoopTest, PlaysEveryPictureInOrderThenStartsAgainFromTheFirst) {
    const fs::path file = fs::temp_directory_path() / ("video-loop-" + std::to_string(getpid()) + ".mp4");
    {
        tools::VideoFile video(file, 64, 48, kRate);
        for (int i = 0; i < kFrames; ++i)
            video.append(grey(20 + kStep * i), CMTime(i, kRate));
        video.finish();
    }
    std::string error;
    auto loop = openVideoLoopFFmpeg(file, error);
    ASSERT_NE(loop, nullptr) << error;
    EXPECT_DOUBLE_EQ(loop->frameRate(), kRate);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < kFrames; ++i) {
            double seconds = -1;
            const CVPixelBufferRef picture = loop->nextFrame(seconds);
            ASSERT_NE(picture, nullptr) << "round " << round << " picture " << i;
            EXPECT_EQ(picture->width(), 64);
            EXPECT_NEAR(seconds, static_cast<double>(i) / kRate, 1e-3);
            // Lossy, but far closer to its own grey than to a neighbour's.
            const uint8_t* middle = picture->row(24) + 4 * 32;
            EXPECT_NEAR(middle[1], 20 + kStep * i, kStep / 2) << "round " << round << " picture " << i;
            EXPECT_EQ(middle[3], 255);
        }
        EXPECT_EQ(loop->restarts(), round);
    }
    fs::remove(file);

    EXPECT_EQ(openVideoLoopFFmpeg(file, error), nullptr);
    EXPECT_NE(error.find(file.string()), std::string::npos);
    std::ofstream(file) << "not a video";
    EXPECT_EQ(openVideoLoopFFmpeg(file, error), nullptr);
    fs::remove(file);
}
