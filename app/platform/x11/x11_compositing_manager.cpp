#include <string>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {

bool compositingManagerRunning() {
    const auto x = x11::qtConnection();
    if (!x)
        return false;
    const xcb_atom_t selection =
        x11::internAtom(x->connection, "_NET_WM_CM_S" + std::to_string(x->screenNumber));
    if (selection == XCB_NONE)
        return false;
    xcb_generic_error_t* error = nullptr;
    const x11::Owned<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        x->connection, xcb_get_selection_owner(x->connection, selection), &error));
    std::free(error);
    return owner && owner->owner != XCB_NONE;
}

}  // namespace scrawlet::platform
