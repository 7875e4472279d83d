#pragma once
// Memory of bitmap contexts. The keystroke pill is a whole output frame
// drawn afresh on every frame of its fade; fresh memory of that size costs
// milliseconds in page faults alone. Freed bitmaps are kept for reuse, and
// each remembers which pixels were drawn, so that making it clear again
// costs what was drawn, not the whole frame.

#include "platform/core/PixelBuffer.h"

#include <memory>

namespace vantrel::bitmap_memory {

/// Pixels in device space (y down), half-open.
struct DeviceBox {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;

    bool isEmpty() const { return x1 <= x0 || y1 <= y0; }
    DeviceBox intersection(const DeviceBox& other) const;
    /// The smallest box holding both; an empty side is ignored.
    DeviceBox unionWith(const DeviceBox& other) const;
    bool contains(const DeviceBox& other) const {
        return other.isEmpty() || (x0 <= other.x0 && y0 <= other.y0 && other.x1 <= x1 && other.y1 <= y1);
    }
};

struct Bitmap {
    /// All pixels transparent.
    CVPixelBufferRef pixels;
    /// Where the owner has drawn: the owner widens it before it draws.
    std::shared_ptr<DeviceBox> drawn;
};

/// A cleared bitmap, reused if one of the size was freed lately. Its memory
/// comes back when the last reference to `pixels` goes, from any thread.
/// Null pixels when memory runs out.
Bitmap obtainClearedBitmap(int width, int height);

} // namespace vantrel::bitmap_memory
