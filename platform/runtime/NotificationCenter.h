#pragma once
// Notifications by name, from an object, to observers that run on the main
// thread (the main operation queue). Posting works from any thread; an
// observer removed before the delivery runs gets nothing.

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace vantrel {

struct NSNotification {
    std::string name;
    const void* object = nullptr;
    std::map<std::string, std::string> userInfo;
};

class NSNotificationCenter {
public:
    using Token = uint64_t;
    using Block = std::function<void(const NSNotification&)>;

    static NSNotificationCenter& defaultCenter();

    /// `object` null observes the name from every object.
    Token addObserverForName(std::string name, const void* object, Block block);
    void removeObserver(Token token);
    void postNotification(NSNotification notification);

private:
    struct Observer {
        std::string name;
        const void* object;
        Block block;
    };
    void deliver(const NSNotification& notification);

    std::mutex mutex_;
    std::map<Token, Observer> observers_;
    Token nextToken_ = 1;
};

} // namespace vantrel
