#pragma once
// The seam between the display names the logic uses (Displays.h) and the
// display server. One backend talks to X11 (DisplayListXcb); tests can put a
// fake in its place.

#include "platform/core/Geometry.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantrel {

/// The display server could not be asked; what() is the localized description.
class DisplayServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    std::string localizedDescription() const { return what(); }
};

/// One monitor as the server reports it.
struct Monitor {
    std::string name;        // output or monitor name, such as "DP-1"
    std::string productName; // from the EDID; empty when there is none
    CGRect rootFrame;        // pixels in root coordinates: origin top left, y down
    bool primary = false;
    friend bool operator==(const Monitor&, const Monitor&) = default;
};

class DisplayList {
public:
    virtual ~DisplayList() = default;

    /// The active monitors in the server's order, read afresh (on X11 the
    /// monitor list, their names and EDIDs: a few round trips). It also
    /// renews the snapshot below, so whoever has just changed the monitors,
    /// or watched a test change them, calls this once and every display
    /// lookup sees the change. Any thread. Throws DisplayServiceError when
    /// the server is unreachable.
    std::vector<Monitor> monitors();

    /// The monitors as last read, without asking the server: what the display
    /// lookups of every pointer event use. It is read afresh only when there
    /// is none yet, when the server reported a change on the list's own
    /// connection, or when it is older than kSnapshotLifetime (Xvfb's
    /// `--setmonitor` reports nothing; the poll of the change handler renews
    /// it sooner). Null when the server cannot be asked. Any thread.
    std::shared_ptr<const std::vector<Monitor>> snapshot();

    /// Longer than the backends' poll, so that while it runs, it is the poll
    /// that reads and never a pointer event.
    static constexpr std::chrono::milliseconds kSnapshotLifetime{5000};

    /// `handler` runs on the main thread whenever the configuration may have
    /// changed (it may also run when nothing did). An empty handler stops watching.
    /// Call on the main thread.
    virtual void setChangeHandler(std::function<void()> handler) = 0;

    /// The list of this session's display server, made at first use; tests replace it.
    static std::shared_ptr<DisplayList> shared();
    static void setShared(std::shared_ptr<DisplayList> list);

protected:
    /// The server's monitors now; what monitors() returns.
    virtual std::vector<Monitor> readMonitors() = 0;
    /// True when the server reported since the last call that the monitors
    /// may have changed. Never waits for the server.
    virtual bool takeChangeReport() { return false; }
    /// The snapshot no longer holds (a change seen elsewhere).
    void invalidateSnapshot();

private:
    std::mutex snapshotMutex_;
    std::shared_ptr<const std::vector<Monitor>> snapshot_;
    std::chrono::steady_clock::time_point snapshotTime_;
    // Bumped by every change report; a snapshot read before the last one is stale.
    uint64_t changes_ = 0;
    uint64_t snapshotChanges_ = 0;
    // Reads are numbered as they start, so a slow read never replaces a newer one.
    uint64_t readsStarted_ = 0;
    uint64_t snapshotRead_ = 0;
};

/// A list that shows what a test put in it, or fails as told. For tests only.
class DisplayListFake final : public DisplayList {
public:
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

    /// Replaces the monitors and, like a server event, calls the change handler.
    void setMonitors(std::vector<Monitor> monitors);
    /// While set, monitors() throws DisplayServiceError with this description.
    void setFailure(std::string description) { failure_ = std::move(description); }
    void clearFailure() { failure_.clear(); }
    /// How often the server was asked.
    int requestCount() const { return requests_; }

protected:
    std::vector<Monitor> readMonitors() override;

private:
    std::vector<Monitor> monitors_;
    std::string failure_;
    std::function<void()> handler_;
    int requests_ = 0;
};

} // namespace vantrel
