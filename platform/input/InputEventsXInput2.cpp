#include "platform/input/InputEventsXInput2.h"

#include "platform/runtime/DispatchQueue.h"
#include "platform/capture/XcbWindows.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/input/KeyboardLayoutXkb.h"
#include "platform/input/PointerMappingXInput2.h"
#include "platform/input/TerminalEchoProc.h"
#include "platform/input/XInputEventMask.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <poll.h>
#include <utility>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>
// xkb.h names a field "explicit", which C++ reserves.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-x11.h>

namespace vantrel {

namespace {

using Clock = std::chrono::steady_clock;

// The server's defaults, used until XKB tells us the user's.
constexpr uint16_t kDefaultRepeatDelayMs = 660;
constexpr uint16_t kDefaultRepeatIntervalMs = 40;
constexpr uint32_t kLeftButton = 1, kMiddleButton = 2, kRightButton = 3, kLastWheelButton = 7;
constexpr uint16_t kReturnKeyCode = 36, kEnterKeyCode = 76;

template <typename T> using Reply = std::unique_ptr<T, decltype(&free)>;
template <typename T> Reply<T> reply(T* raw) {
    return Reply<T>(raw, &free);
}

bool isKeyType(NSEventType type) {
    return type == NSEventType::keyDown || type == NSEventType::flagsChanged;
}

// XKB events share their first bytes; the second one says which it is.
struct XkbAnyEvent {
    uint8_t responseType;
    uint8_t xkbType;
    uint16_t sequence;
    xcb_timestamp_t time;
    uint8_t deviceID;
};

} // namespace

struct InputEventsXInput2::Listener {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = 0;
    Source source = Source::corePolling;
    uint8_t xiOpcode = 0;
    uint8_t xkbEventBase = 0;
    int32_t keyboardDevice = -1;
    std::unique_ptr<KeyboardLayoutXkb> layout;
    // Raw events carry the device's button; this says which one applications see.
    PointerMappingXInput2 buttonMaps;
    uint16_t repeatDelayMs = kDefaultRepeatDelayMs;
    uint16_t repeatIntervalMs = kDefaultRepeatIntervalMs;
    // Auto-repeat as the server has it: off for all keys (`xset r off`) or per key.
    bool repeatEnabled = true;
    std::array<uint8_t, 32> perKeyRepeat = [] {
        std::array<uint8_t, 32> every;
        every.fill(0xFF);
        return every;
    }();
    int wakeFd = -1;
    std::thread thread;
    std::function<void(NSEvent)> post;

    // Owned by the listener thread.
    std::optional<uint32_t> repeatKey;
    Clock::time_point nextRepeat;
    bool leftDown = false;
    bool pointerMovedInRun = false;
    int lastX = INT_MIN, lastY = INT_MIN;
    std::array<uint8_t, 32> keymap{};
    // A terminal reading a password has the focus: its keys are held back as
    // a password field's are. Looked up at each key press.
    xcbwindows::WindowStack windows;
    TerminalEchoProc terminal;
    bool passwordPrompt = false;

    ~Listener() {
        if (thread.joinable()) {
            const uint64_t one = 1;
            (void)!write(wakeFd, &one, sizeof one);
            thread.join();
        }
        if (wakeFd >= 0) close(wakeFd);
        if (connection) xcb_disconnect(connection);
    }

