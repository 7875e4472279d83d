#include "platform/runtime/NSTimer.h"

#include <QTimer>
#include <cmath>

namespace vantrel {

std::unique_ptr<NSTimer> NSTimer::scheduledTimer(double intervalSeconds, bool repeats,
                                                 std::function<void(NSTimer&)> block) {
    return std::unique_ptr<NSTimer>(new NSTimer(intervalSeconds, repeats, std::move(block)));
}

NSTimer::NSTimer(double intervalSeconds, bool repeats, std::function<void(NSTimer&)> block)
    : intervalSeconds_(intervalSeconds), repeats_(repeats), block_(std::move(block)),
      timer_(std::make_unique<QTimer>()) {
    // Sub-second timers drive visible things (countdown, blink): keep them on time.
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setSingleShot(!repeats);
    timer_->setInterval(static_cast<int>(std::lround(std::max(0.0, intervalSeconds) * 1000.0)));
    QObject::connect(timer_.get(), &QTimer::timeout, [this] { fire(); });
    timer_->start();
}

NSTimer::~NSTimer() = default;

void NSTimer::fire() {
    if (!valid_) return;
    if (!repeats_) valid_ = false;
    // The block may invalidate or even drop this timer's owner; keep a copy so
    // that the callable outlives the call.
    auto block = block_;
    if (block) block(*this);
}

void NSTimer::invalidate() {
    valid_ = false;
    if (timer_) timer_->stop();
}

} // namespace vantrel
