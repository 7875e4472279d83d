#pragma once
// Which button an application sees when a device reports one. Raw XInput2
// events carry the button as the device reported it; the server passes it
// through two maps before any window gets it: the device's own (`xinput
// set-button-map`) and then the core pointer's (`xmodmap -e "pointer = 3 2 1"`,
// the left-handed setting of every desktop). Both are read when the listener
// starts and again only when the server reports a change: MappingNotify for
// the core map, DeviceMappingNotify for a device's, and XInput2 hierarchy
// events for devices that come and go.

#include <cstdint>
#include <map>
#include <vector>
#include <xcb/xcb.h>

namespace vantrel {

class PointerMappingXInput2 {
public:
    /// Reads the maps on `connection` and asks for the events that report
    /// their changes on `root`. Call once, on the thread that reads the
    /// connection's events.
    void start(xcb_connection_t* connection, uint32_t root);

    /// The button applications see when device `sourceDevice` reports
    /// `button`: 1 is the left one; 0 when the maps turn it off.
    uint32_t logicalButton(uint16_t sourceDevice, uint32_t button) const;

    /// Reads a map again when `event` says it changed; true when the event
    /// was one of those (the caller has nothing more to do with it).
    bool handle(const xcb_generic_event_t* event);

private:
    void readCoreMap();
    void readDevices();

    xcb_connection_t* connection_ = nullptr;
    uint32_t root_ = 0;
    uint8_t xiOpcode_ = 0;
    uint8_t deviceMappingNotify_ = 0; // the event's type on this connection; 0 without XInput
    std::vector<uint8_t> coreMap_;
    std::map<uint16_t, std::vector<uint8_t>> deviceMaps_;
};

} // namespace vantrel