    bool open(Source preferred) {
        int screenNumber = 0;
        connection = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(connection)) return false;
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; i < screenNumber && screens.rem; ++i)
            xcb_screen_next(&screens);
        if (!screens.rem) return false;
        root = screens.data->root;
        setUpKeyboard();
        source = (preferred == Source::xinput2 && selectRawEvents()) ? Source::xinput2 : Source::corePolling;
        // The core pointer's state, which polling reads, is already mapped.
        if (source == Source::xinput2) buttonMaps.start(connection, root);
        wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        return wakeFd >= 0;
    }

    void setUpKeyboard() {
        uint16_t major = 0, minor = 0;
        uint8_t errorBase = 0;
        if (!xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                         XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                         &major, &minor, &xkbEventBase, &errorBase))
            return;
        keyboardDevice = xkb_x11_get_core_keyboard_device_id(connection);
        layout = KeyboardLayoutXkb::fromConnection(connection, keyboardDevice);
        constexpr uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                    XCB_XKB_EVENT_TYPE_STATE_NOTIFY | XCB_XKB_EVENT_TYPE_CONTROLS_NOTIFY;
        constexpr uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                      XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS |
                                      XCB_XKB_MAP_PART_KEY_ACTIONS | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                      XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
        constexpr uint16_t stateParts = XCB_XKB_STATE_PART_MODIFIER_BASE | XCB_XKB_STATE_PART_MODIFIER_LATCH |
                                        XCB_XKB_STATE_PART_MODIFIER_LOCK | XCB_XKB_STATE_PART_GROUP_BASE |
                                        XCB_XKB_STATE_PART_GROUP_LATCH | XCB_XKB_STATE_PART_GROUP_LOCK;
        xcb_xkb_select_events_details_t details{};
        details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
        details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
        details.affectState = stateParts;
        details.stateDetails = stateParts;
        details.affectCtrls = XCB_XKB_BOOL_CTRL_REPEAT_KEYS;
        details.ctrlDetails = XCB_XKB_BOOL_CTRL_REPEAT_KEYS;
        xcb_xkb_select_events_aux(connection, static_cast<xcb_xkb_device_spec_t>(keyboardDevice), events, 0,
                                  0, mapParts, mapParts, &details);
        readRepeatRate();
    }

    void readRepeatRate() {
        auto controls = reply(xcb_xkb_get_controls_reply(
            connection, xcb_xkb_get_controls(connection, XCB_XKB_ID_USE_CORE_KBD), nullptr));
        if (!controls) return;
        if (controls->repeatDelay > 0) repeatDelayMs = controls->repeatDelay;
        if (controls->repeatInterval > 0) repeatIntervalMs = controls->repeatInterval;
        repeatEnabled = controls->enabledControls & XCB_XKB_BOOL_CTRL_REPEAT_KEYS;
        std::copy(std::begin(controls->perKeyRepeat), std::end(controls->perKeyRepeat), perKeyRepeat.begin());
    }

    bool selectRawEvents() {
        const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_input_id);
        if (!extension || !extension->present) return false;
        auto version = reply(xcb_input_xi_query_version_reply(
            connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
        if (!version || version->major_version < 2) return false;
        xiOpcode = extension->major_opcode;
        XInputEventMask mask(XCB_INPUT_DEVICE_ALL_MASTER,
                             XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE |
                                 XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS |
                                 XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE | XCB_INPUT_XI_EVENT_MASK_RAW_MOTION);
        auto error = reply(xcb_request_check(
            connection, xcb_input_xi_select_events_checked(connection, root, 1, &mask.head)));
        return !error;
    }

    void run() {
        if (source == Source::corePolling) primeCoreState();
        while (true) {
            drainEvents();
            if (xcb_connection_has_error(connection)) return;
            if (source == Source::corePolling) pollCore();
            repeatIfDue();
            xcb_flush(connection);
            pollfd fds[2] = {{xcb_get_file_descriptor(connection), POLLIN, 0}, {wakeFd, POLLIN, 0}};
            if (::poll(fds, 2, timeoutMs()) < 0 && errno != EINTR) return;
            if (fds[1].revents & POLLIN) return;
        }
    }

    int timeoutMs() const {
        int timeout = source == Source::corePolling ? kPollIntervalMs : -1;
        if (repeatKey) {
            const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextRepeat - Clock::now()).count();
            const int repeatWait = static_cast<int>(std::max<int64_t>(0, wait));
            timeout = timeout < 0 ? repeatWait : std::min(timeout, repeatWait);
        }
        return timeout;
    }

    void drainEvents() {
        // Events are taken as a batch so that a run of motions costs one
        // pointer query; everything else keeps its place in the order.
        std::vector<Reply<xcb_generic_event_t>> batch;
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection))
            batch.push_back(reply(event));
        for (size_t i = 0; i < batch.size(); ++i) {
            const bool nextIsMotion = i + 1 < batch.size() && isRawMotion(batch[i + 1].get());
            if (isRawMotion(batch[i].get())) {
                pointerMovedInRun = pointerMovedInRun || movesPointer(batch[i].get());
                if (nextIsMotion) continue;
            }
            handle(batch[i].get());
        }
        if (!batch.empty()) drainEvents(); // pointer queries may have read more
    }

    // Scroll wheels report through raw motion too, on axes of their own: only
    // motion on the first two axes (x and y) moves the pointer.
    static bool movesPointer(const xcb_generic_event_t* event) {
        auto* raw = reinterpret_cast<const xcb_input_raw_motion_event_t*>(event);
        if (raw->valuators_len == 0) return false;
        return xcb_input_raw_button_press_valuator_mask(raw)[0] & 0x3;
    }

    bool isRawMotion(const xcb_generic_event_t* event) const {
        if ((event->response_type & 0x7f) != XCB_GE_GENERIC) return false;
        auto* ge = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
        return ge->extension == xiOpcode && ge->event_type == XCB_INPUT_RAW_MOTION;
    }

    void handle(const xcb_generic_event_t* event) {
        if (source == Source::xinput2 && buttonMaps.handle(event)) return;
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_GE_GENERIC) {
            auto* ge = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
            if (ge->extension != xiOpcode) return;
            switch (ge->event_type) {
            case XCB_INPUT_RAW_KEY_PRESS:
            case XCB_INPUT_RAW_KEY_RELEASE:
                onKey(reinterpret_cast<const xcb_input_raw_key_press_event_t*>(event)->detail,
                      ge->event_type == XCB_INPUT_RAW_KEY_PRESS);
                break;
            case XCB_INPUT_RAW_BUTTON_PRESS:
            case XCB_INPUT_RAW_BUTTON_RELEASE: {
                auto* raw = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event);
                onButton(buttonMaps.logicalButton(raw->sourceid, raw->detail),
                         ge->event_type == XCB_INPUT_RAW_BUTTON_PRESS);
                break;
            }
            case XCB_INPUT_RAW_MOTION:
                onMotion();
                break;
            }
            return;
        }
        if (xkbEventBase != 0 && type == xkbEventBase) onXkb(event);
    }

    void onXkb(const xcb_generic_event_t* event) {
        auto* any = reinterpret_cast<const XkbAnyEvent*>(event);
        if (any->deviceID != keyboardDevice) return;
        switch (any->xkbType) {
        case XCB_XKB_STATE_NOTIFY: {
            auto* state = reinterpret_cast<const xcb_xkb_state_notify_event_t*>(event);
            if (layout)
                layout->updateMask(state->baseMods, state->latchedMods, state->lockedMods, state->baseGroup,
                                   state->latchedGroup, state->lockedGroup);
            break;
        }
        case XCB_XKB_NEW_KEYBOARD_NOTIFY:
        case XCB_XKB_MAP_NOTIFY:
            // The user switched layouts or keyboards: read the keymap again.
            if (auto fresh = KeyboardLayoutXkb::fromConnection(connection, keyboardDevice))
                layout = std::move(fresh);
            break;
        case XCB_XKB_CONTROLS_NOTIFY:
            readRepeatRate();
            break;
        }
    }

    void send(NSEvent event) {
        if (isKeyType(event.type) && (IsSecureEventInputEnabled() || passwordPrompt)) return;
        post(std::move(event));
    }

    void onKey(uint32_t keycode, bool down) {
        if (!layout) return;
        KeyTranslation key = layout->translate(keycode);
        // One round trip for the focus and a tcgetattr per press; repeats and
        // releases keep the answer of their press. The Return that ends a
        // password may reach us after the program has already turned echo
        // back on: it stays hidden with the line it ends.
        if (down) {
            const bool endsLine = key.keyCode == kReturnKeyCode || key.keyCode == kEnterKeyCode;
            passwordPrompt = terminal.readsPassword(windows.focusedProcess()) || (endsLine && passwordPrompt);
        }
        if (key.isModifier) {
            // XKB's own state notification follows; updating here keeps the
            // flags right for this event too.
            layout->updateKey(keycode, down);
            NSEvent event;
            event.type = NSEventType::flagsChanged;
            event.modifierFlags = layout->modifierFlags();
            event.keyCode = key.keyCode;
            send(std::move(event));
            return;
        }
        if (!down) {
            if (repeatKey == keycode) repeatKey.reset();
            return;
        }
        send(keyDownEvent(key, false));
        // As on every desktop, only the last key pressed repeats.
        repeatKey.reset();
        if (key.repeats && repeatEnabled && (perKeyRepeat[keycode / 8 % 32] & (1u << keycode % 8))) {
            repeatKey = keycode;
            nextRepeat = Clock::now() + std::chrono::milliseconds(repeatDelayMs);
        }
    }

    NSEvent keyDownEvent(const KeyTranslation& key, bool isRepeat) const {
        NSEvent event;
        event.type = NSEventType::keyDown;
        event.modifierFlags = layout->modifierFlags();
        event.keyCode = key.keyCode;
        event.characters = key.characters;
        event.charactersIgnoringModifiers = key.charactersIgnoringModifiers;
        event.isARepeat = isRepeat;
        return event;
    }

    void repeatIfDue() {
        if (!repeatKey || !layout || Clock::now() < nextRepeat) return;
        send(keyDownEvent(layout->translate(*repeatKey), true));
        nextRepeat += std::chrono::milliseconds(repeatIntervalMs);
        // After a stall (a suspended machine) repeat from now, not in a burst.
        if (nextRepeat < Clock::now())
            nextRepeat = Clock::now() + std::chrono::milliseconds(repeatIntervalMs);
    }

    void mouseEvent(NSEventType type) {
        NSEvent event;
        event.type = type;
        if (layout) event.modifierFlags = layout->modifierFlags();
        send(std::move(event));
    }

    // Where the pointer is; false when it did not move since the last look.
    bool queryPointer(uint16_t* buttons = nullptr) {
        auto pointer =
            reply(xcb_query_pointer_reply(connection, xcb_query_pointer(connection, root), nullptr));
        if (!pointer) return false;
        if (buttons) *buttons = pointer->mask;
        const bool moved = pointer->root_x != lastX || pointer->root_y != lastY;
        lastX = pointer->root_x;
        lastY = pointer->root_y;
        return moved;
    }

    void onMotion() {
        const bool moved = std::exchange(pointerMovedInRun, false);
        if (!moved) return;
        queryPointer();
        mouseEvent(leftDown ? NSEventType::leftMouseDragged : NSEventType::mouseMoved);
    }

    // `button` as applications see it, after the pointer maps.
    void onButton(uint32_t button, bool down) {
        if (button == kLeftButton) {
            queryPointer();
            leftDown = down;
            mouseEvent(down ? NSEventType::leftMouseDown : NSEventType::leftMouseUp);
        } else if (button == kRightButton) {
            mouseEvent(down ? NSEventType::rightMouseDown : NSEventType::rightMouseUp);
        } else if (button == kMiddleButton || button > kLastWheelButton) {
            mouseEvent(down ? NSEventType::otherMouseDown : NSEventType::otherMouseUp);
        }
        // The wheel's steps, and buttons the maps turn off, are no clicks.
    }

    // --- Core polling, where XInput2 is missing ---

    void primeCoreState() {
        uint16_t buttons = 0;
        queryPointer(&buttons);
        leftDown = buttons & XCB_BUTTON_MASK_1;
        if (auto keys = reply(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr)))
            std::copy(std::begin(keys->keys), std::end(keys->keys), keymap.begin());
    }

    void pollCore() {
        uint16_t buttons = 0;
        const bool moved = queryPointer(&buttons);
        const bool down = buttons & XCB_BUTTON_MASK_1;
        if (down != leftDown) {
            if (moved) mouseEvent(leftDown ? NSEventType::leftMouseDragged : NSEventType::mouseMoved);
            leftDown = down;
            mouseEvent(down ? NSEventType::leftMouseDown : NSEventType::leftMouseUp);
        } else if (moved) {
            mouseEvent(leftDown ? NSEventType::leftMouseDragged : NSEventType::mouseMoved);
        }
        auto keys = reply(xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
        if (!keys) return;
        for (uint32_t byte = 0; byte < keymap.size(); ++byte) {
            const uint8_t changed = keys->keys[byte] ^ keymap[byte];
            for (uint32_t bit = 0; bit < 8; ++bit)
                if (changed & (1u << bit)) onKey(byte * 8 + bit, keys->keys[byte] & (1u << bit));
            keymap[byte] = keys->keys[byte];
        }
    }
};

