#include "platform/input/PointerMappingXInput2.h"

#include "platform/input/XInputEventMask.h"

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace vantrel {

namespace {

template <typename T> using Reply = std::unique_ptr<T, decltype(&free)>;
template <typename T> Reply<T> reply(T* raw) {
    return Reply<T>(raw, &free);
}

// A button past the end of a map is passed on unchanged, as the server does.
uint32_t mapped(const std::vector<uint8_t>& map, uint32_t button) {
    return button >= 1 && button <= map.size() ? map[button - 1] : button;
}

} // namespace

void PointerMappingXInput2::start(xcb_connection_t* connection, uint32_t root) {
    connection_ = connection;
    root_ = root;
    const xcb_query_extension_reply_t* xinput = xcb_get_extension_data(connection_, &xcb_input_id);
    if (xinput && xinput->present) {
        xiOpcode_ = xinput->major_opcode;
        // XInput 1 numbers a device's events from the extension's first one;
        // the server reports a map change as this one.
        deviceMappingNotify_ = static_cast<uint8_t>(xinput->first_event + XCB_INPUT_DEVICE_MAPPING_NOTIFY);
        // Devices that come and go: only selectable for all devices at once.
        XInputEventMask mask(XCB_INPUT_DEVICE_ALL, XCB_INPUT_XI_EVENT_MASK_HIERARCHY);
        xcb_input_xi_select_events(connection_, root_, 1, &mask.head);
        readDevices();
    }
    // MappingNotify reaches every client unasked.
    readCoreMap();
}

uint32_t PointerMappingXInput2::logicalButton(uint16_t sourceDevice, uint32_t button) const {
    // The device's map first, then the core pointer's: the server chains them so.
    const auto device = deviceMaps_.find(sourceDevice);
    if (device != deviceMaps_.end()) button = mapped(device->second, button);
    return button == 0 ? 0 : mapped(coreMap_, button);
}

bool PointerMappingXInput2::handle(const xcb_generic_event_t* event) {
    const uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        if (reinterpret_cast<const xcb_mapping_notify_event_t*>(event)->request == XCB_MAPPING_POINTER)
            readCoreMap();
        return true; // keyboard mappings come through XKB's own events

    }
    if (deviceMappingNotify_ != 0 && type == deviceMappingNotify_) {
        readDevices();
        return true;
    }
    if (type == XCB_GE_GENERIC) {
        auto* ge = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
        if (ge->extension == xiOpcode_ && ge->event_type == XCB_INPUT_HIERARCHY) {
            readDevices();
            return true;
        }
    }
    return false;
}

void PointerMappingXInput2::readCoreMap() {
    coreMap_.clear();
    auto map = reply(xcb_get_pointer_mapping_reply(connection_, xcb_get_pointer_mapping(connection_), nullptr));
    if (!map) return;
    const uint8_t* buttons = xcb_get_pointer_mapping_map(map.get());
    coreMap_.assign(buttons, buttons + xcb_get_pointer_mapping_map_length(map.get()));
}

void PointerMappingXInput2::readDevices() {
    deviceMaps_.clear();
    auto devices = reply(xcb_input_xi_query_device_reply(
        connection_, xcb_input_xi_query_device(connection_, XCB_INPUT_DEVICE_ALL), nullptr));
    if (!devices) return;
    std::vector<xcb_input_get_device_button_mapping_cookie_t> cookies;
    std::vector<uint16_t> ids;
    std::vector<xcb_input_event_class_t> classes;
    for (auto it = xcb_input_xi_query_device_infos_iterator(devices.get()); it.rem;
         xcb_input_xi_device_info_next(&it)) {
        if (it.data->type != XCB_INPUT_DEVICE_TYPE_SLAVE_POINTER) continue;
        const uint16_t id = it.data->deviceid;
        ids.push_back(id);
        // All maps asked for at once: one wait for the lot.
        cookies.push_back(xcb_input_get_device_button_mapping(connection_, static_cast<uint8_t>(id)));
        classes.push_back(static_cast<xcb_input_event_class_t>(id) << 8 | deviceMappingNotify_);
    }
    for (size_t i = 0; i < ids.size(); ++i) {
        auto map = reply(xcb_input_get_device_button_mapping_reply(connection_, cookies[i], nullptr));
        if (!map) continue; // a device without buttons
        const uint8_t* buttons = xcb_input_get_device_button_mapping_map(map.get());
        deviceMaps_[ids[i]].assign(buttons, buttons + xcb_input_get_device_button_mapping_map_length(map.get()));
    }
    // A device's map change is an XInput 1 event, selected device by device;
    // the list replaces the last one, so devices that went stop counting.
    xcb_input_select_extension_event(connection_, root_, static_cast<uint16_t>(classes.size()), classes.data());
}

} // namespace vantrel
