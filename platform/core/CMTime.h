#pragma once
// Rational media time: value / timescale seconds. Arithmetic stays exact; a
// result keeps the operands' timescale when they share one.

#include <compare>
#include <cstdint>

namespace vantrel {

struct CMTime {
    int64_t value = 0;
    int32_t timescale = 0;
    bool valid = false;

    constexpr CMTime() = default;
    constexpr CMTime(int64_t v, int32_t scale) : value(v), timescale(scale), valid(scale > 0) {}

    static constexpr CMTime invalid() { return {}; }
    static constexpr CMTime zero() { return {0, 1}; }
    /// Rounds to the nearest tick of `preferredTimescale`.
    static CMTime withSeconds(double seconds, int32_t preferredTimescale);

    bool isValid() const { return valid; }
    /// Seconds as a double; NaN for an invalid time.
    double seconds() const;
    /// This time expressed in another timescale, rounded to the nearest tick.
    CMTime convertScale(int32_t newTimescale) const;

    friend CMTime operator+(const CMTime& a, const CMTime& b);
    friend CMTime operator-(const CMTime& a, const CMTime& b);
    /// Invalid times order before every valid time and equal each other.
    friend std::strong_ordering operator<=>(const CMTime& a, const CMTime& b);
    friend bool operator==(const CMTime& a, const CMTime& b) { return (a <=> b) == 0; }
};

// The names the logic uses.
inline CMTime CMTimeAdd(const CMTime& a, const CMTime& b) { return a + b; }
inline CMTime CMTimeSubtract(const CMTime& a, const CMTime& b) { return a - b; }
inline double CMTimeGetSeconds(const CMTime& t) { return t.seconds(); }
inline CMTime CMTimeMake(int64_t value, int32_t timescale) { return {value, timescale}; }

/// Host time: CLOCK_MONOTONIC in nanoseconds, the clock every recording-path time is on.
CMTime CMClockGetHostTime();

} // namespace vantrel
