#pragma once
// Serial queues in the shape the logic was designed with. A queue is one
// worker thread with a FIFO; `main()` is the Qt main thread. Work runs one
// block at a time, in the order it was submitted; `asyncAfter` entries join
// that order when their deadline comes.

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vantrel {

using DispatchTime = std::chrono::steady_clock::time_point;

/// `now + seconds`, the usual way to write a deadline.
DispatchTime dispatchTimeAfter(double seconds);

/// Quality of service, mapped onto the worker thread's nice value.
enum class DispatchQoS { userInteractive, userInitiated, defaultQoS, utility, background };

/// A block that can be cancelled until it starts. Once started it runs to its
/// end; cancelling then only marks it. Safe to use from any thread.
class DispatchWorkItem {
public:
    explicit DispatchWorkItem(std::function<void()> block);

    /// Runs the block unless it was cancelled first. Called by the queue.
    void perform();
    void cancel();
    bool isCancelled() const { return cancelled_.load(); }

private:
    enum State : int { pending, running, finished, dropped };
    std::function<void()> block_;
    std::atomic<int> state_{pending};
    std::atomic<bool> cancelled_{false};
};

class DispatchQueue {
public:
    /// A serial queue with its own worker thread. `label` is "com.vantrel." and a short name.
    DispatchQueue(std::string label, DispatchQoS qos);
    /// Runs what is already due, drops entries whose deadline has not come, and joins the worker.
    ~DispatchQueue();
    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;

    /// The Qt main thread. Work posted before a QCoreApplication exists, or
    /// after it is gone, never runs.
    static DispatchQueue& main();

    const std::string& label() const { return label_; }

    void async(std::function<void()> block);
    void async(std::shared_ptr<DispatchWorkItem> item);
    void asyncAfter(DispatchTime deadline, std::function<void()> block);
    void asyncAfter(DispatchTime deadline, std::shared_ptr<DispatchWorkItem> item);

    /// Blocks until `block` has run after everything submitted before it. On
    /// the queue's own thread it runs at once instead of waiting for itself.
    void sync(const std::function<void()>& block);

    /// True on this queue's thread.
    bool isCurrent() const;

    class Backend;

private:
    explicit DispatchQueue(std::string label, std::unique_ptr<Backend> backend);
    std::string label_;
    std::unique_ptr<Backend> backend_;
};

} // namespace vantrel
