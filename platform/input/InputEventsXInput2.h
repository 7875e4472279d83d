#pragma once
// The X11 input service: a connection and a thread of its own that listen to
// XInput2 raw events on the root window (or, where the server has no
// XInput2, poll the core pointer and keymap), turn them into NSEvents with
// the user's keyboard layout, and post them to the main thread in order.

#include "platform/input/InputEvents.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

struct xcb_connection_t;

namespace vantrel {

class InputEventsXInput2 final : public InputEvents, public std::enable_shared_from_this<InputEventsXInput2> {
public:
    enum class Source { xinput2, corePolling };

    /// `preferred` xinput2 falls back on polling where the server lacks XInput2.
    explicit InputEventsXInput2(Source preferred = Source::xinput2);
    ~InputEventsXInput2() override;

    Token addGlobalMonitorForEvents(NSEventMask mask, Handler handler) override;
    Token addLocalMonitorForEvents(NSEventMask mask, Handler handler) override;
    void removeMonitor(const Token& token) override;
    Token createKeyEventTap(Handler handler) override;
    CGPoint mouseLocation() override;

    /// The source in use once the listener runs; empty before that or without a display.
    std::optional<Source> activeSource() const;

    /// Core polling rate: often enough that a quick click is not missed.
    static constexpr int kPollIntervalMs = 8;

private:
    struct Registration {
        NSEventMask mask;
        Handler handler;
        bool isTap;
    };
    struct Listener;

    bool ensureListening(); // main thread
    void stopListeningIfIdle();
    void deliver(const NSEvent& event); // main thread
    Token add(NSEventMask mask, Handler handler, bool isTap);

    Source preferred_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Registration>> registrations_;
    std::unique_ptr<Listener> listener_;
    std::shared_ptr<std::atomic<bool>> alive_;
    xcb_connection_t* queryConnection_ = nullptr;
};

} // namespace vantrel
