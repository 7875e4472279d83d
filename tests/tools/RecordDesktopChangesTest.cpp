// vantrel-record through what desktops do to a recording: a monitor of odd
// size, and the output device going away while it records.

#include "tests/support/MediaFiles.h"
#include "tests/support/MediaProbe.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantrel::test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

constexpr int kRate = 48000;

struct Recording {
    TempHome home;
    fs::path out = home.home() / "out";
    Recording() { fs::create_directories(out); }
    CommandOutput run(const std::string& arguments) const {
        const fs::path tool = fs::read_symlink("/proc/self/exe").parent_path() / "vantrel-record";
        return runCapturing(tool.string() + " --out " + out.string() + " " + arguments, 90s);
    }
    fs::path file() const {
        for (const auto& entry : fs::directory_iterator(out))
            if (entry.path().extension() == ".mp4") return entry.path();
        return {};
    }
};

// The tone's share of the sound in the strongest 100 ms block of the span.
double tone(const std::vector<float>& samples, double fromSeconds, double toSeconds, double frequency) {
    double best = 0;
    for (double t = fromSeconds; t + 0.1 <= toSeconds && size_t((t + 0.1) * kRate) <= samples.size(); t += 0.1)
        best = std::max(best, toneShare({samples.begin() + long(t * kRate), samples.begin() + long((t + 0.1) * kRate)},
                                        frequency, kRate));
    return best;
}

} // namespace

TEST(RecordDesktopChanges, AnOddSizedMonitorIsRecordedOnePixelSmaller) {
    XvfbServer server;
    ASSERT_TRUE(server.setMonitor("odd", 641, 481, 10, 20));
    Recording recording;
    const auto result = recording.run("--seconds 2 --no-system-audio --display odd");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const fs::path file = recording.file();
    ASSERT_FALSE(file.empty()) << result.out;
    const auto video = streamsOfType(probeFile(file), "video");
    ASSERT_EQ(video.size(), 1u);
    // 4:2:0 needs even sizes: the last column and row are left out.
    EXPECT_EQ(video[0]["width"], 640);
    EXPECT_EQ(video[0]["height"], 480);
    // Every frame written decodes.
    const auto packets = probeVideoPackets(file);
    EXPECT_GT(packets.size(), 10u);
    EXPECT_EQ(decodedVideoFrames(file), int(packets.size()));
}

TEST(RecordDesktopChanges, SystemAudioMovesToTheNewDefaultWhenTheOutputIsUnplugged) {
    PrivateSoundServer sound; // rec_sink is its default; unloading it spares the shared server
    const fs::path tones = fs::temp_directory_path() / ("vantrel-unplug-" + std::to_string(getpid()));
    fs::create_directories(tones);
    writeRawFloat(tones / "440.f32", sineStereo(440, 30));
    writeRawFloat(tones / "1000.f32", sineStereo(1000, 30));
    ASSERT_TRUE(runCommand("pacat --latency-msec=20 --device=rec_sink --format=float32le --rate=48000 --channels=2 " +
                           (tones / "440.f32").string() + " >/dev/null 2>&1 & echo $! > " + (tones / "a").string()));
    ASSERT_TRUE(runCommand("pacat --latency-msec=20 --device=mic_feed --format=float32le --rate=48000 --channels=2 " +
                           (tones / "1000.f32").string() + " >/dev/null 2>&1 & echo $! > " + (tones / "b").string()));
    Recording recording;
    CommandOutput result;
    std::jthread recorder([&] { result = recording.run("--seconds 8"); });
    ASSERT_TRUE(waitUntil([&] { return !recording.file().empty(); }, 30s));
    std::this_thread::sleep_for(3s);
    // The headset is unplugged: its sink goes, and the server makes mic_feed the default.
    ASSERT_TRUE(runCommand("pactl unload-module $(pactl list short modules | "
                           "awk '/module-null-sink/ && /sink_name=rec_sink/ {print $1}')"));
    recorder.join();
    runCommand("kill $(cat " + (tones / "a").string() + ") $(cat " + (tones / "b").string() + ") 2>/dev/null");
    fs::remove_all(tones);
    ASSERT_EQ(result.exitCode, 0) << result.err;

    const fs::path file = recording.file();
    const auto probe = probeFile(file);
    ASSERT_TRUE(probe.is_object());
    // The picture runs to the end, not to the moment the device went.
    const auto packets = probeVideoPackets(file);
    ASSERT_FALSE(packets.empty());
    EXPECT_GT(packets.back().ptsSeconds, 7.0);
    // The system track carries the old sink's tone, then what plays on the
    // new default: its own tone (and the old one, which the server moved there).
    const auto system = decodeAudioTrack(file, 0, kRate);
    const double seconds = double(system.size()) / kRate;
    EXPECT_GT(seconds, 7.0);
    EXPECT_GT(tone(system, 0.5, 2.5, 440), 0.8);
    EXPECT_LT(tone(system, 0.5, 2.5, 1000), 0.05);
    EXPECT_GT(tone(system, seconds - 2.5, seconds - 0.5, 1000), 0.3);
}
