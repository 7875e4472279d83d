// Serial queues, work items, the main queue, main-loop timers and weak closures.
#include "platform/runtime/DispatchQueue.h"
#include "platform/runtime/NSTimer.h"
#include "platform/core/WeakClosure.h"
#include "tests/support/TestServices.h"

#include <QObject>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <vector>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {
struct Log {
    std::mutex mutex;
    std::vector<int> order;
    void add(int n) {
        std::lock_guard guard(mutex);
        order.push_back(n);
    }
    std::vector<int> get() {
        std::lock_guard guard(mutex);
        return order;
    }
};
} // namespace

TEST(DispatchQueueTest, RunsWorkOneAtATimeInSubmissionOrderOnItsOwnThread) {
    DispatchQueue queue("com.vantrel.test.order", DispatchQoS::userInitiated);
    Log log;
    std::atomic<int> running{0}, overlaps{0};
    std::thread::id worker;
    for (int i = 0; i < 200; ++i)
        queue.async([&, i] {
            if (running.fetch_add(1) != 0) ++overlaps;
            worker = std::this_thread::get_id();
            log.add(i);
            running.fetch_sub(1);
        });
    queue.sync([] {});
    const auto order = log.get();
    ASSERT_EQ(order.size(), 200u);
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(order[i], i);
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_EQ(queue.label(), "com.vantrel.test.order");
}

TEST(DispatchQueueTest, DelayedWorkWaitsForItsDeadlineAndJoinsTheOrderThen) {
    DispatchQueue queue("com.vantrel.test.delay", DispatchQoS::utility);
    Log log;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point ranAt;
    queue.asyncAfter(dispatchTimeAfter(0.15), [&] {
        ranAt = std::chrono::steady_clock::now();
        log.add(3);
    });
    queue.asyncAfter(dispatchTimeAfter(0.05), [&] { log.add(2); });
    queue.async([&] { log.add(1); });
    // A deadline already past does not overtake work queued before it.
    queue.async([&] { std::this_thread::sleep_for(20ms); });
    queue.asyncAfter(dispatchTimeAfter(-1.0), [&] { log.add(0); });
    std::this_thread::sleep_for(250ms);
    queue.sync([] {});
    EXPECT_EQ(log.get(), (std::vector<int>{1, 0, 2, 3}));
    EXPECT_GE(ranAt - start, 150ms);
}

TEST(DispatchQueueTest, CancelledItemsNeverRunButStartedOnesFinish) {
    DispatchQueue queue("com.vantrel.test.cancel", DispatchQoS::defaultQoS);
    std::atomic<bool> release{false}, started{false}, finished{false}, cancelledRan{false}, delayedRan{false};
    auto blocker = std::make_shared<DispatchWorkItem>([&] {
        started = true;
        while (!release)
            std::this_thread::sleep_for(1ms);
        finished = true;
    });
    auto waiting = std::make_shared<DispatchWorkItem>([&] { cancelledRan = true; });
    auto delayed = std::make_shared<DispatchWorkItem>([&] { delayedRan = true; });
    queue.async(blocker);
    queue.async(waiting);
    queue.asyncAfter(dispatchTimeAfter(0.05), delayed);
    while (!started)
        std::this_thread::sleep_for(1ms);
    blocker->cancel(); // already running: it goes on to its end
    waiting->cancel();
    delayed->cancel();
    release = true;
    std::this_thread::sleep_for(100ms);
    queue.sync([] {});
    EXPECT_TRUE(finished);
    EXPECT_TRUE(blocker->isCancelled());
    EXPECT_FALSE(cancelledRan);
    EXPECT_FALSE(delayedRan);
}

TEST(DispatchQueueTest, SyncFromItsOwnThreadRunsInsteadOfWaitingForItself) {
    DispatchQueue queue("com.vantrel.test.sync", DispatchQoS::userInteractive);
    bool inner = false;
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        queue.sync([&] { inner = true; });
    });
    EXPECT_TRUE(inner);
    EXPECT_FALSE(queue.isCurrent());
}

