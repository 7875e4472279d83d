#include "platform/runtime/NotificationCenter.h"

#include "platform/runtime/DispatchQueue.h"

#include <vector>

namespace vantrel {

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
    static NSNotificationCenter center;
    return center;
}

NSNotificationCenter::Token NSNotificationCenter::addObserverForName(std::string name, const void* object,
                                                                     Block block) {
    std::lock_guard guard(mutex_);
    const Token token = nextToken_++;
    observers_.emplace(token, Observer{std::move(name), object, std::move(block)});
    return token;
}

void NSNotificationCenter::removeObserver(Token token) {
    std::lock_guard guard(mutex_);
    observers_.erase(token);
}

void NSNotificationCenter::postNotification(NSNotification notification) {
    DispatchQueue::main().async([this, notification = std::move(notification)] { deliver(notification); });
}

void NSNotificationCenter::deliver(const NSNotification& notification) {
    std::vector<Token> matching;
    {
        std::lock_guard guard(mutex_);
        for (const auto& [token, observer] : observers_)
            if (observer.name == notification.name &&
                (!observer.object || observer.object == notification.object))
                matching.push_back(token);
    }
    for (const Token token : matching) {
        Block block;
        {
            // An earlier block may have removed this observer.
            std::lock_guard guard(mutex_);
            const auto found = observers_.find(token);
            if (found == observers_.end()) continue;
            block = found->second.block;
        }
        block(notification);
    }
}

} // namespace vantrel
