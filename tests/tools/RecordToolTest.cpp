// vantrel-record end to end: real Xvfb, real PulseAudio, real files, looked
// at with ffprobe and decoded with ffmpeg the way a user's player would.

#include "tests/support/MediaFiles.h"
#include "tests/support/MediaProbe.h"
#include "tests/support/PatternWindow.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace vantrel::test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

fs::path toolPath() {
    return fs::read_symlink("/proc/self/exe").parent_path() / "vantrel-record";
}

/// A fresh home for the user's settings and Documents, and an output folder.
struct RecordingFolder {
    TempHome home;
    fs::path out = home.home() / "out";
    RecordingFolder() { fs::create_directories(out); }

    std::vector<fs::path> files() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(out))
            found.push_back(entry.path());
        std::sort(found.begin(), found.end());
        return found;
    }
};

/// The lines of the tool's standard output: the files, then the counts.
struct ToolResult {
    CommandOutput output;
    std::vector<std::string> paths;
    std::vector<std::pair<long, long>> counts;
};

ToolResult parseResult(CommandOutput output) {
    ToolResult result{std::move(output), {}, {}};
    std::istringstream lines(result.output.out);
    for (std::string line; std::getline(lines, line);) {
        long frames = 0, dropped = 0;
        if (std::sscanf(line.c_str(), "frames=%ld dropped=%ld", &frames, &dropped) == 2)
            result.counts.emplace_back(frames, dropped);
        else if (!line.empty())
            result.paths.push_back(line);
    }
    return result;
}

ToolResult record(const std::string& arguments, std::chrono::milliseconds timeout = 60s) {
    return parseResult(runCapturing(toolPath().string() + " " + arguments, timeout));
}

