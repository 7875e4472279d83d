// Serial queues, work items, the main queue, main-loop timers and weak
// closures. Waits bound how long a loaded machine may take; no check
// depends on how fast it is.
#include "platform/core/WeakClosure.h"
#include "platform/runtime/DispatchQueue.h"
#include "platform/runtime/NSTimer.h"
#include "tests/support/TestServices.h"

#include <QObject>
#include <gtest/gtest.h>
#include <mutex>
#include <numeric>
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

TEST(DispatchQueueTest, RunsWorkOneAtATimeInOrderOnItsOwnThreadAndSyncFromItselfRunsInPlace) {
    Log log;
    std::atomic<int> running{0}, overlaps{0};
    std::atomic<bool> future{false};
    {
        DispatchQueue queue("com.vantrel.test.order", DispatchQoS::userInitiated);
        std::thread::id worker;
        for (int i = 0; i < 200; ++i)
            queue.async([&, i] {
                if (running.fetch_add(1) != 0) ++overlaps;
                worker = std::this_thread::get_id();
                log.add(i);
                running.fetch_sub(1);
            });
        bool inner = false;
        queue.sync([&] { queue.sync([&] { inner = queue.isCurrent(); }); });
        EXPECT_TRUE(inner);
        EXPECT_NE(worker, std::this_thread::get_id());
        // Destroyed below: what is due runs first, what is not due is dropped.
        queue.async([&] { log.add(200); });
        queue.asyncAfter(dispatchTimeAfter(60.0), [&] { future = true; });
    }
    std::vector<int> expected(201);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(log.get(), expected);
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_FALSE(future);
}

TEST(DispatchQueueTest, DelayedWorkKeepsItsDeadlineAndCancelledWorkNeverRuns) {
    DispatchQueue queue("com.vantrel.test.delay", DispatchQoS::utility);
    Log log;
    const auto start = std::chrono::steady_clock::now();
    std::atomic<std::chrono::steady_clock::duration> lateRanAfter{};
    std::atomic<bool> release{false}, cancelledRan{false};
    queue.asyncAfter(dispatchTimeAfter(1.5), [&] {
        lateRanAfter = std::chrono::steady_clock::now() - start;
        log.add(3);
    });
    queue.asyncAfter(dispatchTimeAfter(1.0), [&] { log.add(2); });
    // Holds the queue: a deadline already past does not overtake work queued
    // before it. (The deadlines of 1 s and more leave a loaded machine room
    // to queue the rest before they are due.)
    queue.async([&] {
        log.add(1);
        while (!release)
            std::this_thread::sleep_for(1ms);
    });
    queue.asyncAfter(dispatchTimeAfter(-1.0), [&] { log.add(0); });
    auto waiting = std::make_shared<DispatchWorkItem>([&] { cancelledRan = true; });
    queue.async(waiting);
    waiting->cancel();
    release = true;
    ASSERT_TRUE(test::waitUntil([&] { return log.get().size() == 4; }, 20s));
    EXPECT_EQ(log.get(), (std::vector<int>{1, 0, 2, 3}));
    EXPECT_GE(lateRanAfter.load(), 1500ms); // never early; late is allowed
    EXPECT_FALSE(cancelledRan);
}

TEST(MainQueueTest, WorkAndTimersRunOnTheMainThreadAndWeakClosuresSkipWhatIsGone) {
    test::qtApp();
    Log log;
    std::vector<bool> onMain;
    std::thread poster([&] {
        for (int i = 0; i < 5; ++i)
            DispatchQueue::main().async([&, i] {
                onMain.push_back(DispatchQueue::main().isCurrent());
                log.add(i);
            });
        DispatchQueue::main().sync([&] { log.add(5); }); // waits for the main thread
    });
    ASSERT_TRUE(test::waitUntil([&] { return log.get().size() == 6; }, 20s));
    poster.join();
    EXPECT_EQ(log.get(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(onMain, std::vector<bool>(5, true));

    int ticks = 0, shots = 0;
    auto repeating = NSTimer::scheduledTimer(0.02, true, [&](NSTimer& timer) {
        if (++ticks == 3) timer.invalidate();
    });
    auto once = NSTimer::scheduledTimer(0.01, false, [&](NSTimer&) { ++shots; });
    auto dropped = NSTimer::scheduledTimer(0.01, true, [&](NSTimer&) { ADD_FAILURE() << "a dropped timer fired"; });
    dropped.reset();
    ASSERT_TRUE(test::waitUntil([&] { return !repeating->isValid() && !once->isValid(); }, 20s));
    test::runMainLoopFor(100ms);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(shots, 1);

    auto* object = new QObject;
    int seen = 0;
    auto touch = weakly(object, [&](QObject&) { ++seen; });
    DispatchQueue::main().async(touch);
    ASSERT_TRUE(test::waitUntil([&] { return seen == 1; }, 20s));
    DispatchQueue::main().async(touch);
    delete object; // must not be touched once gone (ASan would say so)
    test::runMainLoopFor(50ms);
    EXPECT_EQ(seen, 1);
}
