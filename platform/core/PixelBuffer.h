#pragma once
// Reference-counted 32-bit BGRA pixel buffers (premultiplied alpha, top row
// first, 64-byte aligned rows) and a pool that recycles them, so that the frame
// path allocates nothing once it runs.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace vantrel {

/// 'BGRA': bytes B, G, R, A in memory order.
inline constexpr uint32_t kCVPixelFormatType_32BGRA = 0x42475241;

class CVPixelBuffer {
public:
    /// Called once when the last reference goes; gets back the memory it was given.
    using Release = std::function<void(uint8_t* memory)>;

    /// A buffer of its own memory, rows padded to 64 bytes. Null if width or
    /// height is not positive or the memory cannot be had.
    static std::shared_ptr<CVPixelBuffer> create(int width, int height);
    /// A buffer over memory someone else owns (a shared-memory grab, a pool slot).
    static std::shared_ptr<CVPixelBuffer> wrap(uint8_t* memory, int width, int height, size_t bytesPerRow,
                                               Release release);

    CVPixelBuffer(const CVPixelBuffer&) = delete;
    CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;
    ~CVPixelBuffer();

    int width() const { return width_; }
    int height() const { return height_; }
    size_t bytesPerRow() const { return bytesPerRow_; }
    uint32_t pixelFormatType() const { return kCVPixelFormatType_32BGRA; }
    uint8_t* baseAddress() { return memory_; }
    const uint8_t* baseAddress() const { return memory_; }
    uint8_t* row(int y) { return memory_ + static_cast<size_t>(y) * bytesPerRow_; }
    const uint8_t* row(int y) const { return memory_ + static_cast<size_t>(y) * bytesPerRow_; }

    static size_t alignedBytesPerRow(int width);

private:
    CVPixelBuffer(uint8_t* memory, int width, int height, size_t bytesPerRow, Release release);

    uint8_t* memory_;
    int width_;
    int height_;
    size_t bytesPerRow_;
    Release release_;
};

using CVPixelBufferRef = std::shared_ptr<CVPixelBuffer>;

struct CVPixelBufferPoolAttributes {
    int minimumBufferCount = 0;
    uint32_t pixelFormatType = kCVPixelFormatType_32BGRA;
    int width = 0;
    int height = 0;
};

/// Hands out buffers of one size. A buffer whose last reference goes returns
/// to the pool (from any thread), so that steady use allocates nothing. The
/// pool may be dropped while its buffers live; they then free their memory.
class CVPixelBufferPool {
public:
    /// Null when the attributes ask for something no buffer can be: a format
    /// other than BGRA, or a size that is not positive.
    static std::shared_ptr<CVPixelBufferPool> create(const CVPixelBufferPoolAttributes& attributes);
    ~CVPixelBufferPool();

    /// A recycled buffer if one is free, else a new one; null only when memory runs out.
    CVPixelBufferRef createPixelBuffer();

    const CVPixelBufferPoolAttributes& attributes() const { return attributes_; }
    /// Buffers made by this pool so far (free or in use).
    size_t allocatedCount() const;
    size_t freeCount() const;

private:
    struct Shelf;
    explicit CVPixelBufferPool(const CVPixelBufferPoolAttributes& attributes);

    CVPixelBufferPoolAttributes attributes_;
    size_t bytesPerRow_;
    std::shared_ptr<Shelf> shelf_;
};

using CVPixelBufferPoolRef = std::shared_ptr<CVPixelBufferPool>;

// The names the logic uses.
inline CVPixelBufferPoolRef CVPixelBufferPoolCreate(const CVPixelBufferPoolAttributes& attributes) {
    return CVPixelBufferPool::create(attributes);
}
inline CVPixelBufferRef CVPixelBufferPoolCreatePixelBuffer(const CVPixelBufferPoolRef& pool) {
    return pool ? pool->createPixelBuffer() : nullptr;
}

} // namespace vantrel
