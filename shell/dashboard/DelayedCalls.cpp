#include "shell/dashboard/DelayedCalls.h"

#include <QPointer>
#include <QTimer>

namespace vantrel {

namespace {

class TimerHandle final : public DelayedCalls::Handle {
public:
    explicit TimerHandle(QTimer* timer) : timer_(timer) {}
    void cancel() override {
        if (timer_) timer_->deleteLater();
        timer_.clear();
    }

private:
    QPointer<QTimer> timer_;
};

class QtDelayedCalls final : public DelayedCalls {
public:
    std::shared_ptr<Handle> after(std::chrono::milliseconds delay, std::function<void()> work) override {
        auto* timer = new QTimer;
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer, &QTimer::timeout, timer, [timer, work = std::move(work)] {
            timer->deleteLater();
            work();
        });
        timer->start(delay);
        return std::make_shared<TimerHandle>(timer);
    }
};

} // namespace

std::shared_ptr<DelayedCalls> DelayedCalls::mainThread() {
    static auto calls = std::make_shared<QtDelayedCalls>();
    return calls;
}

} // namespace vantrel
