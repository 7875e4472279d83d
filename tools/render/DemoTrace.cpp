#include "DemoTrace.h"

#include <cmath>
#include <string>

namespace vantrel::tools {

namespace {

constexpr int kFramesPerSecond = 60;
constexpr double kDemoSeconds = 9.0;
constexpr double kWallStart = 1'800'000'000.0;
constexpr int32_t kTimescale = 600;

double easeInOut(double t) {
    return t < 0.5 ? 2 * t * t : 1 - std::pow(-2 * t + 2, 2) / 2;
}

CGPoint lerp(CGPoint a, CGPoint b, double t) {
    return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

// One leg of the pointer's path.
struct Move {
    double start, end;
    CGPoint from, to;
};

} // namespace

std::vector<TraceFrame> makeDemoTrace(int width, int height) {
    const double w = width, h = height;
    const CGPoint start{0.3 * w, 0.6 * h}, button{0.78 * w, 0.3 * h}, field{0.33 * w, h / 5 + 16};
    const Move moves[] = {{1.0, 2.2, start, button}, {3.2, 3.8, button, field}};
    const double clicks[] = {2.5, 4.0};
    const char* typed = "Hello, world";
    const double typingStart = 4.4, keyInterval = 0.18, newLineAt = 6.8;
    const double fieldX = 0.3 * w, lineHeight = 18;

    std::vector<TraceFrame> frames;
    EventState state = EventState::initial(kWallStart);
    state.mouseLocation = start;
    CGPoint previousMouse = start;
    int keysShown = 0;
    for (int i = 0; i < kDemoSeconds * kFramesPerSecond; ++i) {
        const double t = static_cast<double>(i) / kFramesPerSecond;
        const double wall = kWallStart + t;

        CGPoint mouse = previousMouse;
        for (const Move& m : moves)
            if (t >= m.start && t <= m.end)
                mouse = lerp(m.from, m.to, easeInOut((t - m.start) / (m.end - m.start)));
        bool pressed = false;
        for (double c : clicks)
            pressed = pressed || (t >= c && t < c + 0.12);
        if (mouse != previousMouse || pressed != state.isMouseClicked) {
            state.lastInputMode = InputMode::mouse;
            state.lastInputTime = wall;
        }
        state.mouseLocation = mouse;
        state.isMouseClicked = pressed;
        previousMouse = mouse;

        // Resting on the button brings its label.
        const bool onButton = t > 2.2 && t < 3.2;
        state.cursorFollowText = onButton ? std::optional<std::string>("Save Document") : std::nullopt;

        // Typing: one key every 0.18 s, the caret moving along, a new line later.
        const int due = t >= typingStart ? static_cast<int>((t - typingStart) / keyInterval) + 1 : 0;
        if (due > keysShown && keysShown < 2 * static_cast<int>(std::string(typed).size())) {
            keysShown = due;
            const int column = keysShown % 12;
            const bool secondLine = t >= newLineAt;
            state.activeKeys = keysShown % 9 == 0 ? "⇧ + ⌘ + K" : std::string(1, typed[keysShown % 12]);
            state.lastInputMode = InputMode::keyboard;
            state.lastInputTime = wall;
            state.lastKeystrokeTime = wall;
            const double caretX = fieldX + 8 + column * 11;
            const double caretY = h / 5 + 8 - (secondLine ? lineHeight : 0);
            state.focusedRect = CGRect(caretX, caretY, 2, 16);
        }
        frames.push_back(
            {CMTime(static_cast<int64_t>(i) * kTimescale / kFramesPerSecond, kTimescale), wall, state});
    }
    return frames;
}

} // namespace vantrel::tools
