#include "FlashScene.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <xcb/xcb.h>

namespace vantrel::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRate = 48000;
constexpr int kChannels = 2;
constexpr double kToneHz = 1000.0;
constexpr float kToneAmplitude = 0.5f;
// Sound is written in steps of this length, on the clock: the pipe and
// pacat's own buffer never hold more than a step or two, so the tone leaves
// for the server within a few milliseconds of the flash.
constexpr auto kStep = std::chrono::milliseconds(2);
// Eight shades, a step every 8 ms: frames a 60 fps capture takes one after
// the other are always of different shades.
constexpr auto kShadeStep = std::chrono::milliseconds(8);
constexpr int kShades = 8;
constexpr int kStepFrames = kRate * 2 / 1000;
// pacat starts playing once its buffer holds its latency; this much silence
// goes first so that it never runs dry afterwards.
constexpr int kPrefillSteps = 6;

/// pacat at 10 ms latency reading raw float stereo from a one-page pipe. A
/// longer pipe would let the tone queue up behind silence; paplay starts
/// more than a second late on a null sink and says nothing about timing.
struct TonePlayer {
    pid_t pid = -1;
    int fd = -1;

    explicit TonePlayer(const std::string& sink) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe for pacat");
        fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(sysconf(_SC_PAGESIZE)));
        pid = fork();
        if (pid == 0) {
            dup2(ends[0], STDIN_FILENO);
            const std::string device = "--device=" + sink;
            std::vector<const char*> args = {"pacat", "--playback", "--raw", "--latency-msec=10",
                                             "--format=float32le", "--rate=48000", "--channels=2"};
            if (!sink.empty()) args.push_back(device.c_str());
            args.push_back(nullptr);
            execvp("pacat", const_cast<char* const*>(args.data()));
            _exit(127);
        }
        close(ends[0]);
        fd = ends[1];
        if (pid < 0) throw std::runtime_error("cannot start pacat");
    }
    ~TonePlayer() {
        if (fd >= 0) close(fd); // pacat plays what it has and ends
        if (pid > 0) {
            int status = 0;
            waitpid(pid, &status, 0);
        }
    }
    void write(const std::vector<float>& samples) const {
        const auto* bytes = reinterpret_cast<const char*>(samples.data());
        size_t left = samples.size() * sizeof(float);
        while (left > 0) {
            const ssize_t n = ::write(fd, bytes, left);
            if (n <= 0) throw std::runtime_error("pacat stopped reading");
            bytes += n;
            left -= static_cast<size_t>(n);
        }
    }
};

struct SceneWindow {
    xcb_connection_t* c = nullptr;
    xcb_window_t window = 0;
    uint32_t black = 0, white = 0;
    xcb_gcontext_t gc = 0;
    static constexpr int kPatchSide = 64;
    xcb_rectangle_t patch{0, 0, kPatchSide, kPatchSide};

    SceneWindow() {
        c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c)) throw std::runtime_error("cannot open the X display");
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        black = screen->black_pixel;
        white = screen->white_pixel;
        window = xcb_generate_id(c);
        // Override-redirect: no window manager moves it or draws a frame round it.
        const uint32_t values[] = {black, 1};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, screen->width_in_pixels,
                          screen->height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(c, window);
        gc = xcb_generate_id(c);
        xcb_create_gc(c, gc, window, 0, nullptr);
        // The patch sits on the pointer, where the recorder's camera looks.
        if (auto* pointer = xcb_query_pointer_reply(c, xcb_query_pointer(c, screen->root), nullptr)) {
            patch.x = int16_t(std::max(0, pointer->root_x - kPatchSide / 2));
            patch.y = int16_t(std::max(0, pointer->root_y - kPatchSide / 2));
            free(pointer);
        }
        sync();
    }
    ~SceneWindow() { xcb_disconnect(c); }
    void fill(bool lit) {
        const uint32_t pixel = lit ? white : black;
        xcb_change_window_attributes(c, window, XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, window, 0, 0, 0, 0);
    }
    // A small patch a few levels off black or white (a TrueColor visual, as
    // Xvfb's), in another shade every 8 ms: a picture that never repeats, so
    // that the recorder gives every captured frame a sample of its own and
    // the frame before a flash lies one frame back. Small, so that neither
    // the X server nor the encoder works harder than for a still screen.
    void shadePatch(bool lit, int shade) {
        const uint32_t step = 0x010101u * uint32_t(2 * shade);
        const uint32_t pixel = lit ? white - step : black + step;
        xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &pixel);
        xcb_poly_fill_rectangle(c, window, gc, 1, &patch);
        xcb_flush(c);
    }
    void sync() { free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); }
};

double hostSeconds(Clock::time_point t) {
    return std::chrono::duration<double>(t.time_since_epoch()).count();
}

} // namespace

std::vector<double> runFlashScene(const FlashSceneOptions& options) {
    std::signal(SIGPIPE, SIG_IGN);
    SceneWindow scene;
    std::vector<std::unique_ptr<TonePlayer>> players;
    for (const auto& sink : options.sinks.empty() ? std::vector<std::string>{""} : options.sinks)
        players.push_back(std::make_unique<TonePlayer>(sink));

    const std::vector<float> silence(kStepFrames * kChannels, 0.0f);
    for (int i = 0; i < kPrefillSteps; ++i)
        for (auto& player : players) player->write(silence);

    const auto start = Clock::now();
    auto at = [&](double seconds) {
        return start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    };
    const double total = options.leadSeconds + options.flashes * options.intervalSeconds;
    std::vector<double> flashTimes;
    std::vector<float> step(kStepFrames * kChannels);
    int64_t toneFrame = 0;
    bool lit = false;
    int lastShade = 0;
    for (auto tick = start; tick < at(total); tick += kStep) {
        std::this_thread::sleep_until(tick);
        const double t = std::chrono::duration<double>(tick - start).count() - options.leadSeconds;
        const int flash = t < 0 ? -1 : static_cast<int>(t / options.intervalSeconds);
        const double into = flash < 0 ? -1 : t - flash * options.intervalSeconds;
        const bool white = flash >= 0 && into < options.whiteSeconds;
        const int shade = int((tick - start) / kShadeStep) % kShades;
        if (white != lit || shade != lastShade) {
            if (white && !lit) flashTimes.push_back(hostSeconds(Clock::now()));
            if (white != lit) scene.fill(white);
            scene.shadePatch(white, shade);
            lit = white;
            lastShade = shade;
        }
        const bool tone = flash >= 0 && into < options.toneSeconds;
        if (!tone) toneFrame = 0;
        for (int i = 0; i < kStepFrames; ++i) {
            const float v = tone ? kToneAmplitude * static_cast<float>(std::sin(
                                                        2 * M_PI * kToneHz * double(toneFrame++) / kRate))
                                 : 0.0f;
            step[2 * i] = step[2 * i + 1] = v;
        }
        for (auto& player : players) player->write(step);
    }
    scene.fill(false);
    scene.sync();
    return flashTimes;
}

} // namespace vantrel::tools
