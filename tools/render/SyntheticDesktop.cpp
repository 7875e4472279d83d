#include "SyntheticDesktop.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vantrel::tools {

namespace {

constexpr int kGridSpacing = 120;

struct Bgra {
    uint8_t b, g, r;
};

// Rectangles are given y-up, as everything in the engine.
void fillRect(CVPixelBuffer& buffer, int x, int y, int w, int h, Bgra color) {
    const int x0 = std::clamp(x, 0, buffer.width()), x1 = std::clamp(x + w, 0, buffer.width());
    const int y0 = std::clamp(y, 0, buffer.height()), y1 = std::clamp(y + h, 0, buffer.height());
    for (int row = y0; row < y1; ++row) {
        uint8_t* p = buffer.row(buffer.height() - 1 - row) + 4 * x0;
        for (int col = x0; col < x1; ++col, p += 4) {
            p[0] = color.b;
            p[1] = color.g;
            p[2] = color.r;
            p[3] = 255;
        }
    }
}

// A window: frame, title bar and rows of "text" to read zoom levels by.
void drawWindow(CVPixelBuffer& buffer, int x, int y, int w, int h, Bgra accent) {
    fillRect(buffer, x - 1, y - 1, w + 2, h + 2, {60, 60, 60});
    fillRect(buffer, x, y, w, h, {245, 245, 245});
    fillRect(buffer, x, y + h - 28, w, 28, {225, 222, 220});
    fillRect(buffer, x + 10, y + h - 19, 10, 10, {90, 95, 255});
    fillRect(buffer, x + 26, y + h - 19, 10, 10, {60, 190, 255});
    fillRect(buffer, x + 42, y + h - 19, 10, 10, {80, 200, 90});
    for (int line = 0, top = y + h - 50; top > y + 20; ++line, top -= 22) {
        const int length = (w - 40) * (5 + (line * 7) % 5) / 10;
        fillRect(buffer, x + 20, top - 10, length, 10, line % 4 == 0 ? accent : Bgra{120, 120, 120});
    }
}

} // namespace

CVPixelBufferRef makeSyntheticDesktop(int width, int height) {
    auto buffer = CVPixelBuffer::create(width, height);
    if (!buffer) return nullptr;
    for (int row = 0; row < height; ++row) {
        // Deep blue at the top to teal at the bottom.
        const int t = row * 255 / std::max(1, height - 1);
        const Bgra shade{static_cast<uint8_t>(150 - t / 4), static_cast<uint8_t>(60 + t / 3),
                         static_cast<uint8_t>(30 + t / 8)};
        fillRect(*buffer, 0, height - 1 - row, width, 1, shade);
    }
    for (int x = 0; x < width; x += kGridSpacing)
        fillRect(*buffer, x, 0, 1, height, {200, 200, 200});
    for (int y = 0; y < height; y += kGridSpacing)
        fillRect(*buffer, 0, y, width, 1, {200, 200, 200});
    drawWindow(*buffer, width / 20, height / 10, width * 2 / 5, height * 3 / 5, {200, 120, 40});
    drawWindow(*buffer, width / 2, height / 3, width * 2 / 5, height / 2, {40, 120, 220});
    // A text field, where the demo types.
    fillRect(*buffer, width * 3 / 10 - 1, height / 5 - 1, width / 4 + 2, 34, {140, 110, 60});
    fillRect(*buffer, width * 3 / 10, height / 5, width / 4, 32, {255, 255, 255});
    // Menu bar.
    fillRect(*buffer, 0, height - 26, width, 26, {235, 235, 235});
    return buffer;
}

CVPixelBufferRef makeSyntheticWebcam(int width, int height) {
    auto buffer = CVPixelBuffer::create(width, height);
    if (!buffer) return nullptr;
    const double cx = width / 2.0, headY = height * 0.58, headR = height * 0.2;
    for (int row = 0; row < height; ++row) {
        const double y = height - 1 - row; // y up
        for (int x = 0; x < width; ++x) {
            uint8_t* p = buffer->row(row) + 4 * x;
            const double dx = x - cx, dy = y - headY;
            const bool head = dx * dx + dy * dy < headR * headR;
            const bool shoulders =
                y < height * 0.35 && std::abs(dx) < width * 0.28 - (y / height) * width * 0.2;
            const Bgra c = head        ? Bgra{120, 160, 225}
                           : shoulders ? Bgra{140, 80, 50}
                                       : Bgra{static_cast<uint8_t>(90 + y * 60 / height),
                                              static_cast<uint8_t>(150 + y * 40 / height), 200};
            p[0] = c.b;
            p[1] = c.g;
            p[2] = c.r;
            p[3] = 255;
        }
    }
    return buffer;
}

} // namespace vantrel::tools
