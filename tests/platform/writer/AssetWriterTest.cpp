#include "platform/writer/AssetWriter.h"

#include "tests/support/MediaFiles.h"
#include "tests/support/SyntheticMedia.h"
#include "tests/support/TestServices.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

constexpr int kAudioRate = 48000;
constexpr auto kFinishTimeout = 30s;

// Waits (without counting on the answer) until the input takes more.
void waitReady(const AVAssetWriterInput& input) {
    while (!input.isReadyForMoreMediaData())
        std::this_thread::sleep_for(1ms);
}

double number(const nlohmann::json& j, const char* key) {
    return std::stod(j.value(key, std::string("nan")));
}

// Feeds `seconds` of frames at `fps` (waiting for the encoder, so that none
// is lost) and audio runs of 10 ms per track, interleaved by time. Track i
// plays tones[i] at rates[i] with channels[i].
struct Feed {
    double seconds = 3;
    int fps = 60;
    std::vector<double> tones;
    std::vector<int> rates;
    std::vector<int> channels;
    double sessionOffsetSeconds = 0; // session start after the first frame
};

void feed(TestRecording& r, CMTime base, const Feed& f) {
    auto pool = CVPixelBufferPool::create({4, kCVPixelFormatType_32BGRA,
                                           r.adaptor->sourcePixelBufferAttributes().width,
                                           r.adaptor->sourcePixelBufferAttributes().height});
    std::vector<int64_t> audioFrames(r.audio.size(), 0);
    const int frames = static_cast<int>(f.seconds * f.fps);
    for (int i = 0; i < frames; ++i) {
        const double t = double(i) / f.fps;
        for (size_t a = 0; a < r.audio.size(); ++a) {
            const int run = f.rates[a] / 100;
            while (double(audioFrames[a]) / f.rates[a] <= t) {
                waitReady(*r.audio[a]);
                ASSERT_TRUE(r.audio[a]->appendSampleBuffer(
                    sineRun(f.tones[a], f.rates[a], f.channels[a], audioFrames[a], run,
                            hostTimeAfter(base, double(audioFrames[a]) / f.rates[a]))));
                audioFrames[a] += run;
            }
        }
        auto buffer = pool->createPixelBuffer();
        drawMovingPattern(*buffer, i);
        waitReady(*r.video);
        ASSERT_TRUE(r.adaptor->appendPixelBuffer(buffer, hostTimeAfter(base, t)));
    }
}

class AssetWriterTest : public ::testing::Test {
protected:
    TempFolder folder;
    std::filesystem::path file = folder.path() / "recording.mp4";
};

} // namespace

// What a finished recording holds, as players see it.

TEST_F(AssetWriterTest, FinishedFileHoldsTaggedHevcThenTheAudioTracksInTheirOrder) {
    TestRecording r = makeRecording(file, 1920, 1080, 2);
    ASSERT_TRUE(r.writer);
    ASSERT_TRUE(r.writer->startWriting()) << r.writer->error().localizedDescription;
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    // The second track comes at 44.1 kHz mono: it has to be converted.
    feed(r, base, Feed{3, 60, {440, 1000}, {48000, 44100}, {2, 1}});
    if (HasFatalFailure()) return;
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    ASSERT_EQ(r.writer->status(), AVAssetWriterStatus::completed) << r.writer->error().localizedDescription;

    const auto probe = probeFile(file);
    ASSERT_TRUE(probe.is_object());
    const auto& streams = probe["streams"];
    ASSERT_EQ(streams.size(), 3u);
    // Codec, size and the stream's tags are the recorder tool's checks; the
    // colour box and frame count are the writer's own.
    const auto& v = streams[0];
    EXPECT_EQ(v["color_primaries"], "bt709");
    // Written into the file's own colour box, not only the bitstream: BT.709 throughout, limited.
    EXPECT_EQ(nclxColour(file), (std::array<int, 4>{1, 1, 1, 0}));
    EXPECT_EQ(v["nb_frames"], std::to_string(r.video->appendedCount()));
    EXPECT_EQ(r.video->appendedCount(), 180u);
    EXPECT_NEAR(number(v, "duration"), 3.0, 2.0 / 60);
    for (int a = 1; a <= 2; ++a) {
        EXPECT_EQ(streams[a]["channels"], 2) << a;
        EXPECT_NEAR(number(streams[a], "duration"), 3.0, 0.05) << a;
    }
    // Each tone in its own track, in the order the inputs were added.
    const auto first = decodeAudioTrack(file, 0, kAudioRate), second = decodeAudioTrack(file, 1, kAudioRate);
    EXPECT_GT(toneShare(first, 440, kAudioRate), 0.5);
    EXPECT_LT(toneShare(first, 1000, kAudioRate), 0.01);
    EXPECT_GT(toneShare(second, 1000, kAudioRate), 0.5);
    EXPECT_LT(toneShare(second, 440, kAudioRate), 0.01);

    // One index for the whole file, and no leftovers beside it.
    const auto boxes = topLevelBoxes(file);
    EXPECT_NE(std::find(boxes.begin(), boxes.end(), "moov"), boxes.end());
    EXPECT_EQ(std::find(boxes.begin(), boxes.end(), "moof"), boxes.end());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    EXPECT_TRUE(decodesCleanly(file));
}

