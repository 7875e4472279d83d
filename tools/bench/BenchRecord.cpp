// vantrel-bench-record: how many frames a recording keeps of a busy screen,
// against ffmpeg's own x11grab with libx265 ultrafast on the same screen for
// the same time. Run it on an X display with a sound server, e.g. under
// scripts/with-test-services.sh. It paints a moving, repainting window and
// plays a tone while each recorder runs, then prints frames per second,
// drops, CPU and peak memory of each, and the ratio of ours to ffmpeg's,
// and for each of our files the longest gap between frames in its first half
// second (where the encoders start). --size WxH records a monitor of that
// size at the top left of the screen (added with xrandr --setmonitor);
// --seconds N runs each recorder for N seconds instead of ten.
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kDefaultSeconds = 10;

/// A 640x480 window that crosses the screen and repaints itself every frame.
[[noreturn]] void paintBusyWindow() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t window = xcb_generate_id(connection);
    constexpr int w = 640, h = 480;
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, w, h, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(connection, window);
    const xcb_gcontext_t gc = xcb_generate_id(connection);
    xcb_create_gc(connection, gc, window, 0, nullptr);
    std::vector<uint32_t> pixels(size_t(w) * 48);
    for (int frame = 0;; ++frame) {
        const double t = frame / 60.0;
        const int32_t position[] = {int32_t(640 + 600 * std::sin(t)), int32_t(300 + 250 * std::cos(t * 1.3))};
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, position);
        // Ten bands of moving stripes: content an encoder cannot predict cheaply.
        for (int band = 0; band < 10; ++band) {
            for (int y = 0; y < 48; ++y)
                for (int x = 0; x < w; ++x)
                    pixels[size_t(y) * w + x] = uint32_t((x * 7 + y * 13 + frame * 29 + band * 101) * 2654435761u);
            xcb_put_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, gc, w, 48, 0, int16_t(band * 48), 0, 24,
                          uint32_t(pixels.size() * 4), reinterpret_cast<const uint8_t*>(pixels.data()));
        }
        xcb_flush(connection);
        std::this_thread::sleep_for(std::chrono::microseconds(16667));
    }
}