/// A tone played into a sink for as long as the object lives.
class TonePlayer {
public:
    TonePlayer(const std::string& sink, double frequency) {
        file_ = fs::temp_directory_path() / ("vantrel-tone-" + std::to_string(getpid()) + "-" + sink + ".f32");
        writeRawFloat(file_, sineStereo(frequency, 30));
        pid_ = fork();
        if (pid_ == 0) {
            execlp("pacat", "pacat", ("--device=" + sink).c_str(), "--format=float32le", "--rate=48000",
                   "--channels=2", "--latency-msec=50", file_.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        std::this_thread::sleep_for(300ms);
    }
    ~TonePlayer() {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        fs::remove(file_);
    }

private:
    pid_t pid_ = -1;
    fs::path file_;
};

void expectFinishedHevcFile(const fs::path& file, int width, int height, size_t audioTracks) {
    SCOPED_TRACE(file.string());
    const auto probe = probeFile(file);
    ASSERT_TRUE(probe.is_object()) << "ffprobe cannot read it";
    const auto video = streamsOfType(probe, "video");
    ASSERT_EQ(video.size(), 1u);
    EXPECT_EQ(video[0]["codec_name"], "hevc");
    EXPECT_EQ(video[0]["codec_tag_string"], "hvc1");
    EXPECT_EQ(video[0]["width"], width);
    EXPECT_EQ(video[0]["height"], height);
    EXPECT_EQ(video[0]["pix_fmt"], "yuv420p");
    EXPECT_EQ(video[0].value("color_primaries", ""), "bt709");
    EXPECT_EQ(video[0].value("color_transfer", ""), "bt709");
    EXPECT_EQ(video[0].value("color_space", ""), "bt709");
    EXPECT_EQ(video[0]["time_base"], "1/90000");
    const auto audio = streamsOfType(probe, "audio");
    ASSERT_EQ(audio.size(), audioTracks);
    for (const auto& track : audio) {
        EXPECT_EQ(track["codec_name"], "aac");
        EXPECT_EQ(track["sample_rate"], "48000");
        EXPECT_EQ(track["channels"], 2);
    }
}

/// The tone's share of the sound, block by block (a pause closed up in the
/// file breaks the phase of one long window): the median over 100 ms blocks.
double medianToneShare(const std::vector<float>& samples, double frequency) {
    constexpr size_t kBlock = 4800;
    std::vector<double> shares;
    for (size_t at = 0; at + kBlock <= samples.size(); at += kBlock)
        shares.push_back(toneShare({samples.begin() + long(at), samples.begin() + long(at + kBlock)}, frequency, 48000));
    if (shares.empty()) return 0;
    std::nth_element(shares.begin(), shares.begin() + long(shares.size() / 2), shares.end());
    return shares[shares.size() / 2];
}

double fileDuration(const fs::path& file) {
    const auto probe = probeFile(file);
    return !probe.is_object() ? 0 : std::stod(probe["format"].value("duration", "0"));
}

} // namespace

// One recording of a moving pointer with both sounds, a pause, and the
// untouched copy beside it: everything a finished tutorial file carries.
TEST(RecordTool, RecordsBothFilesWithTwoSoundsAndClosesThePause) {
    RecordingFolder folder;
    TonePlayer system("rec_sink", 440);
    TonePlayer microphone("mic_feed", 1000);
    const fs::path cameraPath = folder.home.home() / "camera.jsonl";
    // Four colours at a known place on the screen, from another client.
    PatternWindow quadrants(100, 100, 400, 300, [](int x, int y) -> uint32_t {
        return x < 200 ? (y < 150 ? 0xd02020 : 0x20d020) : (y < 150 ? 0x2020d0 : 0xe0e020);
    }, PatternWindow::Owner::childProcess);
    ASSERT_TRUE(quadrants.isValid());

    XTestInput input;
    ASSERT_TRUE(input.isConnected());
    input.moveTo(200, 200);
    std::thread pointer([&] {
        // Fly to the lower right and click there, then rest.
        for (int step = 0; step <= 40; ++step) {
            input.moveTo(200 + step * 40, 200 + step * 20);
            std::this_thread::sleep_for(20ms);
        }
        input.click();
    });
    const auto result = record("--seconds 5 --pause-at 2 --resume-at 3 --full --mic virtual_mic --out '" +
                               folder.out.string() + "' --camera-path '" + cameraPath.string() + "'");
    pointer.join();
    ASSERT_EQ(result.output.exitCode, 0) << result.output.err;

    ASSERT_EQ(result.paths.size(), 2u) << result.output.out;
    EXPECT_NE(result.paths[0].find("_Zoomed.mp4"), std::string::npos);
    EXPECT_NE(result.paths[1].find("_FullScreen.mp4"), std::string::npos);
    ASSERT_EQ(result.counts.size(), 2u);
    EXPECT_GT(result.counts[0].first, 30);
    EXPECT_EQ(folder.files().size(), 2u) << "nothing else is left in the folder";

    for (const auto& path : result.paths) {
        expectFinishedHevcFile(path, 1920, 1080, 2);
        // Five seconds with one paused: the gap closes up in the file.
        EXPECT_NEAR(fileDuration(path), 4.0, 0.35) << path;
        // System audio first, then the microphone, never mixed.
        const auto systemTrack = decodeAudioTrack(path, 0, 48000);
        const auto micTrack = decodeAudioTrack(path, 1, 48000);
        ASSERT_GT(systemTrack.size(), 48000u);
        ASSERT_GT(micTrack.size(), 48000u);
        EXPECT_GT(medianToneShare(systemTrack, 440), 0.5);
        EXPECT_LT(medianToneShare(systemTrack, 1000), 0.05);
        EXPECT_GT(medianToneShare(micTrack, 1000), 0.5);
        EXPECT_LT(medianToneShare(micTrack, 440), 0.05);
    }

    // The full-screen copy is the screen itself, pixel for pixel where it is still.
    const auto picture = decodeFrameRgb(result.paths[1], 0.5, 1920, 1080);
    ASSERT_EQ(picture.size(), 1920u * 1080 * 3);
    const auto expectColour = [&](int x, int y, uint32_t rgb) {
        const uint8_t* pixel = &picture[(size_t(y) * 1920 + x) * 3];
        EXPECT_NEAR(pixel[0], int(rgb >> 16 & 0xff), 12) << x << "," << y;
        EXPECT_NEAR(pixel[1], int(rgb >> 8 & 0xff), 12) << x << "," << y;
        EXPECT_NEAR(pixel[2], int(rgb & 0xff), 12) << x << "," << y;
    };
    expectColour(150, 150, 0xd02020);
    expectColour(150, 350, 0x20d020);
    expectColour(450, 150, 0x2020d0);
    expectColour(450, 350, 0xe0e020);

    // The camera path follows the pointer: at the end the crop holds the
    // resting pointer (y up from the bottom of the display).
    std::ifstream lines(cameraPath);
    std::string line, last;
    int written = 0;
    while (std::getline(lines, line))
        if (!line.empty()) last = line, ++written;
    EXPECT_NEAR(written, result.counts[0].first, 2);
    ASSERT_FALSE(last.empty());
    const auto entry = nlohmann::json::parse(last);
    const double x = entry["crop"][0], y = entry["crop"][1], w = entry["crop"][2], h = entry["crop"][3];
    const double pointerX = 200 + 40 * 40, pointerY = 1080 - (200 + 40 * 20);
    EXPECT_GT(double(entry["zoom"]), 1.05) << last;
    EXPECT_TRUE(pointerX >= x && pointerX <= x + w && pointerY >= y && pointerY <= y + h) << last;
}

// The ways a recording can go wrong leave a clear line, a playable file, or both.
TEST(RecordTool, FailuresLeaveAClearMessageOrAPlayableFile) {
    {
        SCOPED_TRACE("a bad flag");
        const auto result = record("--seconds x");
        EXPECT_EQ(result.output.exitCode, 2);
        EXPECT_NE(result.output.err.find("--seconds"), std::string::npos);
    }
    {
        SCOPED_TRACE("no display");
        RecordingFolder folder;
        const auto noDisplay = runCapturing("DISPLAY=:4711 " + toolPath().string() + " --seconds 1 --out '" +
                                            folder.out.string() + "'");
        EXPECT_EQ(noDisplay.exitCode, 1);
        EXPECT_TRUE(noDisplay.out.empty());
        EXPECT_NE(noDisplay.err.find("no X display"), std::string::npos) << noDisplay.err;
        EXPECT_EQ(std::count(noDisplay.err.begin(), noDisplay.err.end(), '\n'), 1);
        EXPECT_TRUE(folder.files().empty());
    }
    {
        SCOPED_TRACE("a folder that is not there");
        const auto result = record("--seconds 1 --out /nonexistent/folder");
        EXPECT_EQ(result.output.exitCode, 1);
        EXPECT_NE(result.output.err.find("/nonexistent/folder"), std::string::npos);
        EXPECT_TRUE(result.paths.empty());
    }
    {
        SCOPED_TRACE("a display that is not there");
        const auto result = record("--seconds 1 --display HDMI-9");
        EXPECT_EQ(result.output.exitCode, 1);
        EXPECT_NE(result.output.err.find("HDMI-9"), std::string::npos);
    }
    {
        SCOPED_TRACE("the disk fills up");
        RecordingFolder folder;
        // 64 KB is reached within the first seconds; the write fails
        // instead of killing the recorder.
        const auto result = parseResult(runCapturing("ulimit -f 64; " + toolPath().string() +
                                                     " --seconds 20 --out '" + folder.out.string() + "'"));
        EXPECT_EQ(result.output.exitCode, 1);
        EXPECT_NE(result.output.err.find("stopped early"), std::string::npos) << result.output.err;
        ASSERT_EQ(folder.files().size(), 1u);
        EXPECT_GT(decodedVideoFrames(folder.files()[0]), 0);
    }
    {
        SCOPED_TRACE("the recorder is killed");
        RecordingFolder folder;
        const auto result = runCapturing("(" + toolPath().string() + " --out '" + folder.out.string() +
                                         "' & pid=$!; sleep 4; kill -9 $pid; wait $pid)");
        ASSERT_EQ(folder.files().size(), 1u);
        EXPECT_GT(decodedVideoFrames(folder.files()[0]), 30) << result.err;
    }
    {
        SCOPED_TRACE("SIGTERM stops cleanly");
        RecordingFolder folder;
        const auto result = parseResult(runCapturing("(" + toolPath().string() + " --no-system-audio --out '" +
                                                     folder.out.string() + "' & pid=$!; sleep 3; kill $pid; wait $pid)"));
        EXPECT_EQ(result.output.exitCode, 0) << result.output.err;
        ASSERT_EQ(result.paths.size(), 1u);
        expectFinishedHevcFile(result.paths[0], 1920, 1080, 0);
    }
}

// The X server going away mid-run (the session ends, the display is gone):
// the recorder notices within a second and finishes what it has.
TEST(RecordTool, ALostDisplayServerStillLeavesAFinishedFile) {
    RecordingFolder folder;
    XvfbServer server; // DISPLAY points at it for the tool too
    std::thread killer([&] {
        std::this_thread::sleep_for(3s);
        server.kill();
    });
    const auto result = record("--seconds 20 --no-system-audio --out '" + folder.out.string() + "'", 40s);
    killer.join();
    EXPECT_EQ(result.output.exitCode, 1) << result.output.err;
    EXPECT_EQ(result.output.err.find("did not stop cleanly"), std::string::npos) << result.output.err;
    EXPECT_NE(result.output.err.find("the display server went away"), std::string::npos) << result.output.err;
    ASSERT_EQ(result.paths.size(), 1u);
    EXPECT_GT(decodedVideoFrames(result.paths[0]), 30);
    EXPECT_LT(fileDuration(result.paths[0]), 6);
}

// A microphone that disappears mid-run pauses the recording; what came
// before stays in a finished file.
TEST(RecordTool, MicrophoneGoneMidRunPausesAndKeepsTheFile) {
    RecordingFolder folder;
    const auto loaded = runCapturing(
        "pactl load-module module-remap-source master=mic_feed.monitor source_name=vanishing_mic");
    ASSERT_EQ(loaded.exitCode, 0) << loaded.err;
    const std::string module = loaded.out.substr(0, loaded.out.find('\n'));
    std::thread unplug([&] {
        std::this_thread::sleep_for(2500ms);
        runCapturing("pactl unload-module " + module);
    });
    const auto result = record("--seconds 5 --mic vanishing_mic --out '" + folder.out.string() + "'");
    unplug.join();
    ASSERT_EQ(result.output.exitCode, 0) << result.output.err;
    EXPECT_NE(result.output.err.find("⚠️ Mic Capture Session Interrupted"), std::string::npos) << result.output.err;
    EXPECT_NE(result.output.err.find("⏸ Recording paused"), std::string::npos);
    ASSERT_EQ(result.paths.size(), 1u);
    expectFinishedHevcFile(result.paths[0], 1920, 1080, 2);
    // Recording stopped counting when the microphone went, about 2.5 s in.
    EXPECT_LT(fileDuration(result.paths[0]), 3.5);
    EXPECT_GT(fileDuration(result.paths[0]), 1.5);
}
