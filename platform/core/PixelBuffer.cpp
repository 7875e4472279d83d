#include "platform/core/PixelBuffer.h"

#include <cstdlib>
#include <new>

namespace vantrel {

namespace {
constexpr size_t kRowAlignment = 64;

uint8_t* allocateAligned(size_t bytes) {
    return static_cast<uint8_t*>(std::aligned_alloc(kRowAlignment, (bytes + kRowAlignment - 1) / kRowAlignment *
                                                                       kRowAlignment));
}
} // namespace

size_t CVPixelBuffer::alignedBytesPerRow(int width) {
    const size_t raw = static_cast<size_t>(width) * 4;
    return (raw + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

CVPixelBuffer::CVPixelBuffer(uint8_t* memory, int width, int height, size_t bytesPerRow, Release release)
    : memory_(memory), width_(width), height_(height), bytesPerRow_(bytesPerRow), release_(std::move(release)) {}

CVPixelBuffer::~CVPixelBuffer() {
    if (release_) release_(memory_);
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::create(int width, int height) {
    if (width <= 0 || height <= 0) return nullptr;
    const size_t stride = alignedBytesPerRow(width);
    uint8_t* memory = allocateAligned(stride * static_cast<size_t>(height));
    if (!memory) return nullptr;
    return wrap(memory, width, height, stride, [](uint8_t* m) { std::free(m); });
}

std::shared_ptr<CVPixelBuffer> CVPixelBuffer::wrap(uint8_t* memory, int width, int height, size_t bytesPerRow,
                                                   Release release) {
    if (!memory || width <= 0 || height <= 0) return nullptr;
    return std::shared_ptr<CVPixelBuffer>(new CVPixelBuffer(memory, width, height, bytesPerRow, std::move(release)));
}

// The free memory blocks, shared with every buffer the pool handed out so
// that a buffer outliving its pool still knows where (not) to go back.
struct CVPixelBufferPool::Shelf {
    std::mutex mutex;
    std::vector<uint8_t*> freeBlocks;
    size_t allocated = 0;
    bool poolAlive = true;

    ~Shelf() {
        for (uint8_t* block : freeBlocks) std::free(block);
    }
};

CVPixelBufferPool::CVPixelBufferPool(const CVPixelBufferPoolAttributes& attributes)
    : attributes_(attributes), bytesPerRow_(CVPixelBuffer::alignedBytesPerRow(attributes.width)),
      shelf_(std::make_shared<Shelf>()) {}

CVPixelBufferPool::~CVPixelBufferPool() {
    std::lock_guard guard(shelf_->mutex);
    shelf_->poolAlive = false;
}

std::shared_ptr<CVPixelBufferPool> CVPixelBufferPool::create(const CVPixelBufferPoolAttributes& attributes) {
    if (attributes.pixelFormatType != kCVPixelFormatType_32BGRA) return nullptr;
    if (attributes.width <= 0 || attributes.height <= 0) return nullptr;
    auto pool = std::shared_ptr<CVPixelBufferPool>(new CVPixelBufferPool(attributes));
    // Fill the minimum up front so that the first frames do not allocate.
    std::vector<CVPixelBufferRef> warm;
    for (int i = 0; i < attributes.minimumBufferCount; ++i) {
        auto buffer = pool->createPixelBuffer();
        if (!buffer) return nullptr;
        warm.push_back(std::move(buffer));
    }
    return pool;
}

CVPixelBufferRef CVPixelBufferPool::createPixelBuffer() {
    uint8_t* block = nullptr;
    {
        std::lock_guard guard(shelf_->mutex);
        if (!shelf_->freeBlocks.empty()) {
            block = shelf_->freeBlocks.back();
            shelf_->freeBlocks.pop_back();
        }
    }
    if (!block) {
        block = allocateAligned(bytesPerRow_ * static_cast<size_t>(attributes_.height));
        if (!block) return nullptr;
        std::lock_guard guard(shelf_->mutex);
        ++shelf_->allocated;
    }
    std::weak_ptr<Shelf> weakShelf = shelf_;
    return CVPixelBuffer::wrap(block, attributes_.width, attributes_.height, bytesPerRow_,
                               [weakShelf](uint8_t* memory) {
                                   if (auto shelf = weakShelf.lock()) {
                                       std::lock_guard guard(shelf->mutex);
                                       if (shelf->poolAlive) {
                                           shelf->freeBlocks.push_back(memory);
                                           return;
                                       }
                                   }
                                   std::free(memory);
                               });
}

size_t CVPixelBufferPool::allocatedCount() const {
    std::lock_guard guard(shelf_->mutex);
    return shelf_->allocated;
}

size_t CVPixelBufferPool::freeCount() const {
    std::lock_guard guard(shelf_->mutex);
    return shelf_->freeBlocks.size();
}

} // namespace vantrel
