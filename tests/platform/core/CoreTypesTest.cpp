// Media time that never rounds, and pixel buffer pools that recycle.
#include "platform/core/CMTime.h"
#include "platform/core/PixelBuffer.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

using namespace vantrel;

TEST(CMTimeTest, ArithmeticAcrossTimescalesStaysExactAndInvalidIsAbsent) {
    EXPECT_EQ((CMTime{1001, 30000} - CMTime{2002, 30000}), (CMTime{-1001, 30000}));
    // Mixed timescales meet on the least common multiple: nothing is rounded.
    const CMTime sum = CMTime{1, 3} + CMTime{1, 2};
    EXPECT_EQ(sum.timescale, 6);
    EXPECT_EQ(sum.value, 5);
    // Host nanoseconds minus a 90 kHz stamp is still exact.
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(CMTime{1'500'000'000, 1'000'000'000} - CMTime{90'000, 90'000}), 0.5);
    EXPECT_LT(CMTime(1, 3), CMTime(334, 1000));
    EXPECT_GT(CMTime(1, 3), CMTime(333, 1000));
    EXPECT_EQ(CMTime(1, 3).convertScale(90000).value, 30000);
    EXPECT_FALSE((CMTime::invalid() + CMTime(1, 2)).isValid());
    EXPECT_LT(CMTime::invalid(), CMTime(-100, 1));
    EXPECT_FALSE(CMTime::withSeconds(std::nan(""), 600).isValid());
}

TEST(PixelBufferPoolTest, RecyclesGrowsWhenHeldRefusesTheImpossibleAndOutlivesNothing) {
    auto pool = CVPixelBufferPoolCreate({3, kCVPixelFormatType_32BGRA, 1920, 1080});
    ASSERT_TRUE(pool);
    for (int frame = 0; frame < 100; ++frame) {
        // Two frames in flight at a time, as an encoder holding one behind.
        auto a = CVPixelBufferPoolCreatePixelBuffer(pool);
        auto b = CVPixelBufferPoolCreatePixelBuffer(pool);
        ASSERT_TRUE(a && b);
        EXPECT_EQ(a->bytesPerRow() % 64, 0u);
    }
    EXPECT_EQ(pool->allocatedCount(), 3u) << "steady use allocates nothing";
    std::vector<CVPixelBufferRef> held(5);
    for (auto& buffer : held)
        buffer = pool->createPixelBuffer();
    EXPECT_EQ(pool->allocatedCount(), 5u);
    held.clear();
    EXPECT_EQ(pool->freeCount(), 5u);

    EXPECT_FALSE(CVPixelBufferPoolCreate({3, kCVPixelFormatType_32BGRA, 0, 1080}));
    EXPECT_FALSE(CVPixelBufferPoolCreate({3, 0x34323076 /* '420v' */, 64, 64}));
    // A buffer outliving its pool still works and frees itself (the leak checker watches).
    CVPixelBufferRef survivor = CVPixelBufferPoolCreate({1, kCVPixelFormatType_32BGRA, 8, 8})->createPixelBuffer();
    survivor->row(7)[31] = 0xFF;
}
