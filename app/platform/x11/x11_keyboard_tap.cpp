#include <QSocketNotifier>
#include <memory>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

// An active grab of the keyboard on the root window, made on a connection of its own: the
// server then reports every key to it instead of the focused window, and the focus does not
// move. Raw-key observers on Qt's connection still see the keys only because the grab is
// another client's; the server does not send a grabbing client raw events on its own root.
class X11KeyboardTap final : public KeyboardTap {
  public:
    ~X11KeyboardTap() override { stop(); }

    std::expected<void, std::string> start() override {
        if (connection_)
            return {};
        auto own = x11::openOwnConnection();
        if (!own)
            return std::unexpected(own.error());
        xcb_connection_t* c = own->connection;
        const x11::Owned<xcb_grab_keyboard_reply_t> reply(
            xcb_grab_keyboard_reply(c,
                                    xcb_grab_keyboard(c, 0, own->screen->root, XCB_CURRENT_TIME,
                                                      XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                    nullptr));
        if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS) {
            xcb_disconnect(c);
            if (!reply)
                return std::unexpected(std::string("the X server did not answer the grab"));
            return std::unexpected(std::string(reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED
                                                   ? "another client holds the keyboard"
                                                   : "the X server refused the keyboard grab"));
        }
        connection_ = c;
        notifier_ =
            std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
        QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { drain(); });
        // Events that came with the grab's reply are already queued and wake no notifier.
        drain();
        return {};
    }

    void stop() override {
        if (!connection_)
            return;
        notifier_.reset();
        // Closing the connection releases the grab.
        xcb_disconnect(connection_);
        connection_ = nullptr;
    }

  private:
    void drain() {
        while (connection_) {
            const x11::Owned<xcb_generic_event_t> event(xcb_poll_for_event(connection_));
            if (!event)
                break;
            if ((event->response_type & 0x7f) == XCB_KEY_PRESS && onKeyPress_)
                onKeyPress_();
        }
    }

    xcb_connection_t* connection_ = nullptr;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace

std::unique_ptr<KeyboardTap> createKeyboardTap() {
    if (!x11::qtConnection())
        return nullptr;
    return std::make_unique<X11KeyboardTap>();
}

}  // namespace scrawlet::platform
