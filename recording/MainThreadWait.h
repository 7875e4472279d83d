#pragma once
// Waiting on the main thread, without blocking it, for something another
// thread reports done: a serial queue reaching a block, a writer closing its
// file.

#include "platform/runtime/DispatchQueue.h"

#include <QCoro/QCoroFuture>
#include <QFuture>
#include <QPromise>
#include <functional>
#include <memory>

namespace vantrel {

/// Calls `start` with a `done` callback (callable once, from any thread) and
/// resumes when it has been called.
inline QCoro::Task<> waitUntilDone(const std::function<void(std::function<void()> done)>& start) {
    auto promise = std::make_shared<QPromise<void>>();
    auto future = promise->future();
    promise->start();
    start([promise] { promise->finish(); });
    co_await future;
}

/// Goes on at once on the main thread; from any other thread, resumes there.
inline QCoro::Task<> onMainThread() {
    if (DispatchQueue::main().isCurrent()) co_return;
    co_await waitUntilDone([](std::function<void()> done) { DispatchQueue::main().async(std::move(done)); });
}

/// Resumes once everything `queue` was given so far has run.
inline QCoro::Task<> drainQueue(DispatchQueue& queue) {
    co_await waitUntilDone([&queue](std::function<void()> done) { queue.async(std::move(done)); });
}

} // namespace vantrel
