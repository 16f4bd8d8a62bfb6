// The lock is a selection named after the screen and the user, owned by an unmapped window of
// the run that holds it. The server frees a selection when its owner's connection closes, so a
// crashed run leaves nothing behind; a later launch reaches the holder through its window.
#include <unistd.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QTimer>
#include <cstring>
#include <iostream>
#include <string>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

class X11InstanceLock final : public InstanceLock, private QAbstractNativeEventFilter {
  public:
    X11InstanceLock(const x11::XConnection& x, xcb_window_t window, xcb_atom_t selection,
                    xcb_atom_t show)
        : x_(x), window_(window), selection_(selection), show_(show) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11InstanceLock() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        xcb_connection_t* c = x_.connection;
        if (xcb_connection_has_error(c))
            return;
        xcb_set_selection_owner(c, XCB_NONE, selection_, XCB_CURRENT_TIME);
        xcb_destroy_window(c, window_);
        // A launch right after this run ends must find the lock free, not still being freed.
        xcb_generic_error_t* error = nullptr;
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), &error));
        std::free(error);
    }

  private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
            return false;
        const auto* client = static_cast<const xcb_client_message_event_t*>(message);
        if (client->window != window_ || client->type != show_)
            return false;
        // Out of the event filter: showing windows from inside Qt's dispatch of an X event
        // re-enters it.
        QTimer::singleShot(0, this, [this] { emit showRequested(); });
        return true;
    }

    x11::XConnection x_;
    xcb_window_t window_;
    xcb_atom_t selection_;
    xcb_atom_t show_;
};

// Other clients wait while held, so looking for a holder and taking the lock is one step and
// two launches at once cannot both win.
class ServerGrab {
  public:
    explicit ServerGrab(xcb_connection_t* c) : c_(c) { xcb_grab_server(c); }
    ~ServerGrab() {
        xcb_ungrab_server(c_);
        xcb_flush(c_);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

  private:
    xcb_connection_t* c_;
};

InstanceClaim unguarded(const std::string& why) {
    std::cerr << "draw: cannot tell whether Scrawlet already runs here (" << why
              << "); starting anyway\n";
    return {};
}

bool askToShow(xcb_connection_t* c, xcb_window_t holder, xcb_atom_t show) {
    xcb_client_message_event_t event;
    std::memset(&event, 0, sizeof event);
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = holder;
    event.type = show;
    event.data.data32[0] = static_cast<std::uint32_t>(::getpid());
    // No event mask: the event goes to the client that made the window.
    return x11::check(c,
                      xcb_send_event_checked(c, 0, holder, XCB_EVENT_MASK_NO_EVENT,
                                             reinterpret_cast<const char*>(&event)),
                      "asking the running Scrawlet to show itself")
        .has_value();
}

}  // namespace

InstanceClaim claimInstance() {
    const auto x = x11::qtConnection();
    if (!x)
        return {};
    xcb_connection_t* c = x->connection;
    const std::string name =
        "_SCRAWLET_DRAW_S" + std::to_string(x->screenNumber) + "_U" + std::to_string(::getuid());
    const auto atoms = x11::internAtoms(c, {name, "_SCRAWLET_SHOW"});
    if (atoms[0] == XCB_NONE || atoms[1] == XCB_NONE)
        return unguarded("the X server refused to name the lock");
    const xcb_atom_t selection = atoms[0];
    const xcb_atom_t show = atoms[1];

    const xcb_window_t window = xcb_generate_id(c);
    {
        const ServerGrab grab(c);
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_get_selection_owner_reply_t> owner(
            xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), &error));
        std::free(error);
        if (!owner)
            return unguarded("the lock's holder could not be read");
        if (owner->owner != XCB_NONE) {
            askToShow(c, owner->owner, show);
            return {.heldElsewhere = true, .lock = nullptr};
        }
        const std::uint32_t overrideRedirect = 1;
        const auto created =
            x11::check(c,
                       xcb_create_window_checked(c, 0, window, x->root, -1, -1, 1, 1, 0,
                                                 XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                                                 XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect),
                       "making the lock's window");
        if (!created)
            return unguarded(created.error());
        xcb_set_selection_owner(c, window, selection, XCB_CURRENT_TIME);
    }
    xcb_generic_error_t* error = nullptr;
    const x11::Owned<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), &error));
    std::free(error);
    if (!owner || owner->owner != window) {
        xcb_destroy_window(c, window);
        return unguarded("the lock could not be taken");
    }
    return {.heldElsewhere = false,
            .lock = std::make_unique<X11InstanceLock>(*x, window, selection, show)};
}

}  // namespace scrawlet::platform
