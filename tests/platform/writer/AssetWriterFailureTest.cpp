#include "platform/writer/AssetWriter.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/SyntheticMedia.h"
#include "tests/support/TestServices.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

constexpr int kW = 640, kH = 360, kFps = 60, kAudioRate = 48000, kAudioRun = 480;

// Records like the app would, in real time, until `keepGoing` says stop or
// the writer stops taking media. Frames the encoder cannot take are dropped.
void recordInRealTime(TestRecording& r, bool noisy, const std::function<bool(int frame)>& keepGoing) {
    auto pool = CVPixelBufferPool::create({4, kCVPixelFormatType_32BGRA, kW, kH});
    const CMTime base = CMClockGetHostTime();
    r.writer->startSessionAtSourceTime(base);
    const auto t0 = std::chrono::steady_clock::now();
    int64_t audioFrames = 0;
    for (int i = 0; keepGoing(i); ++i) {
        std::this_thread::sleep_until(t0 + std::chrono::microseconds(1'000'000LL * i / kFps));
        while (audioFrames * kFps <= int64_t(i) * kAudioRate) {
            if (r.audio[0]->isReadyForMoreMediaData())
                r.audio[0]->appendSampleBuffer(
                    sineRun(440, kAudioRate, 2, audioFrames, kAudioRun,
                            hostTimeAfter(base, double(audioFrames) / kAudioRate)));
            audioFrames += kAudioRun;
        }
        if (!r.video->isReadyForMoreMediaData()) continue;
        auto buffer = pool->createPixelBuffer();
        drawMovingPattern(*buffer, i, noisy);
        r.adaptor->appendPixelBuffer(buffer, hostTimeAfter(base, double(i) / kFps));
    }
}

// Runs `child` in a forked process and gives its wait status.
int inChild(const std::function<int()>& child, const std::function<void(pid_t)>& whileRunning = {}) {
    const pid_t pid = fork();
    if (pid == 0) _exit(child());
    if (whileRunning) whileRunning(pid);
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

} // namespace

TEST(AssetWriterCrash, AFullDiskFailsTheWriterAndWhatWasWrittenStillPlays) {
    TempFolder folder;
    const auto file = folder.path() / "full.mp4";
    constexpr rlim_t kFileLimit = 3'000'000;
    const int status = inChild([&] {
        // The file may not grow past the limit: writes fail with EFBIG, as on a full disk.
        const rlimit limit{kFileLimit, kFileLimit};
        signal(SIGXFSZ, SIG_IGN);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        // Short fragments, so that some are whole before the limit.
        TestRecording r = makeRecording(file, kW, kH, 1, 0.25);
        if (!r.writer || !r.writer->startWriting()) return 3;
        recordInRealTime(r, true, [&](int frame) {
            // However few frames a loaded machine encodes, the limit comes.
            return frame < 120 * kFps && r.writer->status() == AVAssetWriterStatus::writing;
        });
        if (r.writer->status() != AVAssetWriterStatus::failed) return 10;
        if (r.writer->error().localizedDescription.empty()) return 11;
        if (r.video->isReadyForMoreMediaData() || r.audio[0]->isReadyForMoreMediaData()) return 12;
        if (r.adaptor->appendPixelBuffer(CVPixelBuffer::create(kW, kH), CMClockGetHostTime())) return 13;
        if (!finishAndWait(*r.writer, 10s)) return 14;
        if (r.writer->status() != AVAssetWriterStatus::failed) return 15;
        return 0;
    });
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_LE(std::filesystem::file_size(file), kFileLimit);
    const auto probe = probeFile(file);
    ASSERT_TRUE(probe.is_object());
    EXPECT_EQ(probe["streams"][0]["codec_name"], "hevc");
    EXPECT_GT(decodedVideoFrames(file), 0);
}

TEST(AssetWriterCrash, WhenTheIndexCannotBeWrittenTheFragmentedFileIsKept) {
    TempFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    const auto sub = folder.path() / "mine";
    const auto file = sub / "kept.mp4";
    // As a user whom the folder's permissions bind (root ignores them).
    EXPECT_TRUE(runUnprivileged([&] {
        std::filesystem::create_directory(sub);
        TestRecording r = makeRecording(file, 320, 240, 1);
        if (!r.writer || !r.writer->startWriting()) return false;
        const CMTime base = CMClockGetHostTime();
        r.writer->startSessionAtSourceTime(base);
        auto frame = CVPixelBuffer::create(320, 240);
        for (int i = 0; i < 30; ++i) {
            drawMovingPattern(*frame, i);
            while (!r.video->isReadyForMoreMediaData())
                std::this_thread::sleep_for(1ms);
            r.adaptor->appendPixelBuffer(frame, hostTimeAfter(base, i / 60.0));
        }
        // No new file can be made beside the recording any more.
        std::filesystem::permissions(sub, std::filesystem::perms(0555));
        const bool finished = finishAndWait(*r.writer, 10s);
        std::filesystem::permissions(sub, std::filesystem::perms(0755));
        return finished && r.writer->status() == AVAssetWriterStatus::completed;
    }));
    const auto boxes = topLevelBoxes(file);
    EXPECT_NE(std::find(boxes.begin(), boxes.end(), "moof"), boxes.end());
    EXPECT_EQ(decodedVideoFrames(file), 30);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(sub), {}), 1);
}
