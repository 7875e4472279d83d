#pragma once
// A lock that owns the value it guards: the value is reachable only inside
// withLock, so nobody can read it unguarded or hold the lock across a wait.

#include <mutex>
#include <utility>

namespace vantrel {

template <typename T>
class OSAllocatedUnfairLock {
public:
    OSAllocatedUnfairLock() = default;
    explicit OSAllocatedUnfairLock(T initial) : value_(std::move(initial)) {}
    OSAllocatedUnfairLock(const OSAllocatedUnfairLock&) = delete;
    OSAllocatedUnfairLock& operator=(const OSAllocatedUnfairLock&) = delete;

    /// Runs `body` with the guarded value and returns what it returns. Keep
    /// the body short: no drawing, no blocking call, no other lock.
    template <typename Body>
    decltype(auto) withLock(Body&& body) {
        std::lock_guard guard(mutex_);
        return std::forward<Body>(body)(value_);
    }
    template <typename Body>
    decltype(auto) withLock(Body&& body) const {
        std::lock_guard guard(mutex_);
        return std::forward<Body>(body)(std::as_const(value_));
    }

private:
    mutable std::mutex mutex_;
    T value_{};
};

} // namespace vantrel