TEST_F(AssetWriterTest, KeyFramesComeByTheClockWhateverTheFrameRateAndOddSizesLoseARow) {
    // 20 frames a second: a key interval counted in 60 fps frames would leave
    // six seconds between key frames. An odd size cannot be 4:2:0: the last
    // column and row are left out.
    TestRecording r = makeRecording(file, 321, 241, 0);
    ASSERT_TRUE(r.writer->startWriting());
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    feed(r, base, Feed{7, 20, {}, {}, {}});
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    const auto packets = probeVideoPackets(file);
    ASSERT_EQ(packets.size(), 140u);
    std::vector<double> keys;
    for (const auto& p : packets)
        if (p.key) keys.push_back(p.ptsSeconds);
    ASSERT_FALSE(keys.empty());
    EXPECT_DOUBLE_EQ(keys.front(), 0.0);
    keys.push_back(7.0);
    for (size_t i = 1; i < keys.size(); ++i)
        EXPECT_LE(keys[i] - keys[i - 1], 2.0 + 1e-6) << "after " << keys[i - 1];
    EXPECT_GE(keys.size(), 4u);
    const auto probe = probeFile(file);
    const auto& video = probe["streams"][0];
    EXPECT_EQ(video["width"], 320);
    EXPECT_EQ(video["height"], 240);
}

TEST_F(AssetWriterTest, MediaBeforeTheSessionStartIsCutOff) {
    TestRecording r = makeRecording(file, 320, 240, 1);
    ASSERT_TRUE(r.writer->startWriting());
    const CMTime base = CMClockGetHostTime();
    // File time 0 is half a second into what is fed (and not on a 90 kHz tick of it).
    r.writer->startSessionAtSourceTime(hostTimeAfter(base, 0.5));
    feed(r, base, Feed{1.5, 60, {440}, {48000}, {2}});
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    ASSERT_EQ(r.writer->status(), AVAssetWriterStatus::completed);
    const auto packets = probeVideoPackets(file);
    ASSERT_EQ(packets.size(), 60u);
    EXPECT_NEAR(packets.front().ptsSeconds, 0.0, 1e-4);
    const auto probe = probeFile(file);
    EXPECT_NEAR(number(probe["streams"][1], "duration"), 1.0, 0.05);
    EXPECT_NEAR(number(probe["streams"][0], "duration"), 1.0, 2.0 / 60);
}

