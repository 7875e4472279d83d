#pragma once
// A timer on the main run loop (the Qt event loop). Its block holds whatever
// it needs weakly (see WeakClosure.h); the timer itself is owned by whoever
// keeps the handle, and stops when invalidated or destroyed.

#include <functional>
#include <memory>

class QTimer;

namespace vantrel {

class NSTimer {
public:
    /// Starts a timer on the main thread at once; call on the main thread.
    /// A repeating timer fires every `intervalSeconds` until invalidated; a
    /// one-shot timer fires once and then is no longer valid.
    static std::unique_ptr<NSTimer> scheduledTimer(double intervalSeconds, bool repeats,
                                                   std::function<void(NSTimer&)> block);
    ~NSTimer();
    NSTimer(const NSTimer&) = delete;
    NSTimer& operator=(const NSTimer&) = delete;

    /// Stops the timer for good; its block never runs again. Safe from inside the block.
    void invalidate();
    bool isValid() const { return valid_; }
    double timeInterval() const { return intervalSeconds_; }

private:
    NSTimer(double intervalSeconds, bool repeats, std::function<void(NSTimer&)> block);
    void fire();

    double intervalSeconds_;
    bool repeats_;
    bool valid_ = true;
    std::function<void(NSTimer&)> block_;
    std::unique_ptr<QTimer> timer_;
};

} // namespace vantrel
