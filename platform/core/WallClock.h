#pragma once
// The wall clock (seconds since 1970) that input stamps are written in. The
// engine reads it through this interface so that replays and tests can drive it.

#include <atomic>
#include <memory>

namespace vantrel {

class WallClock {
public:
    virtual ~WallClock() = default;
    /// Seconds since 1970. Called from any thread; must not block.
    virtual double now() const = 0;

    /// The system's real-time clock, shared by the whole process.
    static std::shared_ptr<const WallClock> system();
};

/// A clock that shows what it was last set to: for replays and tests.
class ManualWallClock final : public WallClock {
public:
    explicit ManualWallClock(double seconds = 0) : seconds_(seconds) {}
    double now() const override { return seconds_.load(std::memory_order_relaxed); }
    void set(double seconds) { seconds_.store(seconds, std::memory_order_relaxed); }
    void advance(double seconds) { set(now() + seconds); }

private:
    std::atomic<double> seconds_;
};

} // namespace vantrel
