#pragma once
// Which process made an X window, as the X-Resource extension (1.2 and
// later) tells it: the PID of the client that created the window. The
// question and the answer are apart, so that many can share a round trip.

#include <sys/types.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

namespace vantrel {

/// True when the server can tell the owners of windows.
bool canAskWindowOwners(xcb_connection_t* connection);
xcb_res_query_client_ids_cookie_t askWindowOwner(xcb_connection_t* connection, xcb_window_t window);
/// 0 when the owner is unknown (the window is gone, or its client remote).
pid_t windowOwner(xcb_connection_t* connection, xcb_res_query_client_ids_cookie_t cookie);

} // namespace vantrel