TEST(DispatchQueueTest, DestroyingAQueueRunsWhatIsDueAndDropsWhatIsNot) {
    std::atomic<int> due{0};
    std::atomic<bool> future{false};
    {
        DispatchQueue queue("com.vantrel.test.shutdown", DispatchQoS::background);
        for (int i = 0; i < 10; ++i)
            queue.async([&] { ++due; });
        queue.asyncAfter(dispatchTimeAfter(5.0), [&] { future = true; });
    }
    EXPECT_EQ(due.load(), 10);
    EXPECT_FALSE(future);
}

TEST(MainQueueTest, WorkFromOtherThreadsRunsOnTheMainThreadInOrder) {
    test::qtApp();
    Log log;
    std::vector<bool> onMain;
    DispatchQueue worker("com.vantrel.test.poster", DispatchQoS::defaultQoS);
    worker.sync([&] {
        for (int i = 0; i < 5; ++i)
            DispatchQueue::main().async([&, i] {
                onMain.push_back(DispatchQueue::main().isCurrent());
                log.add(i);
            });
        DispatchQueue::main().asyncAfter(dispatchTimeAfter(0.05), [&] { log.add(99); });
    });
    EXPECT_TRUE(log.get().empty()); // nothing runs until the main loop does
    ASSERT_TRUE(test::waitUntil([&] { return log.get().size() == 6; }, 2s));
    EXPECT_EQ(log.get(), (std::vector<int>{0, 1, 2, 3, 4, 99}));
    EXPECT_EQ(onMain, std::vector<bool>(5, true));
}

TEST(MainQueueTest, SyncFromAWorkerWaitsForTheMainThread) {
    test::qtApp();
    std::atomic<bool> done{false};
    bool ranOnMain = false;
    std::thread worker([&] {
        DispatchQueue::main().sync([&] { ranOnMain = DispatchQueue::main().isCurrent(); });
        done = true;
    });
    ASSERT_TRUE(test::waitUntil([&] { return done.load(); }, 2s));
    worker.join();
    EXPECT_TRUE(ranOnMain);
}

TEST(NSTimerTest, RepeatingTimerFiresUntilInvalidatedAndOneShotFiresOnce) {
    test::qtApp();
    int ticks = 0, shots = 0;
    auto repeating = NSTimer::scheduledTimer(0.02, true, [&](NSTimer& timer) {
        if (++ticks == 3) timer.invalidate();
    });
    auto once = NSTimer::scheduledTimer(0.01, false, [&](NSTimer&) { ++shots; });
    test::runMainLoopFor(200ms);
    EXPECT_EQ(ticks, 3);
    EXPECT_FALSE(repeating->isValid());
    EXPECT_EQ(shots, 1);
    EXPECT_FALSE(once->isValid());
    EXPECT_DOUBLE_EQ(repeating->timeInterval(), 0.02);
}

TEST(NSTimerTest, DestroyingTheHandleStopsTheTimer) {
    test::qtApp();
    int ticks = 0;
    auto timer = NSTimer::scheduledTimer(0.01, true, [&](NSTimer&) { ++ticks; });
    test::runMainLoopFor(50ms);
    const int before = ticks;
    EXPECT_GT(before, 0);
    timer.reset();
    test::runMainLoopFor(50ms);
    EXPECT_EQ(ticks, before);
}

TEST(WeakClosureTest, ClosuresDoNothingOnceTheirObjectIsGone) {
    test::qtApp();
    struct Counter {
        int calls = 0;
    };
    auto counter = std::make_shared<Counter>();
    auto bump = weakly(counter, [](Counter& c, int by) { c.calls += by; });
    bump(2);
    EXPECT_EQ(counter->calls, 2);
    std::weak_ptr<Counter> watch = counter;
    counter.reset();
    bump(5); // must not touch freed memory (ASan would say so)
    EXPECT_TRUE(watch.expired());

    auto* object = new QObject;
    int seen = 0;
    auto touch = weakly(object, [&](QObject&) { ++seen; });
    DispatchQueue::main().async(touch);
    test::runMainLoopFor(20ms);
    DispatchQueue::main().async(touch);
    delete object;
    test::runMainLoopFor(20ms);
    EXPECT_EQ(seen, 1);
}
