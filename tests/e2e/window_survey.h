// What one process shows on the test display: its mapped top-level windows, found by the
// process id Qt stamps on each, for tests that check a window is up or is not.
#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace scrawlet::e2e {

struct ShownWindow {
    xcb_window_t id = XCB_NONE;
    std::string title;
    int width = 0;
    int height = 0;
};

inline xcb_atom_t internAtom(xcb_connection_t* c, const char* name) {
    auto* reply = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t found = reply ? reply->atom : XCB_NONE;
    std::free(reply);
    return found;
}

inline std::vector<ShownWindow> shownWindowsOf(pid_t pid) {
    std::vector<ShownWindow> shown;
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return shown;
    }
    const auto atom = [c](const char* name) { return internAtom(c, name); };
    const xcb_atom_t pidAtom = atom("_NET_WM_PID");
    const xcb_atom_t utf8 = atom("UTF8_STRING");
    const xcb_atom_t nameAtom = atom("_NET_WM_NAME");
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr);
    const xcb_window_t* children = tree ? xcb_query_tree_children(tree) : nullptr;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree); ++i) {
        const xcb_window_t window = children[i];
        auto* owner = xcb_get_property_reply(
            c, xcb_get_property(c, 0, window, pidAtom, XCB_ATOM_CARDINAL, 0, 1), nullptr);
        const bool ours = owner && xcb_get_property_value_length(owner) == 4 &&
                          *static_cast<std::uint32_t*>(xcb_get_property_value(owner)) ==
                              static_cast<std::uint32_t>(pid);
        std::free(owner);
        auto* attributes =
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr);
        const bool mapped = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(attributes);
        if (!ours || !mapped)
            continue;
        ShownWindow entry;
        entry.id = window;
        if (auto* name = xcb_get_property_reply(
                c, xcb_get_property(c, 0, window, nameAtom, utf8, 0, 256), nullptr)) {
            entry.title.assign(static_cast<const char*>(xcb_get_property_value(name)),
                               static_cast<std::size_t>(xcb_get_property_value_length(name)));
            std::free(name);
        }
        if (auto* geometry = xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr)) {
            entry.width = geometry->width;
            entry.height = geometry->height;
            std::free(geometry);
        }
        shown.push_back(std::move(entry));
    }
    std::free(tree);
    xcb_disconnect(c);
    return shown;
}

// What a title bar's close button does: the WM_DELETE_WINDOW message of the ICCCM.
inline bool askToClose(xcb_window_t window) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return false;
    }
    const auto atom = [c](const char* name) { return internAtom(c, name); };
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_PROTOCOLS");
    message.data.data32[0] = atom("WM_DELETE_WINDOW");
    message.data.data32[1] = XCB_CURRENT_TIME;
    const auto cookie = xcb_send_event_checked(c, 0, window, XCB_EVENT_MASK_NO_EVENT,
                                               reinterpret_cast<const char*>(&message));
    xcb_generic_error_t* error = xcb_request_check(c, cookie);
    std::free(error);
    xcb_disconnect(c);
    return error == nullptr;
}

}  // namespace scrawlet::e2e
