#include "platform/capture/WindowOwnerXcb.h"

#include <cstdlib>
#include <memory>

namespace vantrel {

namespace {
template <typename Reply> std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
    return {reply, &std::free};
}
} // namespace

bool canAskWindowOwners(xcb_connection_t* c) {
    const xcb_query_extension_reply_t* res = xcb_get_extension_data(c, &xcb_res_id);
    if (!res || !res->present) return false;
    // Client IDs came with X-Resource 1.2.
    auto version = own(xcb_res_query_version_reply(c, xcb_res_query_version(c, 1, 2), nullptr));
    return version && (version->server_major > 1 || version->server_minor >= 2);
}

xcb_res_query_client_ids_cookie_t askWindowOwner(xcb_connection_t* c, xcb_window_t window) {
    const xcb_res_client_id_spec_t wanted{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return xcb_res_query_client_ids(c, 1, &wanted);
}

pid_t windowOwner(xcb_connection_t* c, xcb_res_query_client_ids_cookie_t cookie) {
    auto reply = own(xcb_res_query_client_ids_reply(c, cookie, nullptr));
    if (!reply) return 0;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem;
         xcb_res_client_id_value_next(&it)) {
        const auto& [client, length] = *it.data;
        if (!(client.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)) continue;
        if (xcb_res_client_id_value_value_length(it.data) < 1) continue;
        return static_cast<pid_t>(*xcb_res_client_id_value_value(it.data));
    }
    return 0;
}

} // namespace vantrel