TEST_F(AssetWriterTest, TracksKeepTheirPlaceInTimeAcrossLateStartsAndGaps) {
    TestRecording r = makeRecording(file, 320, 240, 1);
    ASSERT_TRUE(r.writer->startWriting());
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    auto frame = CVPixelBuffer::create(320, 240);
    // Audio begins half a second after the picture, then pauses for 300 ms.
    int64_t sent = 0;
    for (int i = 0; i < 120; ++i) {
        drawMovingPattern(*frame, i);
        while (!r.video->isReadyForMoreMediaData())
            std::this_thread::sleep_for(1ms);
        ASSERT_TRUE(r.adaptor->appendPixelBuffer(frame, hostTimeAfter(base, i / 60.0)));
        frame = CVPixelBuffer::create(320, 240);
        const double t = i / 60.0;
        if (t < 0.5 || (t >= 1.2 && t < 1.5)) continue;
        ASSERT_TRUE(
            r.audio[0]->appendSampleBuffer(sineRun(440, kAudioRate, 2, sent, 800, hostTimeAfter(base, t))));
        sent += 800;
    }
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    const auto probe = probeFile(file);
    const auto& audio = probe["streams"][1];
    // The track runs from the start of the file to the end of the picture...
    EXPECT_NEAR(number(audio, "start_time"), 0.0, 1e-3);
    EXPECT_NEAR(number(audio, "duration"), 2.0, 0.05);
    // ...silent until the tone's first stamp, silent again through the pause.
    const auto samples = decodeAudioTrack(file, 0, kAudioRate);
    const auto onset =
        std::find_if(samples.begin(), samples.end(), [](float x) { return std::abs(x) > 0.05f; });
    ASSERT_NE(onset, samples.end());
    EXPECT_NEAR(double(onset - samples.begin()) / kAudioRate, 0.5, 0.003);
    double pauseEnergy = 0, playEnergy = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double t = double(i) / kAudioRate;
        if (t > 1.25 && t < 1.45) pauseEnergy += samples[i] * samples[i];
        if (t > 0.95 && t < 1.15) playEnergy += samples[i] * samples[i];
    }
    EXPECT_LT(pauseEnergy, playEnergy * 1e-3);
}

// A still screen is not encoded sixty times a second: its repeats are
// carried by the sample before, at least ten samples a second are written,
// and the last repeat still ends the track at its own time.
TEST_F(AssetWriterTest, RepeatedPicturesAreCarriedByTheSampleBeforeUpToATenthOfASecond) {
    TestRecording r = makeRecording(file, 320, 240, 0);
    ASSERT_TRUE(r.writer->startWriting());
    auto still = CVPixelBuffer::create(320, 240), changed = CVPixelBuffer::create(320, 240);
    drawMovingPattern(*still, 0);
    drawMovingPattern(*changed, 7);
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    constexpr int kFrames = 90; // 1 s still, then a change held for 0.5 s
    for (int i = 0; i < kFrames; ++i) {
        waitReady(*r.video);
        ASSERT_TRUE(r.adaptor->appendPixelBuffer(i < 60 ? still : changed, hostTimeAfter(base, i / 60.0)));
    }
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    EXPECT_EQ(r.video->appendedCount() + r.video->repeatedCount(), uint64_t(kFrames));
    EXPECT_EQ(r.video->droppedCount(), 0u);
    const auto packets = probeVideoPackets(file);
    ASSERT_EQ(packets.size(), r.video->appendedCount());
    EXPECT_LT(packets.size(), 25u) << "repeats were encoded";
    std::vector<double> times;
    for (const auto& packet : packets)
        times.push_back(packet.ptsSeconds);
    std::sort(times.begin(), times.end());
    for (size_t k = 1; k < times.size(); ++k)
        EXPECT_LE(times[k] - times[k - 1], 0.1 + 1e-3) << "at " << times[k];
    EXPECT_TRUE(std::any_of(times.begin(), times.end(), [](double t) { return std::abs(t - 1.0) < 1e-3; }))
        << "the change has its own sample at 1 s";
    EXPECT_NEAR(times.back(), (kFrames - 1) / 60.0, 1e-3) << "the last repeat ends the track";
    EXPECT_EQ(decodedVideoFrames(file), int(packets.size()));
}

// The caller's thread never waits for the encoder.

