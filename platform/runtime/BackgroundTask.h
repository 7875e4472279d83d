#pragma once
// Blocking work awaited without blocking: a call that waits on a server (X,
// PulseAudio, D-Bus) or opens an encoder runs on a pool thread, and the
// coroutine that awaits it resumes on its own thread, through that thread's
// event loop, with the result or the exception the work threw. The work
// must touch nothing that belongs to the awaiting thread alone.

#include <QCoro/QCoroFuture>
#include <QCoro/QCoroTask>
#include <QFuture>
#include <QPromise>
#include <QThreadPool>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace vantrel {

namespace detail {

template <typename Result> struct BackgroundOutcome {
    std::optional<std::conditional_t<std::is_void_v<Result>, bool, Result>> value;
    std::exception_ptr error;
};

// Only shared handles cross into this coroutine's frame: the work itself
// stays in the pool's hands.
template <typename Result>
QCoro::Task<Result> awaitBackground(QFuture<void> finished, std::shared_ptr<BackgroundOutcome<Result>> outcome) {
    co_await finished;
    if (outcome->error) std::rethrow_exception(outcome->error);
    if constexpr (!std::is_void_v<Result>) co_return std::move(*outcome->value);
}

} // namespace detail

/// Starts `work` on a pool thread; the task resumes with its result. Await
/// the returned task in a statement of its own (`auto task = ...; co_await
/// std::move(task);` or a named task), so that no temporary lives across the wait.
template <typename Work> auto runInBackground(Work work) -> QCoro::Task<std::invoke_result_t<Work&>> {
    using Result = std::invoke_result_t<Work&>;
    auto outcome = std::make_shared<detail::BackgroundOutcome<Result>>();
    auto promise = std::make_shared<QPromise<void>>();
    QFuture<void> finished = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start(std::function<void()>([work = std::move(work), outcome, promise]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
                outcome->value.emplace(true);
            } else {
                outcome->value.emplace(work());
            }
        } catch (...) {
            outcome->error = std::current_exception();
        }
        promise->finish();
    }));
    return detail::awaitBackground<Result>(std::move(finished), std::move(outcome));
}

} // namespace vantrel
