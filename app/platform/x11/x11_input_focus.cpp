#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {

bool ownWindowHasInputFocus() {
    const auto x = x11::qtConnection();
    if (!x)
        return false;
    xcb_connection_t* c = x->connection;
    const x11::Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    if (!reply || reply->focus == XCB_NONE || reply->focus == XCB_INPUT_FOCUS_POINTER_ROOT)
        return false;
    // Our windows carry our connection's resource-id base; the window manager's frame around
    // one of them does not, and the focus sits on the client window anyway.
    const xcb_setup_t* setup = xcb_get_setup(c);
    return (reply->focus & ~setup->resource_id_mask) == setup->resource_id_base;
}

}  // namespace scrawlet::platform