InputEventsXInput2::InputEventsXInput2(Source preferred)
    : preferred_(preferred), alive_(std::make_shared<std::atomic<bool>>(true)) {}

InputEventsXInput2::~InputEventsXInput2() {
    alive_->store(false);
    listener_.reset();
    if (queryConnection_) xcb_disconnect(queryConnection_);
}

bool InputEventsXInput2::ensureListening() {
    if (listener_) return true;
    auto listener = std::make_unique<Listener>();
    if (!listener->open(preferred_)) return false;
    listener->post = [this, alive = alive_](NSEvent event) {
        DispatchQueue::main().async([this, alive, event = std::move(event)] {
            if (alive->load()) deliver(event);
        });
    };
    listener->thread = std::thread([raw = listener.get()] { raw->run(); });
    listener_ = std::move(listener);
    return true;
}

void InputEventsXInput2::stopListeningIfIdle() {
    std::unique_ptr<Listener> stopping;
    {
        std::lock_guard lock(mutex_);
        if (registrations_.empty()) stopping = std::move(listener_);
    }
}

std::optional<InputEventsXInput2::Source> InputEventsXInput2::activeSource() const {
    return listener_ ? std::optional(listener_->source) : std::nullopt;
}

InputEvents::Token InputEventsXInput2::add(NSEventMask mask, Handler handler, bool isTap) {
    auto registration = std::make_shared<Registration>(Registration{mask, std::move(handler), isTap});
    std::lock_guard lock(mutex_);
    registrations_.push_back(registration);
    return registration;
}

