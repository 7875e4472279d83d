#include "platform/runtime/DispatchQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QTimer>
#include <condition_variable>
#include <map>
#include <mutex>
#include <pthread.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace vantrel {

DispatchTime dispatchTimeAfter(double seconds) {
    return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                  std::chrono::duration<double>(seconds));
}

DispatchWorkItem::DispatchWorkItem(std::function<void()> block) : block_(std::move(block)) {}

void DispatchWorkItem::perform() {
    int expected = pending;
    // The state change is the one decision point between cancel() and the
    // start, so a cancel that returned first can never be followed by a run.
    if (!state_.compare_exchange_strong(expected, running)) return;
    if (block_) block_();
    state_.store(finished);
}

void DispatchWorkItem::cancel() {
    cancelled_.store(true);
    int expected = pending;
    state_.compare_exchange_strong(expected, dropped);
}

class DispatchQueue::Backend {
public:
    virtual ~Backend() = default;
    virtual void submit(DispatchTime deadline, std::shared_ptr<DispatchWorkItem> item) = 0;
    virtual void sync(const std::function<void()>& block) = 0;
    virtual bool isCurrent() const = 0;
};

namespace {

// Linux lets a thread have its own nice value. Raising priority needs
// CAP_SYS_NICE; without it the call fails and the thread stays at 0, which
// is the best an unprivileged process can ask for.
int niceValue(DispatchQoS qos) {
    switch (qos) {
    case DispatchQoS::userInteractive:
        return -4;
    case DispatchQoS::userInitiated:
        return -2;
    case DispatchQoS::defaultQoS:
        return 0;
    case DispatchQoS::utility:
        return 5;
    case DispatchQoS::background:
        return 10;
    }
    return 0;
}

class WorkerBackend final : public DispatchQueue::Backend {
public:
    WorkerBackend(const std::string& label, DispatchQoS qos) {
        thread_ = std::thread([this, label, qos] { run(label, qos); });
    }

    ~WorkerBackend() override {
        {
            std::lock_guard guard(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }

    void submit(DispatchTime deadline, std::shared_ptr<DispatchWorkItem> item) override {
        {
            std::lock_guard guard(mutex_);
            // A deadline already past goes behind what is queued now, as a
            // fresh async would: the key is never earlier than the enqueue time.
            const DispatchTime key = std::max(deadline, std::chrono::steady_clock::now());
            entries_.emplace(Key{key, nextSequence_++}, std::move(item));
        }
        wake_.notify_all();
    }

    void sync(const std::function<void()>& block) override {
        if (isCurrent()) {
            block();
            return;
        }
        std::mutex doneMutex;
        std::condition_variable doneSignal;
        bool done = false;
        submit(std::chrono::steady_clock::now(), std::make_shared<DispatchWorkItem>([&] {
                   block();
                   std::lock_guard guard(doneMutex);
                   done = true;
                   doneSignal.notify_all();
               }));
        std::unique_lock lock(doneMutex);
        doneSignal.wait(lock, [&] { return done; });
    }

    bool isCurrent() const override { return std::this_thread::get_id() == thread_.get_id(); }

private:
    struct Key {
        DispatchTime due;
        uint64_t sequence;
        bool operator<(const Key& other) const {
            return due != other.due ? due < other.due : sequence < other.sequence;
        }
    };

    void run(const std::string& label, DispatchQoS qos) {
        // Thread names hold 15 characters: keep the distinctive end of the label.
        const std::string name = label.size() > 15 ? label.substr(label.size() - 15) : label;
        pthread_setname_np(pthread_self(), name.c_str());
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceValue(qos));

        std::unique_lock lock(mutex_);
        for (;;) {
            if (entries_.empty()) {
                if (stopping_) return;
                wake_.wait(lock);
                continue;
            }
            auto first = entries_.begin();
            const auto now = std::chrono::steady_clock::now();
            if (first->first.due > now) {
                // Timed entries still in the future are dropped at shutdown.
                if (stopping_) return;
                wake_.wait_until(lock, first->first.due);
                continue;
            }
            auto item = std::move(first->second);
            entries_.erase(first);
            lock.unlock();
            item->perform();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::map<Key, std::shared_ptr<DispatchWorkItem>> entries_;
    uint64_t nextSequence_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

class MainBackend final : public DispatchQueue::Backend {
public:
    void submit(DispatchTime deadline, std::shared_ptr<DispatchWorkItem> item) override {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app) return;
        // Queued calls keep their order; a timed entry is posted first and its
        // timer started on the main thread, since timers belong to a thread.
        QMetaObject::invokeMethod(
            app,
            [app, deadline, item = std::move(item)] {
                const auto remaining =
                    std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
                if (remaining.count() <= 0)
                    item->perform();
                else
                    QTimer::singleShot(remaining, Qt::PreciseTimer, app, [item] { item->perform(); });
            },
            Qt::QueuedConnection);
    }

    void sync(const std::function<void()>& block) override {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app || isCurrent()) {
            block();
            return;
        }
        QMetaObject::invokeMethod(
            app, [&block] { block(); }, Qt::BlockingQueuedConnection);
    }

    bool isCurrent() const override {
        QCoreApplication* app = QCoreApplication::instance();
        return app && QThread::currentThread() == app->thread();
    }
};

} // namespace

DispatchQueue::DispatchQueue(std::string label, DispatchQoS qos)
    : DispatchQueue(label, std::make_unique<WorkerBackend>(label, qos)) {}

DispatchQueue::DispatchQueue(std::string label, std::unique_ptr<Backend> backend)
    : label_(std::move(label)), backend_(std::move(backend)) {}

DispatchQueue::~DispatchQueue() = default;

DispatchQueue& DispatchQueue::main() {
    static DispatchQueue queue("main-thread", std::make_unique<MainBackend>());
    return queue;
}

void DispatchQueue::async(std::function<void()> block) {
    async(std::make_shared<DispatchWorkItem>(std::move(block)));
}

void DispatchQueue::async(std::shared_ptr<DispatchWorkItem> item) {
    backend_->submit(std::chrono::steady_clock::now(), std::move(item));
}

void DispatchQueue::asyncAfter(DispatchTime deadline, std::function<void()> block) {
    asyncAfter(deadline, std::make_shared<DispatchWorkItem>(std::move(block)));
}

void DispatchQueue::asyncAfter(DispatchTime deadline, std::shared_ptr<DispatchWorkItem> item) {
    backend_->submit(deadline, std::move(item));
}

void DispatchQueue::sync(const std::function<void()>& block) {
    backend_->sync(block);
}

bool DispatchQueue::isCurrent() const {
    return backend_->isCurrent();
}

} // namespace vantrel
