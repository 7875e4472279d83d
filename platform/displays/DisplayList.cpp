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

std::vector<Monitor> DisplayListFake::monitors() {
    ++requests_;
    if (!failure_.empty()) throw DisplayServiceError(failure_);
    return monitors_;
}

void DisplayListFake::setMonitors(std::vector<Monitor> monitors) {
    monitors_ = std::move(monitors);
    if (handler_) handler_();
}

} // namespace vantrel
