#pragma once
// Monitors from XRandR 1.5 over xcb (RRGetMonitors), with change events and
// a slow poll. Xvfb's `xrandr --setmonitor` and some drivers send no event,
// so a poll every 2 s catches what the events miss; it is one round trip.
// RandR's notifications arrive on the list's own connection; whoever asks for
// the snapshot picks them up there without a round trip.

#include "platform/displays/DisplayList.h"

#include <memory>
#include <mutex>

class QSocketNotifier;
class QTimer;
struct xcb_connection_t;

namespace vantrel {

class DisplayListXcb final : public DisplayList {
public:
    /// Connects lazily to $DISPLAY, and again after the server was lost.
    DisplayListXcb();
    ~DisplayListXcb() override;

    void setChangeHandler(std::function<void()> handler) override;

    static constexpr int kPollIntervalMs = 2000;

protected:
    std::vector<Monitor> readMonitors() override;
    bool takeChangeReport() override;

private:
    xcb_connection_t* connection(); // called with mutex_ held
    void disconnect();              // called with mutex_ held
    void dropNotifier();            // called with mutex_ held
    void watchEvents();
    bool drainEvents(); // true when an event came or the server went away; mutex_ held
    void onEvents();

    std::mutex mutex_;
    xcb_connection_t* connection_ = nullptr;
    uint32_t root_ = 0;
    std::function<void()> handler_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::unique_ptr<QTimer> pollTimer_;
};

} // namespace vantrel
