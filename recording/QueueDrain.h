#pragma once
// Waiting, on the main thread and without blocking it, until everything a
// serial queue was given so far has run.

#include "platform/DispatchQueue.h"

#include <QCoro/QCoroFuture>
#include <QFuture>
#include <QPromise>
#include <memory>

namespace vantrel {

inline QCoro::Task<> drainQueue(DispatchQueue& queue) {
    auto promise = std::make_shared<QPromise<void>>();
    auto future = promise->future();
    promise->start();
    queue.async([promise] { promise->finish(); });
    co_await future;
}

} // namespace vantrel
