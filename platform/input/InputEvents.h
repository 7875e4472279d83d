#pragma once
// Mouse and key events under the names the logic uses (NSEvent monitors and
// a listen-only key tap), and the service that delivers them.
//
// On X11 the backend listens to XInput2 raw events on the root window, which
// carry the events of every application, ours included; it reads the pointer
// and the XKB modifier state to fill in what raw events lack, and repeats a
// held key itself because raw events have no auto-repeat. Handlers always run
// on the main thread, in the order the server sent the events.

#include "platform/core/Geometry.h"
#include "platform/input/ModifierFlags.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantrel {

enum class NSEventType : uint8_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    rightMouseDown = 3,
    rightMouseUp = 4,
    mouseMoved = 5,
    leftMouseDragged = 6,
    keyDown = 10,
    flagsChanged = 12,
    otherMouseDown = 25, // the middle button and those past the wheel's
    otherMouseUp = 26,
};

/// One bit per event type: 1 << type, as NSEvent.EventTypeMask.
using NSEventMask = uint64_t;
constexpr NSEventMask maskOf(NSEventType type) {
    return NSEventMask{1} << static_cast<uint8_t>(type);
}

struct NSEvent {
    NSEventType type = NSEventType::mouseMoved;
    NSEventModifierFlags modifierFlags;
    uint16_t keyCode = 0;
    std::optional<std::string> characters;
    std::optional<std::string> charactersIgnoringModifiers;
    bool isARepeat = false;
};

class InputEvents {
public:
    using Handler = std::function<void(const NSEvent&)>;
    /// Keeps a monitor or tap registered; hand it back to removeMonitor.
    using Token = std::shared_ptr<void>;

    virtual ~InputEvents() = default;

    /// Events of the types in `mask` going to any application. Null when the
    /// display cannot be reached. Main thread.
    virtual Token addGlobalMonitorForEvents(NSEventMask mask, Handler handler) = 0;
    /// Events going to this application only. The root-window listener already
    /// delivers those to the global monitors, so X11 gives no token here
    /// rather than every event twice.
    virtual Token addLocalMonitorForEvents(NSEventMask mask, Handler handler) = 0;
    virtual void removeMonitor(const Token& token) = 0;

    /// A listen-only tap for key-down and flags-changed events. Null when the
    /// server refuses it (no XInput2); the caller then falls back on a global
    /// monitor, which polls the core keyboard. While secure input is on (a
    /// password field has focus) the tap sees no key at all. Main thread.
    virtual Token createKeyEventTap(Handler handler) = 0;

    /// The pointer now, global: origin at the lower left of the main display, y up.
    virtual CGPoint mouseLocation() = 0;

    /// The session's service, made at first use; tests replace it.
    static std::shared_ptr<InputEvents> shared();
    static void setShared(std::shared_ptr<InputEvents> events);
};

/// Secure event input: on while a password field has the keyboard focus. No
/// key event reaches a tap or monitor while it is on. Any thread.
void EnableSecureEventInput();
void DisableSecureEventInput();
bool IsSecureEventInputEnabled();

/// Events that a test sends by hand, delivered synchronously on the calling thread.
class InputEventsFake final : public InputEvents {
public:
    Token addGlobalMonitorForEvents(NSEventMask mask, Handler handler) override;
    Token addLocalMonitorForEvents(NSEventMask mask, Handler handler) override;
    void removeMonitor(const Token& token) override;
    Token createKeyEventTap(Handler handler) override;
    CGPoint mouseLocation() override { return location; }

    /// Sends `event` to every live monitor or tap whose mask holds its type,
    /// as the service would (keys not at all while secure input is on).
    void send(const NSEvent& event);

    CGPoint location;
    bool refuseTap = false;
    bool giveLocalToken = true;
    int liveRegistrations() const;

private:
    struct Registration;
    std::vector<std::weak_ptr<Registration>> registrations_;
};

} // namespace vantrel
