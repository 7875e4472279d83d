#pragma once
// A fixed ring of frame-sized memory blocks, shared with the X server
// through MIT-SHM (or private when the server is remote). A block handed out
// as a pixel buffer comes back when the buffer's last reference goes, from
// any thread. The ring outlives its owner until every block is back.

#include "platform/core/PixelBuffer.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace vantrel {

class ShmFrameRing {
public:
    /// Null when memory cannot be had. `connection` may lack MIT-SHM: the
    /// blocks are then plain memory and `shared()` is false.
    static ShmFrameRing* create(xcb_connection_t* connection, int count, size_t bytes, bool useShm);
    /// The owner lets go; the ring frees itself once every block is back.
    /// Detaches the segments from the server while `connection` still works.
    void close();

    bool shared() const { return shared_; }
    /// A free block's index, or -1 when all are out.
    int take();
    uint8_t* memory(int index) const { return blocks_[index].memory; }
    uint32_t segment(int index) const { return blocks_[index].segment; }
    /// Wraps a taken block; the buffer's release gives it back.
    CVPixelBufferRef wrap(int index, int width, int height, size_t bytesPerRow);
    /// Gives a taken block back without handing it out.
    void give(int index);

private:
    struct Block {
        uint8_t* memory = nullptr;
        int shmid = -1;
        uint32_t segment = 0;
        bool free = true;
    };
    ShmFrameRing() = default;
    ~ShmFrameRing();

    std::mutex mutex_;
    std::vector<Block> blocks_;
    xcb_connection_t* connection_ = nullptr;
    bool shared_ = false;
    bool closed_ = false;
    int out_ = 0;
};

} // namespace vantrel
