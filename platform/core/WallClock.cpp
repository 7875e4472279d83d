#include "platform/core/WallClock.h"

#include <chrono>

namespace vantrel {

namespace {
class SystemWallClock final : public WallClock {
public:
    double now() const override {
        using namespace std::chrono;
        return duration<double>(system_clock::now().time_since_epoch()).count();
    }
};
} // namespace

std::shared_ptr<const WallClock> WallClock::system() {
    static const auto clock = std::make_shared<SystemWallClock>();
    return clock;
}

} // namespace vantrel
