#pragma once
// One device's XInput 2 event selection as xi_select_events takes it: the
// mask header followed by its single word of event bits.

#include <cstdint>
#include <xcb/xinput.h>

namespace vantrel {

struct XInputEventMask {
    xcb_input_event_mask_t head;
    uint32_t bits;

    XInputEventMask(uint16_t device, uint32_t eventBits) : head{device, 1}, bits(eventBits) {}
};

} // namespace vantrel
