// Reference pictures of the four overlays (click ripple, keystroke pill, label
// bubble, webcam picture), each rendered through the whole engine on a small
// frame and compared with a PNG in tests/data/golden/. Small differences in
// font rendering pass: a channel may be off by a little, and a small share of
// pixels by more.
//
// After a deliberate change of an overlay's look, regenerate them with
//   VANTREL_UPDATE_GOLDENS=1 <build>/bin/engine_overlay_golden_test
// and look at every rewritten PNG before committing it.
#include "engine/VideoProcessor.h"
#include "platform/image/PngFile.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

constexpr double kWall = 1'800'000'000.0;
constexpr int kWidth = 960, kHeight = 540;
// A channel off by up to this still matches; beyond it the pixel differs.
constexpr int kChannelTolerance = 20;
// The share of pixels that may differ before the pictures count as unlike.
constexpr double kDifferingShare = 0.01;
const std::filesystem::path kGoldenDir = std::filesystem::path(VANTREL_TEST_DATA_DIR) / "golden";

// `blue`, `green` and `red` of each pixel from its place (x right, row down).
template <typename Colour> CVPixelBufferRef picture(int width, int height, Colour colour) {
    auto pixels = CVPixelBuffer::create(width, height);
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x) {
            const auto [b, g, r] = colour(x, row);
            uint8_t* p = pixels->row(row) + 4 * x;
            p[0] = static_cast<uint8_t>(b), p[1] = static_cast<uint8_t>(g), p[2] = static_cast<uint8_t>(r);
            p[3] = 255;
        }
    return pixels;
}

// A scene: the settings, the input of each frame, and the part of the last
// output (y up) that the golden keeps.
struct Scene {
    const char* name;
    CGRect keep;
    int frames;
    std::function<void(AppSettingsSnapshot&)> configure;
    std::function<void(int frame, EventState&)> input;
    bool webcam = false;
};

CVPixelBufferRef render(const Scene& scene) {
    auto clock = std::make_shared<ManualWallClock>(kWall);
    VideoProcessor processor({kWidth, kHeight}, clock);
    AppSettingsSnapshot settings;
    settings.enableAutoZoom = false; // the view stays on the whole frame
    scene.configure(settings);
    // A light desktop of 24-pixel squares in two greys, so that what an overlay lets through shows.
    const auto desktop = picture(kWidth, kHeight, [](int x, int row) {
        const int grey = (x / 24 + row / 24) % 2 ? 236 : 214;
        return std::array{grey, grey, grey};
    });
    const auto camera = picture(320, 180, [](int x, int row) {
        return std::array{60 + x / 2, 40 + row, 190};
    });
    CVPixelBufferRef out;
    for (int frame = 0; frame < scene.frames; ++frame) {
        clock->set(kWall + frame / 60.0);
        EventState state = EventState::initial(kWall);
        scene.input(frame, state);
        out =
            processor.process(CMSampleBuffer::makeVideo(desktop, CMTime(frame * 10, 600)), state, settings,
                              scene.webcam ? std::optional(CIImage::fromPixelBuffer(camera)) : std::nullopt);
    }
    if (!out) return nullptr;
    const int w = static_cast<int>(scene.keep.width()), h = static_cast<int>(scene.keep.height());
    const int top = kHeight - static_cast<int>(scene.keep.maxY());
    auto part = CVPixelBuffer::create(w, h);
    for (int row = 0; row < h; ++row)
        std::memcpy(part->row(row), out->row(top + row) + 4 * static_cast<int>(scene.keep.minX()), 4 * w);
    return part;
}

// How many pixels differ by more than the tolerance in some channel; -1 for another size.
int differingPixels(const CVPixelBuffer& actual, const CVPixelBuffer& golden) {
    if (actual.width() != golden.width() || actual.height() != golden.height()) return -1;
    int differing = 0;
    for (int row = 0; row < actual.height(); ++row)
        for (int x = 0; x < 4 * actual.width(); x += 4)
            for (int c = 0; c < 4; ++c)
                if (std::abs(actual.row(row)[x + c] - golden.row(row)[x + c]) > kChannelTolerance) {
                    ++differing;
                    break;
                }
    return differing;
}

bool alike(const CVPixelBuffer& actual, const CVPixelBuffer& golden) {
    const int differing = differingPixels(actual, golden);
    return differing >= 0 && differing <= kDifferingShare * actual.width() * actual.height();
}

// A click at (300, 270), seen 0.1 s later: the ring a third grown, the core still bright.
const Scene kRipple{"ripple", CGRect(220, 190, 160, 160), 7,
                    [](AppSettingsSnapshot& s) { s.showMouseClicks = true; },
                    [](int frame, EventState& state) {
                        state.mouseLocation = {300, 270};
                        state.isMouseClicked = frame >= 1;
                    }};
// Keys pressed half a second ago: the pill at full strength.
const Scene kPill{"keystroke-pill", CGRect(300, 20, 360, 100), 1,
                  [](AppSettingsSnapshot& s) { s.showKeystrokes = true; },
                  [](int, EventState& state) {
                      state.activeKeys = "⇧ + ⌘ + K";
                      state.lastKeystrokeTime = kWall - 0.5;
                  }};
// A label under a resting pointer, a second in: shown, faded in and settled.
const Scene kBubble{"label-bubble", CGRect(380, 230, 200, 90), 60,
                    [](AppSettingsSnapshot& s) { s.enableCursorFollowText = true; },
                    [](int, EventState& state) {
                        state.mouseLocation = {400, 300};
                        state.cursorFollowText = "Save Document";
                    }};
// The camera picture in the lower right corner.
const Scene kWebcam{"webcam",
                    CGRect(720, 0, 240, 150),
                    1,
                    [](AppSettingsSnapshot& s) { s.webcamPosition = WebcamPosition::bottomRight; },
                    [](int, EventState&) {},
                    true};

} // namespace

TEST(OverlayGoldenTest, EachOverlayLooksAsItsReferencePicture) {
    const char* update = std::getenv("VANTREL_UPDATE_GOLDENS");
    for (const Scene* scene : {&kRipple, &kPill, &kBubble, &kWebcam}) {
        const auto actual = render(*scene);
        ASSERT_TRUE(actual) << scene->name;
        const auto path = kGoldenDir / (std::string(scene->name) + ".png");
        if (update && std::string_view(update) == "1") {
            std::filesystem::create_directories(kGoldenDir);
            EXPECT_TRUE(writePngFile(*actual, path)) << path;
            std::printf("wrote %s\n", path.c_str());
            continue;
        }
        const auto golden = readPngFile(path);
        ASSERT_TRUE(golden) << "no golden " << path << ": run with VANTREL_UPDATE_GOLDENS=1 to make it";
        if (alike(*actual, *golden)) continue;
        const auto seen =
            std::filesystem::path(::testing::TempDir()) / (std::string(scene->name) + ".actual.png");
        writePngFile(*actual, seen);
        ADD_FAILURE() << scene->name << ": " << differingPixels(*actual, *golden)
                      << " pixels differ from the golden; this rendering is in " << seen;
    }
}