TEST_F(AssetWriterTest, AppendsNeverBlockAndWhatCannotBeTakenIsCountedAsDropped) {
    constexpr int kW = 3840, kH = 2160;
    TestRecording r = makeRecording(file, kW, kH, 0);
    ASSERT_TRUE(r.writer->startWriting());
    std::vector<CVPixelBufferRef> frames;
    for (int i = 0; i < 4; ++i) {
        frames.push_back(CVPixelBuffer::create(kW, kH));
        drawMovingPattern(*frames.back(), i * 10);
    }
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    // Offered far faster than a 4K encoder takes them: an append that
    // waited for the encoder would never find the queue full.
    uint64_t refused = 0;
    for (int i = 0; i < 400; ++i) {
        if (r.video->isReadyForMoreMediaData())
            EXPECT_TRUE(
                r.adaptor->appendPixelBuffer(frames[i % frames.size()], hostTimeAfter(base, i / 60.0)));
        else
            ++refused;
    }
    EXPECT_GT(refused, 0u);
    EXPECT_EQ(r.video->droppedCount(), refused);
    EXPECT_GT(r.video->appendedCount(), 0u);
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout));
    EXPECT_EQ(probeVideoPackets(file).size(), r.video->appendedCount());
    // Every frame handed over was let go once converted.
    for (const auto& f : frames)
        EXPECT_EQ(f.use_count(), 1);
}

// Readiness and status over a writer's life.

TEST_F(AssetWriterTest, InputsTakeMediaOnlyWhileWriting) {
    TestRecording r = makeRecording(file, 320, 240, 1);
    auto frame = CVPixelBuffer::create(320, 240);
    const CMTime base = CMClockGetHostTime();
    EXPECT_FALSE(r.adaptor->appendPixelBuffer(frame, base)) << "before writing";
    ASSERT_TRUE(r.writer->startWriting());
    r.writer->startSessionAtSourceTime(base);
    EXPECT_TRUE(r.adaptor->appendPixelBuffer(frame, base));
    r.audio[0]->markAsFinished();
    EXPECT_FALSE(r.audio[0]->appendSampleBuffer(sineRun(440, kAudioRate, 2, 0, 480, base))) << "finished input";
    EXPECT_TRUE(r.video->isReadyForMoreMediaData()) << "the others go on";
    int calls = 0;
    ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout, &calls));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(r.adaptor->appendPixelBuffer(frame, hostTimeAfter(base, 1))) << "after finishing";
    EXPECT_EQ(probeVideoPackets(file).size(), 1u);
}

TEST_F(AssetWriterTest, OnlyARecordingThatStartedLeavesAFileAndNeverOverAnotherOne) {
    {
        // Cancelled while writing: stopped, and the file goes.
        TestRecording r = makeRecording(file, 320, 240, 1);
        ASSERT_TRUE(r.writer->startWriting());
        const CMTime base = CMClockGetHostTime();
        r.writer->startSessionAtSourceTime(base);
        feed(r, base, Feed{0.5, 60, {440}, {48000}, {2}});
        ASSERT_TRUE(std::filesystem::exists(file));
        r.writer->cancelWriting();
        EXPECT_EQ(r.writer->status(), AVAssetWriterStatus::cancelled);
        EXPECT_FALSE(r.video->isReadyForMoreMediaData());
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 0);
    }
    {
        // Finished without a session start: nothing had a place in the file.
        TestRecording r = makeRecording(file, 320, 240, 1);
        ASSERT_TRUE(r.writer->startWriting());
        EXPECT_FALSE(r.adaptor->appendPixelBuffer(CVPixelBuffer::create(320, 240), CMClockGetHostTime()));
        int calls = 0;
        ASSERT_TRUE(finishAndWait(*r.writer, kFinishTimeout, &calls));
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(r.writer->status(), AVAssetWriterStatus::completed);
        EXPECT_FALSE(std::filesystem::exists(file));
    }
    // A file that appears before writing starts is someone else's.
    TestRecording r = makeRecording(file, 320, 240, 0);
    { std::ofstream(file) << "someone else's"; }
    EXPECT_FALSE(r.writer->startWriting());
    EXPECT_EQ(r.writer->status(), AVAssetWriterStatus::failed);
    EXPECT_FALSE(r.writer->error().localizedDescription.empty());
    EXPECT_EQ(std::filesystem::file_size(file), 14u);
}
