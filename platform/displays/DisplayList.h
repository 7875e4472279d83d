#pragma once
// The seam between the display names the logic uses (Displays.h) and the
// display server. One backend talks to X11 (DisplayListXcb); tests can put a
// fake in its place.

#include "platform/core/Geometry.h"

#include <functional>
#include <memory>
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

    /// The active monitors in the server's order. One round trip; may be called
    /// from any thread. Throws DisplayServiceError when the server is unreachable.
    virtual std::vector<Monitor> monitors() = 0;

    /// `handler` runs on the main thread whenever the configuration may have
    /// changed (it may also run when nothing did). An empty handler stops watching.
    /// Call on the main thread.
    virtual void setChangeHandler(std::function<void()> handler) = 0;

    /// The list of this session's display server, made at first use; tests replace it.
    static std::shared_ptr<DisplayList> shared();
    static void setShared(std::shared_ptr<DisplayList> list);
};

/// A list that shows what a test put in it, or fails as told. For tests only.
class DisplayListFake final : public DisplayList {
public:
    std::vector<Monitor> monitors() override;
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }

    /// Replaces the monitors and, like a server event, calls the change handler.
    void setMonitors(std::vector<Monitor> monitors);
    /// While set, monitors() throws DisplayServiceError with this description.
    void setFailure(std::string description) { failure_ = std::move(description); }
    void clearFailure() { failure_.clear(); }
    int requestCount() const { return requests_; }

private:
    std::vector<Monitor> monitors_;
    std::string failure_;
    std::function<void()> handler_;
    int requests_ = 0;
};

} // namespace vantrel
