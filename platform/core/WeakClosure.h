#pragma once
// Closures that outlive their caller (timers, queued work, observers) hold
// their object weakly and do nothing once it is gone.

#include <QPointer>
#include <memory>
#include <type_traits>
#include <utility>

namespace vantrel {

/// A closure that calls `body(object, args...)` while `object` lives, and does nothing after.
template <typename T, typename Body> auto weakly(const std::shared_ptr<T>& object, Body body) {
    return [weak = std::weak_ptr<T>(object), body = std::move(body)](auto&&... args) {
        if (auto strong = weak.lock()) body(*strong, std::forward<decltype(args)>(args)...);
    };
}

/// The same for a QObject, which Qt tracks through QPointer.
template <typename T, typename Body>
requires std::is_base_of_v<QObject, T>
auto weakly(T* object, Body body) {
    return [weak = QPointer<T>(object), body = std::move(body)](auto&&... args) {
        if (T* strong = weak.data()) body(*strong, std::forward<decltype(args)>(args)...);
    };
}

} // namespace vantrel
