// The keystroke pill through time: the cache during the hold, a new drawing
// on every frame of the fade, what clears it, and where the pill lies.
#include "engine/KeystrokeOverlay.h"

#include "engine/VideoProcessor.h"
#include "platform/image/CIContext.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace vantrel;

namespace {

constexpr double kPress = 1'800'000'000.0;
const CGSize kOutput{640, 360};
const CGFloat kPadding = kOutput.height * 0.04 * 0.6;
// Red of white under the pill's black at 0.7 × fade.
double fillRed(double fade) {
    return 255 * (1 - 0.7 * fade);
}

int redAt(const CVPixelBuffer& pixels, int x, int y) {
    return pixels.row(pixels.height() - 1 - y)[4 * x + 2];
}

struct Pill {
    Pill() : overlay(kOutput, CIFilter::filterWithName("CISourceOverCompositing"), manual) {}

    // The frame `age` seconds after the press of `keys`.
    CIImage at(double age, const std::string& keys = "⇧ + ⌘ + K") {
        manual->set(kPress + age);
        EventState state = EventState::initial(kPress);
        state.activeKeys = keys;
        state.lastKeystrokeTime = kPress;
        return overlay.applyKeystrokeOverlay(frame, state);
    }
    CIImage cached() const { return overlay.cacheState().cachedOverlayImage.value(); }
    CVPixelBufferRef rendered(double age, const std::string& keys = "⇧ + ⌘ + K") {
        return CIContext().createPixelBuffer(at(age, keys), {0, 0, kOutput.width, kOutput.height});
    }
    // Inside the pill beside and below the text, only its fill lies.
    int fillRedAt(double age) {
        const auto pixels = rendered(age);
        const CGRect pill = cached().extent();
        return redAt(*pixels, static_cast<int>(pill.minX() + 1 + kPadding / 2),
                     static_cast<int>(pill.midY()));
    }
    // The brightest red within the pill's padding: its text.
    int textRedAt(double age) {
        const auto pixels = rendered(age);
        const CGRect inner = cached().extent().insetBy(kPadding, kPadding);
        int brightest = 0;
        for (int y = static_cast<int>(inner.minY()); y < inner.maxY(); ++y)
            for (int x = static_cast<int>(inner.minX()); x < inner.maxX(); ++x)
                brightest = std::max(brightest, redAt(*pixels, x, y));
        return brightest;
    }

    std::shared_ptr<ManualWallClock> manual = std::make_shared<ManualWallClock>(kPress);
    CIImage frame =
        CIImage::fromColor(CIColor::whiteColor()).croppedTo({0, 0, kOutput.width, kOutput.height});
    KeystrokeOverlay overlay;
};

int fillRow(const CGRect& pill) {
    return static_cast<int>(pill.minY() + 1 + kPadding / 2);
}

} // namespace

TEST(KeystrokeOverlayTest, OneDrawingServesTheHoldAndTheFadeDrawsAnewOnEachFrame) {
    Pill pill;
    EXPECT_NEAR(pill.fillRedAt(0.0), fillRed(1.0), 3);
    EXPECT_EQ(pill.textRedAt(0.1), 255);
    const auto holding = pill.cached().node();
    pill.at(1.49);
    EXPECT_EQ(pill.cached().node(), holding); // hit

    // Exactly at the end of the hold the cache is not read, yet the fade is still 1.
    EXPECT_NEAR(pill.fillRedAt(1.5), fillRed(1.0), 3);
    const auto atEnd = pill.cached().node();
    EXPECT_NE(atEnd, holding);
    // Half-way through the fade the pill and its text are half as strong.
    EXPECT_NEAR(pill.fillRedAt(2.0), fillRed(0.5), 3);
    EXPECT_LT(pill.textRedAt(2.0), 0.5 * 255 + 0.5 * fillRed(0.5) + 5);
    const auto halfWay = pill.cached().node();
    EXPECT_NE(halfWay, atEnd);

    // The same keys again: the stamp is fresh, and the faded drawing last stored serves.
    EXPECT_NEAR(pill.fillRedAt(0.0), fillRed(0.5), 3);
    EXPECT_EQ(pill.cached().node(), halfWay);
    pill.at(0.0, "⌘ + S");
    EXPECT_NE(pill.cached().node(), halfWay); // miss: another text
    EXPECT_EQ(pill.overlay.cacheState().cachedOverlayKeys, "⌘ + S");

    // From 2.5 s the frame passes unchanged, and the cache keeps what it had.
    pill.at(2.2);
    const auto last = pill.cached().node();
    for (const double age : {2.5, 30.0}) {
        EXPECT_EQ(pill.at(age).node(), pill.frame.node()) << age;
        EXPECT_EQ(pill.cached().node(), last);
    }
}

