#include <xcb/xfixes.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <string>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

// The manager announces itself by owning this selection of its screen.
xcb_atom_t managerSelection(const x11::XConnection& x) {
    return x11::internAtom(x.connection, "_NET_WM_CM_S" + std::to_string(x.screenNumber));
}

bool selectionOwned(xcb_connection_t* c, xcb_atom_t selection) {
    if (selection == XCB_NONE)
        return false;
    xcb_generic_error_t* error = nullptr;
    const x11::Owned<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), &error));
    std::free(error);
    return owner && owner->owner != XCB_NONE;
}

class X11CompositingWatcher final : public CompositingWatcher, private QAbstractNativeEventFilter {
  public:
    X11CompositingWatcher(const x11::XConnection& x, xcb_atom_t selection, std::uint8_t notifyEvent)
        : x_(x), selection_(selection), notifyEvent_(notifyEvent) {
        // Selected before the first answer, so a manager that starts in between is not missed.
        // The mask replaces the one Qt set for its own tracking of this selection, so it keeps
        // every event Qt asks for.
        xcb_xfixes_select_selection_input(
            x.connection, x.root, selection,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        running_ = selectionOwned(x.connection, selection);
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11CompositingWatcher() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
    }

    bool running() const override { return running_; }

  private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != notifyEvent_)
            return false;
        const auto* notify = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
        if (notify->selection != selection_)
            return false;
        // A manager that replaces another reports the old owner's end and its own start;
        // the owner the server names now is the state.
        const bool running = notify->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER
                                 ? notify->owner != XCB_NONE
                                 : selectionOwned(x_.connection, selection_);
        if (running != running_) {
            running_ = running;
            emit runningChanged(running);
        }
        // Qt follows the same selection for its own purposes.
        return false;
    }

    x11::XConnection x_;
    xcb_atom_t selection_;
    std::uint8_t notifyEvent_;
    bool running_ = false;
};

}  // namespace

bool compositingManagerRunning() {
    const auto x = x11::qtConnection();
    return x && selectionOwned(x->connection, managerSelection(*x));
}

std::unique_ptr<CompositingWatcher> createCompositingWatcher() {
    const auto x = x11::qtConnection();
    if (!x)
        return nullptr;
    const xcb_query_extension_reply_t* xfixes =
        xcb_get_extension_data(x->connection, &xcb_xfixes_id);
    const xcb_atom_t selection = managerSelection(*x);
    if (!xfixes || !xfixes->present || selection == XCB_NONE)
        return nullptr;
    // Every client states the version it speaks before its first XFixes request.
    xcb_generic_error_t* error = nullptr;
    const x11::Owned<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        x->connection, xcb_xfixes_query_version(x->connection, 5, 0), &error));
    std::free(error);
    if (!version)
        return nullptr;
    return std::make_unique<X11CompositingWatcher>(
        *x, selection,
        static_cast<std::uint8_t>(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY));
}

}  // namespace scrawlet::platform
