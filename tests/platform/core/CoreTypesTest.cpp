// Media time, geometry, pixel buffer pools, samples and the owning lock.
#include "platform/core/CMTime.h"
#include "platform/core/Geometry.h"
#include "platform/core/PixelBuffer.h"
#include "platform/core/SampleBuffer.h"
#include "platform/core/UnfairLock.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace vantrel;

TEST(CMTimeTest, ArithmeticStaysExactAndKeepsASharedTimescale) {
    const CMTime a{1001, 30000}, b{2002, 30000};
    EXPECT_EQ((a + b).timescale, 30000);
    EXPECT_EQ((a + b).value, 3003);
    EXPECT_EQ((b - a).value, 1001);
    EXPECT_EQ((a - b).value, -1001);

    // Mixed timescales meet on the least common multiple: nothing is rounded.
    const CMTime third{1, 3}, half{1, 2};
    const CMTime sum = third + half;
    EXPECT_EQ(sum.timescale, 6);
    EXPECT_EQ(sum.value, 5);

    // Host nanoseconds minus a 90 kHz stamp is still exact.
    const CMTime host{1'500'000'000, 1'000'000'000}, stamp{90'000, 90'000};
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(host - stamp), 0.5);
}

TEST(CMTimeTest, ComparesAcrossTimescalesAndTreatsInvalidAsAbsent) {
    EXPECT_EQ(CMTime(1, 2), CMTime(500, 1000));
    EXPECT_LT(CMTime(1, 3), CMTime(334, 1000));
    EXPECT_GT(CMTime(1, 3), CMTime(333, 1000));
    EXPECT_FALSE((CMTime::invalid() + CMTime(1, 2)).isValid());
    EXPECT_FALSE((CMTime(1, 2) - CMTime::invalid()).isValid());
    EXPECT_TRUE(std::isnan(CMTime::invalid().seconds()));
    EXPECT_LT(CMTime::invalid(), CMTime(-100, 1));
    EXPECT_EQ(CMTime::withSeconds(0.0166, 600).value, 10);
    EXPECT_EQ(CMTime(1, 3).convertScale(90000).value, 30000);
    EXPECT_FALSE(CMTime::withSeconds(std::nan(""), 600).isValid());
}

