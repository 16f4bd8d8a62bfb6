// A second X client on the test display, standing in for another application: it can take key
// grabs of its own and change the keyboard mapping as a layout switch does.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace scrawlet::e2e {

// Another application on the same display, holding grabs of its own.
class Rival {
  public:
    Rival() : c_(xcb_connect(nullptr, nullptr)) {
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
    }
    ~Rival() { xcb_disconnect(c_); }
    Rival(const Rival&) = delete;
    Rival& operator=(const Rival&) = delete;

    bool ok() const { return !xcb_connection_has_error(c_); }

    // Whether the server let this client take the combination.
    bool grab(std::uint32_t keysym, std::uint16_t modifiers) {
        const auto cookie = xcb_grab_key_checked(c_, 0, root_, modifiers, keycode(keysym),
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_generic_error_t* error = xcb_request_check(c_, cookie);
        std::free(error);
        return !error;
    }

    // The keysyms of one key, one per column.
    std::vector<xcb_keysym_t> row(xcb_keycode_t code) {
        xcb_get_keyboard_mapping_reply_t* mapping =
            xcb_get_keyboard_mapping_reply(c_, xcb_get_keyboard_mapping(c_, code, 1), nullptr);
        std::vector<xcb_keysym_t> keysyms;
        if (mapping) {
            const xcb_keysym_t* first = xcb_get_keyboard_mapping_keysyms(mapping);
            keysyms.assign(first, first + mapping->keysyms_per_keycode);
        }
        std::free(mapping);
        return keysyms;
    }

    // As a layout switch does; returns once the server has done it.
    void setRow(xcb_keycode_t code, const std::vector<xcb_keysym_t>& keysyms) {
        xcb_change_keyboard_mapping(c_, 1, code, static_cast<std::uint8_t>(keysyms.size()),
                                    keysyms.data());
        std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }

    // The first key that types nothing, or 0.
    xcb_keycode_t unusedKeycode() { return keycode(XCB_NO_SYMBOL); }

    xcb_keycode_t keycode(std::uint32_t keysym) {
        const xcb_setup_t* setup = xcb_get_setup(c_);
        const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        xcb_get_keyboard_mapping_reply_t* mapping = xcb_get_keyboard_mapping_reply(
            c_, xcb_get_keyboard_mapping(c_, setup->min_keycode, count), nullptr);
        xcb_keycode_t found = 0;
        if (mapping) {
            const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping);
            const int perKey = mapping->keysyms_per_keycode;
            for (int key = 0; key < count && !found; ++key)
                if (keysyms[key * perKey] == keysym)
                    found = static_cast<xcb_keycode_t>(setup->min_keycode + key);
        }
        std::free(mapping);
        return found;
    }

  private:
    xcb_connection_t* c_;
    xcb_window_t root_ = XCB_NONE;
};

}  // namespace scrawlet::e2e