InputEvents::Token InputEventsXInput2::addGlobalMonitorForEvents(NSEventMask mask, Handler handler) {
    if (!ensureListening()) return nullptr;
    return add(mask, std::move(handler), false);
}

InputEvents::Token InputEventsXInput2::addLocalMonitorForEvents(NSEventMask, Handler) {
    return nullptr;
}

void InputEventsXInput2::removeMonitor(const Token& token) {
    {
        std::lock_guard lock(mutex_);
        std::erase_if(registrations_, [&](const auto& r) { return r == token; });
    }
    stopListeningIfIdle();
}

InputEvents::Token InputEventsXInput2::createKeyEventTap(Handler handler) {
    if (!ensureListening()) return nullptr;
    if (listener_->source != Source::xinput2) {
        stopListeningIfIdle();
        return nullptr;
    }
    return add(maskOf(NSEventType::keyDown) | maskOf(NSEventType::flagsChanged), std::move(handler), true);
}

void InputEventsXInput2::deliver(const NSEvent& event) {
    // Secure input may have come on while the event was on its way.
    if (isKeyType(event.type) && IsSecureEventInputEnabled()) return;
    std::vector<std::shared_ptr<Registration>> registrations;
    {
        std::lock_guard lock(mutex_);
        registrations = registrations_;
    }
    for (const auto& registration : registrations)
        if (registration->mask & maskOf(event.type)) registration->handler(event);
}

CGPoint InputEventsXInput2::mouseLocation() {
    // A connection of the main thread's own, kept: the listener may come and go.
    if (!queryConnection_ || xcb_connection_has_error(queryConnection_)) {
        if (queryConnection_) xcb_disconnect(queryConnection_);
        queryConnection_ = xcb_connect(nullptr, nullptr);
    }
    CGPoint root;
    if (!xcb_connection_has_error(queryConnection_)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(queryConnection_)).data;
        if (auto pointer = reply(xcb_query_pointer_reply(
                queryConnection_, xcb_query_pointer(queryConnection_, screen->root), nullptr)))
            root = CGPoint{static_cast<CGFloat>(pointer->root_x), static_cast<CGFloat>(pointer->root_y)};
    }
    return globalRectFromRootRect(CGRect(root, CGSize()), CGDisplayBounds(CGMainDisplayID())).origin;
}

} // namespace vantrel
