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
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace vantrel {

template <typename Work> auto runInBackground(Work work) -> QCoro::Task<std::invoke_result_t<Work&>> {
    using Result = std::invoke_result_t<Work&>;
    using Stored = std::conditional_t<std::is_void_v<Result>, bool, Result>;
    struct Outcome {
        std::optional<Stored> value;
        std::exception_ptr error;
    };
    auto outcome = std::make_shared<Outcome>();
    auto promise = std::make_shared<QPromise<void>>();
    QFuture<void> finished = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([work = std::move(work), outcome, promise]() mutable {
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
    });
    co_await finished;
    if (outcome->error) std::rethrow_exception(outcome->error);
    if constexpr (!std::is_void_v<Result>) co_return std::move(*outcome->value);
}

} // namespace vantrel
