#include <xcb/xcb.h>

#include <QGuiApplication>

#include "app/platform/platform_services.h"

namespace scrawlet::platform {

bool displayReachable(const std::string& name) {
    int screen = 0;
    xcb_connection_t* connection = xcb_connect(name.c_str(), &screen);
    const xcb_setup_t* setup =
        xcb_connection_has_error(connection) ? nullptr : xcb_get_setup(connection);
    const bool usable = setup && screen >= 0 && screen < xcb_setup_roots_length(setup);
    // Returned even on failure, and must be released either way.
    xcb_disconnect(connection);
    return usable;
}

bool displayConnectionLost() {
    auto* native =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* connection = native ? native->connection() : nullptr;
    return connection && xcb_connection_has_error(connection) != 0;
}

}  // namespace scrawlet::platform
