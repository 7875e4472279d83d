#pragma once
// The one replaceable shared instance of a type: made on first use, swapped
// by tests (or by an object that stands in for an interface). Safe to reach
// from any thread.

#include <memory>
#include <mutex>

namespace vantrel {

template <typename T> class SharedInstance {
public:
    static std::shared_ptr<T> get() {
        std::lock_guard guard(mutex());
        return slot();
    }
    /// The instance, made by `make` when there is none yet.
    template <typename Make> static std::shared_ptr<T> getOrMake(Make&& make) {
        std::lock_guard guard(mutex());
        if (!slot()) slot() = make();
        return slot();
    }
    static void set(std::shared_ptr<T> instance) {
        std::lock_guard guard(mutex());
        slot() = std::move(instance);
    }

private:
    static std::mutex& mutex() {
        static std::mutex instanceMutex;
        return instanceMutex;
    }
    static std::shared_ptr<T>& slot() {
        static std::shared_ptr<T> instance;
        return instance;
    }
};

} // namespace vantrel
