// The label bubble through time: which texts show, when, where and how faded.
#include "engine/CursorTooltip.h"

#include "engine/TextTrimming.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {

constexpr double kFrame = 1.0 / 60;
const CGSize kSource{1920, 1080};

struct Tooltip {
    Tooltip() : tooltip(CIFilter::filterWithName("CIColorMatrix")) {}

    CIImage frame(std::optional<std::string> text, CGPoint mouse = {500, 500}, double dt = kFrame) {
        EventState state = EventState::initial(0);
        state.mouseLocation = mouse;
        state.cursorFollowText = std::move(text);
        return tooltip.applyCursorTooltip(screen, state, kSource, dt);
    }
    int framesUntilShown(const std::string& text, int limit = 100) {
        for (int i = 1; i <= limit; ++i) {
            frame(text);
            if (tooltip.activeText() == text) return i;
        }
        return -1;
    }

    CIImage screen =
        CIImage::fromColor({0.2, 0.3, 0.4, 1}).croppedTo(CGRect(0, 0, kSource.width, kSource.height));
    CursorTooltip tooltip;
};

} // namespace

TEST(CursorTooltipTest, OnlyTextsWorthReadingAreTakenUp) {
    Tooltip t;
    for (const char* rejected : {"OK", "  ab \n", "Button", "TOOLBAR", "image", "", "   "}) {
        for (int i = 0; i < 30; ++i)
            t.frame(rejected);
        EXPECT_FALSE(t.tooltip.activeText().has_value()) << rejected;
        EXPECT_FALSE(t.tooltip.hoveredText().has_value()) << rejected;
    }
    // A longer text that merely holds such a word passes, trimmed.
    EXPECT_GT(t.framesUntilShown("Save Button"), 0);
    Tooltip padded;
    padded.framesUntilShown("  New Tab \n");
    EXPECT_EQ(padded.tooltip.activeText(), "New Tab");
    // Three characters, counted as characters not bytes.
    Tooltip accents;
    EXPECT_GT(accents.framesUntilShown("Öl…"), 0);
}

TEST(CursorTooltipTest, ATextShowsAfterHoldingAFifthOfASecond) {
    Tooltip t;
    // The timer starts at 0 on the first frame and grows from the next; twelve
    // steps of 1/60 s add up to a hair under 0.2 s, so the thirteenth shows it.
    EXPECT_EQ(t.framesUntilShown("Save Document"), 14);
    EXPECT_EQ(t.tooltip.cacheState().cachedText, "Save Document");

    // A text that changes on every frame never shows.
    Tooltip flicker;
    for (int i = 0; i < 60; ++i)
        flicker.frame("Label " + std::to_string(i));
    EXPECT_FALSE(flicker.tooltip.activeText().has_value());

    // A stalled capture does not make up the delay at once: dt counts 0.05 s at most.
    Tooltip stalled;
    stalled.frame("Open File", {500, 500}, 1.0);
    stalled.frame("Open File", {500, 500}, 1.0);
    EXPECT_FALSE(stalled.tooltip.activeText().has_value());
}

TEST(CursorTooltipTest, FadesInAndOutAndForgetsWhenGone) {
    Tooltip t;
    t.framesUntilShown("Preferences");
    EXPECT_GT(t.tooltip.alpha(), 0.05); // fading in, not there at once
    EXPECT_LT(t.tooltip.alpha(), 0.5);
    for (int i = 0; i < 60; ++i)
        t.frame("Preferences");

    // The text goes: the position is dropped at once, the bubble fades at rate 20.
    t.frame(std::nullopt);
    EXPECT_FALSE(t.tooltip.activeText().has_value());
    EXPECT_TRUE(t.tooltip.position().has_value()); // placed afresh at its aim for the fade
    EXPECT_TRUE(t.tooltip.cacheState().cachedImage.has_value());
    int frames = 1;
    while (t.tooltip.cacheState().cachedImage && frames < 100) {
        t.frame(std::nullopt);
        ++frames;
    }
    EXPECT_LT(frames, 20); // gone within a third of a second
    EXPECT_EQ(t.tooltip.cacheState().cachedText, "");
    EXPECT_FALSE(t.tooltip.position().has_value());
}

TEST(CursorTooltipTest, TrimmingFollowsWhitespaceRules) {
    EXPECT_EQ(trimmingWhitespaces("  ⌘ + K \t"), "⌘ + K");
    EXPECT_EQ(trimmingWhitespaces(" \n "), "\n"); // line ends stay
    EXPECT_EQ(trimmingWhitespacesAndNewlines("\u00a0 Save\u3000\n"), "Save");
    EXPECT_EQ(characterCount("e\u0301t\u00e9"), 3u);
}
