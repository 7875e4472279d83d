#include "platform/image/BitmapMemory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

namespace vantrel::bitmap_memory {

namespace {
// Enough for a few 1080p frames, or one 4K frame.
constexpr size_t kMaxKeptBytes = 48u << 20;
constexpr size_t kMaxKeptBitmaps = 8;
constexpr size_t kRowAlignment = 64;

struct FreeBitmap {
    uint8_t* memory = nullptr;
    int width = 0;
    int height = 0;
    size_t bytes = 0;
    std::shared_ptr<DeviceBox> drawn;
};

// The freed bitmaps, oldest first.
class Shelf {
public:
    void put(FreeBitmap bitmap) {
        std::lock_guard guard(mutex_);
        while (!kept_.empty() &&
               (kept_.size() >= kMaxKeptBitmaps || keptBytes_ + bitmap.bytes > kMaxKeptBytes)) {
            std::free(kept_.front().memory);
            keptBytes_ -= kept_.front().bytes;
            kept_.pop_front();
        }
        if (bitmap.bytes > kMaxKeptBytes) {
            std::free(bitmap.memory);
            return;
        }
        keptBytes_ += bitmap.bytes;
        kept_.push_back(std::move(bitmap));
    }

    /// The newest freed bitmap of the size, if any.
    bool take(int width, int height, FreeBitmap& out) {
        std::lock_guard guard(mutex_);
        const auto found = std::find_if(kept_.rbegin(), kept_.rend(), [&](const FreeBitmap& bitmap) {
            return bitmap.width == width && bitmap.height == height;
        });
        if (found == kept_.rend()) return false;
        out = std::move(*found);
        keptBytes_ -= out.bytes;
        kept_.erase(std::next(found).base());
        return true;
    }

private:
    std::mutex mutex_;
    std::deque<FreeBitmap> kept_;
    size_t keptBytes_ = 0;
};

Shelf& shelf() {
    // Never destroyed: bitmaps may be freed by threads still running at exit.
    static Shelf* const instance = new Shelf;
    return *instance;
}

void clearBox(uint8_t* memory, size_t stride, const DeviceBox& box) {
    if (box.isEmpty()) return;
    const size_t bytes = static_cast<size_t>(box.x1 - box.x0) * 4;
    for (int y = box.y0; y < box.y1; ++y)
        std::memset(memory + y * stride + box.x0 * 4, 0, bytes);
}
} // namespace

DeviceBox DeviceBox::intersection(const DeviceBox& other) const {
    DeviceBox box{std::max(x0, other.x0), std::max(y0, other.y0), std::min(x1, other.x1),
                  std::min(y1, other.y1)};
    return box.isEmpty() ? DeviceBox{} : box;
}

DeviceBox DeviceBox::unionWith(const DeviceBox& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    return {std::min(x0, other.x0), std::min(y0, other.y0), std::max(x1, other.x1), std::max(y1, other.y1)};
}

Bitmap obtainClearedBitmap(int width, int height) {
    if (width <= 0 || height <= 0) return {};
    const size_t stride = CVPixelBuffer::alignedBytesPerRow(width);
    const DeviceBox whole{0, 0, width, height};

    FreeBitmap bitmap;
    if (shelf().take(width, height, bitmap)) {
        clearBox(bitmap.memory, stride, bitmap.drawn->intersection(whole));
    } else {
        bitmap.width = width;
        bitmap.height = height;
        bitmap.bytes = (stride * height + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
        bitmap.memory = static_cast<uint8_t*>(std::aligned_alloc(kRowAlignment, bitmap.bytes));
        if (!bitmap.memory) return {};
        std::memset(bitmap.memory, 0, bitmap.bytes);
    }
    auto drawn = std::make_shared<DeviceBox>();
    const FreeBitmap kept{bitmap.memory, width, height, bitmap.bytes, drawn};
    CVPixelBufferRef pixels =
        CVPixelBuffer::wrap(bitmap.memory, width, height, stride, [kept](uint8_t*) { shelf().put(kept); });
    if (!pixels) {
        std::free(bitmap.memory);
        return {};
    }
    return {std::move(pixels), std::move(drawn)};
}

} // namespace vantrel::bitmap_memory