pid_t spawn(const std::vector<std::string>& arguments, const fs::path& out, const fs::path& err) {
    const pid_t pid = fork();
    if (pid == 0) {
        freopen(out.c_str(), "w", stdout);
        freopen(err.c_str(), "w", stderr);
        std::vector<char*> argv;
        for (const auto& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

struct Run {
    double wallSeconds = 0;
    double cpuSeconds = 0;
    long peakRssMb = 0;
    std::string out;
    std::string err;
};

Run runToEnd(const std::vector<std::string>& arguments, const fs::path& work) {
    const auto start = Clock::now();
    const pid_t pid = spawn(arguments, work / "out.txt", work / "err.txt");
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    Run run;
    run.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    run.cpuSeconds = usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
                     (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    run.peakRssMb = usage.ru_maxrss / 1024;
    std::ifstream out(work / "out.txt"), err(work / "err.txt");
    std::stringstream outText, errText;
    outText << out.rdbuf();
    errText << err.rdbuf();
    run.out = outText.str();
    run.err = errText.str();
    return run;
}

int countFrames(const fs::path& file) {
    const fs::path work = file.parent_path();
    const auto run = runToEnd({"ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_entries",
                               "stream=nb_read_packets", "-of", "csv=p=0", file.string()},
                              work);
    try {
        return std::stoi(run.out);
    } catch (const std::exception&) {
        return 0;
    }
}

/// The longest step between frame times within the first half second of the
/// file, counted from 0 (the file's start), in seconds.
double holeAtStart(const fs::path& file) {
    const auto run = runToEnd({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                               "packet=pts_time", "-of", "csv=p=0", file.string()},
                              file.parent_path());
    std::vector<double> times;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty()) times.push_back(std::stod(line));
    std::sort(times.begin(), times.end());
    double previous = 0, hole = 0;
    for (const double t : times) {
        if (previous >= 0.5) break;
        hole = std::max(hole, t - previous);
        previous = t;
    }
    return hole;
}

fs::path selfDirectory() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

} // namespace

int main(int argc, char** argv) {
    bool full = false;
    int width = 1920, height = 1080;
    int seconds = kDefaultSeconds;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--full") == 0)
            full = true;
        else if (std::strcmp(argv[i], "--size") == 0 && i + 1 < argc &&
                 std::sscanf(argv[i + 1], "%dx%d", &width, &height) == 2)
            ++i;
        else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc && std::atoi(argv[i + 1]) > 0)
            seconds = std::atoi(argv[++i]);
        else {
            std::cerr << "usage: vantrel-bench-record [--full] [--size WxH] [--seconds N]\n";
            return 2;
        }
    }
    const bool monitor = width != 1920 || height != 1080;
    const char* display = std::getenv("DISPLAY");
    if (!display) {
        std::cerr << "vantrel-bench-record: needs an X display; run it under scripts/with-test-services.sh\n";
        return 1;
    }
    const fs::path work = fs::temp_directory_path() / ("vantrel-bench-record-" + std::to_string(getpid()));
    fs::create_directories(work / "ours");

    const pid_t painter = fork();
    if (painter == 0) paintBusyWindow();
    // A tone into the default sink, so that system audio has something to encode.
    const pid_t tone = fork();
    if (tone == 0) {
        execlp("sh", "sh", "-c", "ffmpeg -v quiet -f lavfi -i sine=frequency=440:sample_rate=48000 -ac 2 -f s16le - "
                                 "| pacat --rate=48000 --channels=2 --format=s16le",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    std::vector<std::string> ours = {(selfDirectory() / "vantrel-record").string(), "--seconds",
                                     std::to_string(seconds), "--out", (work / "ours").string()};
    if (full) ours.push_back("--full");
    if (monitor) {
        const std::string geometry = std::to_string(width) + "/0x" + std::to_string(height) + "/0+0+0";
        runToEnd({"xrandr", "--setmonitor", "bench-record", geometry, "none"}, work);
        ours.insert(ours.end(), {"--display", "bench-record"});
    }
    const Run ourRun = runToEnd(ours, work);

    const fs::path theirs = work / "ffmpeg.mp4";
    const Run ffmpegRun = runToEnd({"ffmpeg", "-v", "info", "-nostdin", "-y", "-f", "x11grab", "-framerate", "60",
                                    "-video_size", std::to_string(width) + "x" + std::to_string(height), "-i", display, "-t", std::to_string(seconds),
                                    // Every grabbed picture once: no repeats to keep a constant rate.
                                    "-vsync", "passthrough", "-c:v",
                                    "libx265", "-preset", "ultrafast", "-x265-params", "log-level=error",
                                    theirs.string()},
                                   work);
    if (monitor) runToEnd({"xrandr", "--delmonitor", "bench-record"}, work);
    kill(painter, SIGKILL);
    kill(tone, SIGKILL);
    waitpid(painter, nullptr, 0);
    waitpid(tone, nullptr, 0);

    // Ours: the files on standard output, then "frames=N dropped=M repeats=R" for each.
    std::istringstream lines(ourRun.out);
    struct Counts {
        long frames = 0, dropped = 0, repeats = 0;
    };
    std::vector<Counts> counts;
    std::vector<double> holes;
    for (std::string line; std::getline(lines, line);) {
        Counts c;
        if (std::sscanf(line.c_str(), "frames=%ld dropped=%ld repeats=%ld", &c.frames, &c.dropped, &c.repeats) >= 2)
            counts.push_back(c);
        else if (line.size() > 4 && line.ends_with(".mp4"))
            holes.push_back(holeAtStart(line));
    }
    if (counts.empty()) {
        std::cerr << "vantrel-bench-record: vantrel-record wrote nothing:\n" << ourRun.err;
        return 1;
    }
    long closedMs = -1;
    if (const auto at = ourRun.err.find("files closed "); at != std::string::npos)
        closedMs = std::stol(ourRun.err.substr(at + 13));
    const int ffmpegFrames = countFrames(theirs);
    long ffmpegDropped = 0;
    if (const auto at = ffmpegRun.err.rfind("drop="); at != std::string::npos)
        ffmpegDropped = std::stol(ffmpegRun.err.substr(at + 5));

    const double ourFps = double(counts[0].frames) / seconds;
    const double ffmpegFps = double(ffmpegFrames) / seconds;
    holes.resize(counts.size(), 0.0);
    // The zoomed picture can rest where the busy window is not: its repeats
    // share a sample (up to 0.1 s), which the gap between samples shows too.
    for (size_t i = 0; i < counts.size(); ++i)
        std::printf("ours %s %.1f fps, %ld dropped, %ld repeats, largest gap between samples in the first "
                    "half second %.0f ms\n",
                    i == 0 ? "zoomed:" : "full:  ", double(counts[i].frames) / seconds, counts[i].dropped,
                    counts[i].repeats, holes[i] * 1000);
    std::printf("ours: cpu %.1f s over %.1f s, peak rss %ld MB, files closed %ld ms after stop\n", ourRun.cpuSeconds,
                ourRun.wallSeconds, ourRun.peakRssMb, closedMs);
    std::printf("ffmpeg x11grab libx265 ultrafast: %.1f fps, %ld dropped, cpu %.1f s over %.1f s, peak rss %ld MB\n",
                ffmpegFps, ffmpegDropped, ffmpegRun.cpuSeconds, ffmpegRun.wallSeconds, ffmpegRun.peakRssMb);
    std::printf("ratio=%.2f\n", ffmpegFps > 0 ? ourFps / ffmpegFps : 0.0);
    fs::remove_all(work);
    return 0;
}