TEST(KeystrokeOverlayTest, BlankKeysClearTheCacheButALineEndIsShown) {
    Pill pill;
    pill.at(0.2);
    EXPECT_EQ(pill.at(0.3, " \t \u3000").node(), pill.frame.node());
    EXPECT_EQ(pill.overlay.cacheState().cachedOverlayKeys, "");
    EXPECT_FALSE(pill.overlay.cacheState().cachedOverlayImage);

    EXPECT_NE(pill.at(0.3, "  \n ").node(), pill.frame.node());
    EXPECT_EQ(pill.overlay.cacheState().cachedOverlayKeys, "\n");

}

TEST(KeystrokeOverlayTest, ALongTextRunsOffBothSides) {
    Pill pill;
    // A text wider than the frame is not shortened: the pill is cut by the frame.
    const std::string keys(120, 'W');
    const auto wide = pill.rendered(0.0, keys);
    EXPECT_GT(pill.overlay.pillText(keys, 1.0).size().width, kOutput.width);
    const CGRect cut = pill.cached().extent();
    EXPECT_EQ(cut.minX(), 0);
    EXPECT_EQ(cut.maxX(), kOutput.width);
    EXPECT_NEAR(redAt(*wide, 0, fillRow(cut)), fillRed(1.0), 3);
    EXPECT_NEAR(redAt(*wide, static_cast<int>(kOutput.width) - 1, fillRow(cut)), fillRed(1.0), 3);
}

TEST(KeystrokeOverlayTest, EveryKeyGlyphHasAFaceInThePillFont) {
    // Every text the key tables can put into the pill, separators included.
    const std::vector<std::string> keyTexts = {
        "⌃ + ⌥ + ⇧ + ⌘", "⏎ Enter ⇥ Tab ␣ Space ⌫ Delete ⎋ Esc ⌧ Clear", "↖ Home ⇞ PgUp ⌦ Fwd Del ↘ End ⇟ PgDn",
        "← → ↑ ↓", "F1 F2 F3 F4 F5 F6 F7 F8 F9 F10 F11 F12", "ABCDEFGHIJKLMNOPQRSTUVWXYZ",
        "abcdefghijklmnopqrstuvwxyz 0123456789", "= - ] [ ' ; \\ , / . `"};
    const KeystrokeOverlay overlay({1920, 1080}, nullptr, std::make_shared<ManualWallClock>());
    for (const std::string& text : keyTexts) {
        const NSAttributedString pillText = overlay.pillText(text, 1.0);
        EXPECT_EQ(pillText.attributes().font.weight, NSFontWeightBold);
        EXPECT_EQ(pillText.missingGlyphCount(), 0) << text;
    }
    // The count does see characters that no font has (unassigned, private use).
    EXPECT_GT(overlay.pillText("\U000E0080 \U0010FFFD", 1.0).missingGlyphCount(), 0);
}

TEST(KeystrokeOverlayTest, InTheEngineThePillLiesUnderTheWebcamAndCleanupEmptiesItsCache) {
    VideoProcessor processor(kOutput, std::make_shared<ManualWallClock>(kPress));
    AppSettingsSnapshot settings;
    settings.enableAutoZoom = false;
    settings.showKeystrokes = true;
    settings.webcamPosition = WebcamPosition::bottomRight;
    EventState state = EventState::initial(kPress);
    state.activeKeys = std::string(120, 'W'); // across the whole bottom, under the webcam too
    state.lastKeystrokeTime = kPress;
    const auto source = CVPixelBuffer::create(640, 360);
    std::memset(source->baseAddress(), 255, source->bytesPerRow() * 360);
    const CIImage red = CIImage::fromColor({1, 0, 0, 1}).croppedTo({0, 0, 160, 90});

    const auto out =
        processor.process(CMSampleBuffer::makeVideo(source, CMTime(0, 600)), state, settings, red);
    ASSERT_TRUE(out);
    // The picture is 128 × 72 at (492, 20); the pill crosses it.
    const int y = fillRow(processor.keystrokeOverlay().cacheState().cachedOverlayImage.value().extent());
    ASSERT_TRUE(y > 20 && y < 92) << y;
    EXPECT_EQ(redAt(*out, 556, y), 255); // red, not darkened by the pill
    EXPECT_EQ(out->row(359 - y)[4 * 556 + 1], 0);
    EXPECT_NEAR(redAt(*out, 300, y), fillRed(1.0), 3); // the pill beside it

    processor.cleanup();
    EXPECT_EQ(processor.keystrokeOverlay().cacheState().cachedOverlayKeys, "");
    EXPECT_FALSE(processor.keystrokeOverlay().cacheState().cachedOverlayImage);
}
