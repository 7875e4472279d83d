#include "platform/core/CMTime.h"

#include <cmath>
#include <ctime>
#include <limits>
#include <numeric>

namespace vantrel {

namespace {

constexpr int32_t kNanosecondTimescale = 1'000'000'000;

// Two timescales meet on their least common multiple when it fits, else on
// the finer of the two (rounding the coarser operand), as media clocks do.
int32_t commonTimescale(int32_t a, int32_t b) {
    if (a == b) return a;
    const int64_t lcm = std::lcm(static_cast<int64_t>(a), static_cast<int64_t>(b));
    if (lcm <= std::numeric_limits<int32_t>::max()) return static_cast<int32_t>(lcm);
    return std::max(a, b);
}

int64_t rescale(int64_t value, int32_t from, int32_t to) {
    if (from == to) return value;
    const __int128 scaled = static_cast<__int128>(value) * to;
    const __int128 half = from / 2;
    // Round half away from zero so that opposite times stay opposite.
    const __int128 q = scaled >= 0 ? (scaled + half) / from : (scaled - half) / from;
    return static_cast<int64_t>(q);
}

} // namespace

CMTime CMTime::withSeconds(double seconds, int32_t preferredTimescale) {
    if (!std::isfinite(seconds) || preferredTimescale <= 0) return invalid();
    return {static_cast<int64_t>(std::llround(seconds * preferredTimescale)), preferredTimescale};
}

double CMTime::seconds() const {
    if (!valid) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(value) / timescale;
}

CMTime CMTime::convertScale(int32_t newTimescale) const {
    if (!valid || newTimescale <= 0) return invalid();
    return {rescale(value, timescale, newTimescale), newTimescale};
}

CMTime operator+(const CMTime& a, const CMTime& b) {
    if (!a.valid || !b.valid) return CMTime::invalid();
    const int32_t scale = commonTimescale(a.timescale, b.timescale);
    return {rescale(a.value, a.timescale, scale) + rescale(b.value, b.timescale, scale), scale};
}

CMTime operator-(const CMTime& a, const CMTime& b) {
    if (!a.valid || !b.valid) return CMTime::invalid();
    const int32_t scale = commonTimescale(a.timescale, b.timescale);
    return {rescale(a.value, a.timescale, scale) - rescale(b.value, b.timescale, scale), scale};
}

std::strong_ordering operator<=>(const CMTime& a, const CMTime& b) {
    if (!a.valid || !b.valid) return a.valid <=> b.valid;
    const __int128 left = static_cast<__int128>(a.value) * b.timescale;
    const __int128 right = static_cast<__int128>(b.value) * a.timescale;
    return left <=> right;
}

CMTime CMClockGetHostTime() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return {static_cast<int64_t>(ts.tv_sec) * kNanosecondTimescale + ts.tv_nsec, kNanosecondTimescale};
}

} // namespace vantrel