TEST(CMTimeTest, HostClockIsMonotonicNanoseconds) {
    const CMTime first = CMClockGetHostTime();
    const CMTime second = CMClockGetHostTime();
    EXPECT_EQ(first.timescale, 1'000'000'000);
    EXPECT_LE(first, second);
}

TEST(GeometryTest, RectanglesIntersectInsetAndBound) {
    const CGRect a{0, 0, 100, 50}, b{80, 40, 50, 50};
    EXPECT_EQ(a.intersection(b), CGRect(80, 40, 20, 10));
    EXPECT_TRUE(a.intersection(CGRect{200, 200, 5, 5}).isNull());
    EXPECT_EQ(a.insetBy(-12, -12), CGRect(-12, -12, 124, 74));
    EXPECT_EQ(a.insetBy(10, 5), CGRect(10, 5, 80, 40));
    EXPECT_TRUE(a.insetBy(60, 0).isNull());
    EXPECT_DOUBLE_EQ(b.midX(), 105);
    EXPECT_DOUBLE_EQ(b.maxY(), 90);
    EXPECT_EQ(a.unionWith(CGRect::null()), a);
    EXPECT_EQ(CGRect(0.5, 0.25, 1, 1).integral(), CGRect(0, 0, 2, 2));
    // A colour's infinite extent cropped gives the crop.
    EXPECT_EQ(CGRect::infinite().intersection(a), a);
}

TEST(GeometryTest, TransformsComposeInOrder) {
    const auto move = CGAffineTransform::makeTranslation(-10, -20);
    const auto scale = CGAffineTransform::makeScale(2, 3);
    const auto both = move.concatenating(scale); // move first, then scale
    EXPECT_EQ(both.apply(CGPoint{10, 20}), (CGPoint{0, 0}));
    EXPECT_EQ(both.apply(CGPoint{11, 21}), (CGPoint{2, 3}));
    EXPECT_EQ(both.apply(CGRect{10, 20, 5, 5}), CGRect(0, 0, 10, 15));
    const CGPoint back = both.inverted().apply(CGPoint{2, 3});
    EXPECT_DOUBLE_EQ(back.x, 11);
    EXPECT_DOUBLE_EQ(back.y, 21);
}

TEST(PixelBufferPoolTest, RecyclesBuffersSoSteadyUseAllocatesNothing) {
    auto pool = CVPixelBufferPoolCreate({3, kCVPixelFormatType_32BGRA, 1920, 1080});
    ASSERT_TRUE(pool);
    EXPECT_EQ(pool->allocatedCount(), 3u);
    EXPECT_EQ(pool->freeCount(), 3u);

    const uint8_t* firstMemory = nullptr;
    for (int frame = 0; frame < 100; ++frame) {
        // Two frames in flight at a time, as an encoder holding one behind.
        auto a = CVPixelBufferPoolCreatePixelBuffer(pool);
        auto b = CVPixelBufferPoolCreatePixelBuffer(pool);
        ASSERT_TRUE(a && b);
        if (frame == 0) firstMemory = a->baseAddress();
        EXPECT_EQ(a->width(), 1920);
        EXPECT_EQ(a->bytesPerRow() % 64, 0u);
        EXPECT_GE(a->bytesPerRow(), 1920u * 4);
    }
    EXPECT_EQ(pool->allocatedCount(), 3u);
    EXPECT_NE(firstMemory, nullptr);

    // Holding more than the minimum grows the pool, and the extra comes back.
    std::vector<CVPixelBufferRef> held;
    for (int i = 0; i < 5; ++i)
        held.push_back(pool->createPixelBuffer());
    EXPECT_EQ(pool->allocatedCount(), 5u);
    held.clear();
    EXPECT_EQ(pool->freeCount(), 5u);
}

TEST(PixelBufferPoolTest, RefusesImpossibleBuffersAndOutlivesItsBuffers) {
    EXPECT_FALSE(CVPixelBufferPoolCreate({3, kCVPixelFormatType_32BGRA, 0, 1080}));
    EXPECT_FALSE(CVPixelBufferPoolCreate({3, 0x34323076 /* '420v' */, 64, 64}));
    EXPECT_FALSE(CVPixelBuffer::create(-1, 10));

    CVPixelBufferRef survivor;
    {
        auto pool = CVPixelBufferPoolCreate({1, kCVPixelFormatType_32BGRA, 8, 8});
        survivor = pool->createPixelBuffer();
    }
    // The pool is gone; the buffer still works and frees itself (the leak checker watches).
    survivor->row(7)[31] = 0xFF;
    EXPECT_EQ(survivor->height(), 8);
}

TEST(SampleBufferTest, VideoAndAudioSamplesCarryTheirTiming) {
    auto pixels = CVPixelBuffer::create(4, 4);
    auto video = CMSampleBuffer::makeVideo(pixels, CMTime(100, 600), CMTime(10, 600));
    EXPECT_TRUE(CMSampleBufferIsValid(video));
    EXPECT_EQ(CMSampleBufferGetImageBuffer(video), pixels);
    EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(video), CMTime(100, 600));

    auto statusOnly = CMSampleBuffer::makeVideo(nullptr, CMTime(1, 60));
    EXPECT_EQ(CMSampleBufferGetImageBuffer(statusOnly), nullptr);
    EXPECT_FALSE(CMSampleBufferIsValid(CMSampleBuffer::makeVideo(pixels, CMTime::invalid())));

    auto audio = CMSampleBuffer::makeAudio({48000, 2}, std::vector<float>(960 * 2, 0.25f),
                                           {{CMTime::invalid(), CMTime(48000, 48000), CMTime::invalid()}});
    EXPECT_TRUE(audio->isAudio());
    EXPECT_EQ(audio->numSamples(), 960u);
    EXPECT_DOUBLE_EQ(audio->duration().seconds(), 0.02);

    auto retimed = audio->copyWithNewTiming({{CMTime::invalid(), CMTime(0, 48000), CMTime::invalid()}});
    EXPECT_EQ(retimed->presentationTimeStamp(), CMTime::zero());
    EXPECT_EQ(audio->presentationTimeStamp(), CMTime(1, 1));
    EXPECT_EQ(&retimed->pcm(), &audio->pcm()); // payload shared, not copied
}

TEST(UnfairLockTest, GuardsItsValueAcrossThreads) {
    OSAllocatedUnfairLock<int> counter(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i)
                counter.withLock([](int& v) { ++v; });
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter.withLock([](const int& v) { return v; }), 40000);
}
