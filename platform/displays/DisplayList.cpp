#include "platform/displays/DisplayList.h"

#include "platform/displays/DisplayListXcb.h"

#include <mutex>

namespace vantrel {

namespace {
// Never destroyed: shared objects that stop watching from their destructors
// may run after other statics are gone at exit.
std::mutex& slotMutex() {
    static auto* mutex = new std::mutex;
    return *mutex;
}
std::shared_ptr<DisplayList>& slot() {
    static auto* list = new std::shared_ptr<DisplayList>;
    return *list;
}
} // namespace

std::shared_ptr<DisplayList> DisplayList::shared() {
    std::lock_guard guard(slotMutex());
    if (!slot()) slot() = std::make_shared<DisplayListXcb>();
    return slot();
}

void DisplayList::setShared(std::shared_ptr<DisplayList> list) {
    std::lock_guard guard(slotMutex());
    slot() = std::move(list);
}

std::vector<Monitor> DisplayList::monitors() {
    uint64_t read = 0, changes = 0;
    {
        std::lock_guard guard(snapshotMutex_);
        read = ++readsStarted_;
        changes = changes_;
    }
    std::vector<Monitor> list = readMonitors();
    std::lock_guard guard(snapshotMutex_);
    if (read > snapshotRead_) {
        snapshot_ = std::make_shared<const std::vector<Monitor>>(list);
        snapshotTime_ = std::chrono::steady_clock::now();
        snapshotRead_ = read;
        // A change reported while reading may not be in it.
        snapshotChanges_ = changes;
    }
    return list;
}

std::shared_ptr<const std::vector<Monitor>> DisplayList::snapshot() {
    const bool reported = takeChangeReport();
    {
        std::lock_guard guard(snapshotMutex_);
        if (reported) ++changes_;
        if (snapshot_ && snapshotChanges_ == changes_ &&
            std::chrono::steady_clock::now() - snapshotTime_ < kSnapshotLifetime)
            return snapshot_;
    }
    try {
        monitors();
    } catch (const DisplayServiceError&) {
        return nullptr;
    }
    std::lock_guard guard(snapshotMutex_);
    return snapshot_;
}

void DisplayList::invalidateSnapshot() {
    std::lock_guard guard(snapshotMutex_);
    ++changes_;
}

std::vector<Monitor> DisplayListFake::readMonitors() {
    ++requests_;
    if (!failure_.empty()) throw DisplayServiceError(failure_);
    return monitors_;
}

void DisplayListFake::setMonitors(std::vector<Monitor> monitors) {
    monitors_ = std::move(monitors);
    invalidateSnapshot();
    if (handler_) handler_();
}

} // namespace vantrel
