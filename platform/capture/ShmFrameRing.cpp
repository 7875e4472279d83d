#include "platform/capture/ShmFrameRing.h"

#include <cstdlib>
#include <memory>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace vantrel {

namespace {

constexpr size_t kAlignment = 64;

bool attachShared(xcb_connection_t* c, size_t bytes, uint8_t*& memory, int& shmid, uint32_t& segment) {
    shmid = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (shmid < 0) return false;
    void* address = shmat(shmid, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        shmctl(shmid, IPC_RMID, nullptr);
        return false;
    }
    segment = xcb_generate_id(c);
    xcb_generic_error_t* error = xcb_request_check(c, xcb_shm_attach_checked(c, segment, shmid, 0));
    // Once the server has attached it, the segment may be marked for removal:
    // it then goes away with the last process that has it, even if we crash.
    shmctl(shmid, IPC_RMID, nullptr);
    if (error) {
        std::free(error);
        shmdt(address);
        return false;
    }
    memory = static_cast<uint8_t*>(address);
    return true;
}

} // namespace

ShmFrameRing* ShmFrameRing::create(xcb_connection_t* c, int count, size_t bytes, bool useShm) {
    std::unique_ptr<ShmFrameRing, void (*)(ShmFrameRing*)> ring(new ShmFrameRing,
                                                                [](ShmFrameRing* r) { r->close(); });
    ring->connection_ = c;
    ring->shared_ = useShm;
    ring->blocks_.resize(count);
    for (Block& block : ring->blocks_) {
        if (ring->shared_ && !attachShared(c, bytes, block.memory, block.shmid, block.segment)) {
            if (&block != &ring->blocks_.front()) return nullptr;
            ring->shared_ = false; // the server cannot share memory with us: copy through the socket
        }
        if (!ring->shared_) {
            block.memory = static_cast<uint8_t*>(
                std::aligned_alloc(kAlignment, (bytes + kAlignment - 1) / kAlignment * kAlignment));
            if (!block.memory) return nullptr;
        }
    }
    return ring.release();
}

ShmFrameRing::~ShmFrameRing() {
    for (Block& block : blocks_) {
        if (!block.memory) continue;
        if (block.shmid >= 0)
            shmdt(block.memory);
        else
            std::free(block.memory);
    }
}

void ShmFrameRing::close() {
    bool last;
    {
        std::lock_guard lock(mutex_);
        if (connection_ && !xcb_connection_has_error(connection_)) {
            for (const Block& block : blocks_)
                if (block.shmid >= 0) xcb_shm_detach(connection_, block.segment);
            xcb_flush(connection_);
        }
        connection_ = nullptr;
        closed_ = true;
        last = out_ == 0;
    }
    if (last) delete this;
}

int ShmFrameRing::take() {
    std::lock_guard lock(mutex_);
    for (size_t i = 0; i < blocks_.size(); ++i)
        if (blocks_[i].free) {
            blocks_[i].free = false;
            ++out_;
            return static_cast<int>(i);
        }
    return -1;
}

void ShmFrameRing::give(int index) {
    bool last;
    {
        std::lock_guard lock(mutex_);
        blocks_[index].free = true;
        --out_;
        last = closed_ && out_ == 0;
    }
    if (last) delete this;
}

CVPixelBufferRef ShmFrameRing::wrap(int index, int width, int height, size_t bytesPerRow) {
    // Two words of capture fit std::function's own storage: no allocation.
    return CVPixelBuffer::wrap(blocks_[index].memory, width, height, bytesPerRow,
                               [this, index](uint8_t*) { give(index); });
}

} // namespace vantrel
