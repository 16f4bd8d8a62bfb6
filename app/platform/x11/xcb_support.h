// Shared pieces of the xcb implementations: Qt's X connection, reply and error ownership,
// atoms and properties. Main thread only, like the connection's Qt side.
#pragma once

#include <xcb/xcb.h>

#include <QImage>
#include <QPoint>
#include <QRect>
#include <cstdlib>
#include <expected>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace scrawlet::platform::x11 {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
// Replies, errors and events are malloc'd by xcb and owned by the caller.
template <typename T>
using Owned = std::unique_ptr<T, FreeDeleter>;

// Qt's connection and the screen it opened, or nothing when Qt does not run on xcb.
struct XConnection {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_NONE;
    int screenNumber = 0;
};
std::optional<XConnection> qtConnection();
// The display Qt connected to, for connections of our own beside Qt's; empty without one.
std::string qtDisplayName();

// A connection of our own to Qt's display, for work on a thread of its own, with the screen Qt
// uses; the caller disconnects. The error says why there is none.
struct OwnConnection {
    xcb_connection_t* connection = nullptr;
    const xcb_screen_t* screen = nullptr;
};
std::expected<OwnConnection, std::string> openOwnConnection();

// A private shared-memory segment (mode 0600) of `bytes` attached to the server and already
// marked for removal, so it goes with the last detach whatever happens to this process.
struct SharedSegment {
    std::uint32_t id = 0;  // the server's name for it
    unsigned char* address = nullptr;
    std::size_t bytes = 0;
};
std::expected<SharedSegment, std::string> attachSharedSegment(xcb_connection_t* c,
                                                              std::size_t bytes);
void detachSharedSegment(xcb_connection_t* c, const SharedSegment& segment);

// XInput's major opcode, once the server is known to send raw events to every client that asks
// for them (version 2.1 on); the error says what it lacks.
std::expected<std::uint8_t, std::string> rawInputOpcode(xcb_connection_t* c);

// A new pixmap on `root`'s screen holding `image`: 32 deep for a 32-bit image (its words
// 0xAARRGGBB), 8 deep for an alpha or grey one. A null image leaves the pixmap undefined.
xcb_pixmap_t uploadPixmap(xcb_connection_t* c, xcb_window_t root, const QImage& image);

// Where the pointer is on `root`'s screen, in the root's pixels; nothing when it is on another
// screen or the server did not answer.
std::optional<QPoint> queryPointer(xcb_connection_t* c, xcb_window_t root);

// A depth-32 TrueColor visual laid out as premultiplied ARGB32, as QImage hands it over; 0 when
// the server has none.
xcb_visualid_t argbVisual(const xcb_screen_t& screen);

// What an aid's windows need from their connection, made once.
struct AidWindowKit {
    xcb_visualid_t visual = 0;  // from argbVisual
    xcb_colormap_t colormap = XCB_NONE;
    xcb_atom_t pid = XCB_NONE, windowType = XCB_NONE, utility = XCB_NONE;
};
AidWindowKit aidWindowKit(xcb_connection_t* c, xcb_window_t root, xcb_visualid_t visual);

// An unmapped override-redirect ARGB window that never takes input and is known as ours (by
// process id and class), so capture leaves it out. Its background is `background`, or clear
// for XCB_NONE.
xcb_window_t createAidWindow(xcb_connection_t* c, xcb_window_t root, const AidWindowKit& kit,
                             QRect frame, xcb_pixmap_t background);

// An xcb implementation built on Qt's connection, or nothing when Qt does not run on xcb.
template <class Interface, class Implementation>
std::unique_ptr<Interface> makeOnQtConnection() {
    const auto x = qtConnection();
    if (!x)
        return nullptr;
    return std::make_unique<Implementation>(*x);
}

// Interned in one round trip; XCB_NONE where the server refused.
std::vector<xcb_atom_t> internAtoms(xcb_connection_t* c,
                                    std::initializer_list<std::string_view> names);
xcb_atom_t internAtom(xcb_connection_t* c, std::string_view name);

// A property's value, or nothing when the window lacks it, it has another type or format, or
// the window is gone. Errors are taken here so that they never reach Qt's error log.
Owned<xcb_get_property_reply_t> getProperty(xcb_connection_t* c, xcb_get_property_cookie_t cookie,
                                            xcb_atom_t type, std::uint8_t format);
xcb_get_property_cookie_t requestProperty(xcb_connection_t* c, xcb_window_t window,
                                          xcb_atom_t property,
                                          xcb_atom_t type = XCB_GET_PROPERTY_TYPE_ANY,
                                          std::uint32_t maxLength32 = 1024);
template <typename T>
std::span<const T> propertyValues(const xcb_get_property_reply_t& reply) {
    return {static_cast<const T*>(xcb_get_property_value(&reply)),
            static_cast<std::size_t>(xcb_get_property_value_length(&reply)) / sizeof(T)};
}

// Waits for a checked request; the error names `what` and the X error code.
std::expected<void, std::string> check(xcb_connection_t* c, xcb_void_cookie_t cookie,
                                       std::string_view what);

// Event masks are per client and Qt's connection already listens on the root, so `mask` is
// added to what Qt selected rather than replacing it.
std::expected<void, std::string> selectRootEvents(const XConnection& x, std::uint32_t mask);

// Adds `bits` to (or takes them from) the XInput 2 events selected on the root for the master
// devices. Selections are per client and window, and the key monitor, the pointer monitor and
// Qt share one connection: each changes only its own bits.
std::expected<void, std::string> selectRootXiEvents(const XConnection& x, std::uint32_t bits,
                                                    bool on, std::string_view what);

bool isMapped(xcb_connection_t* c, xcb_window_t window);

// The property change a native event filter was handed, or null for any other message.
inline const xcb_property_notify_event_t* asPropertyNotify(std::string_view eventType,
                                                           void* message) {
    if (eventType != "xcb_generic_event_t")
        return nullptr;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
        return nullptr;
    return static_cast<const xcb_property_notify_event_t*>(message);
}

// Asks the window manager for a change to a mapped window's state the way its hints
// convention requires (a client message to the root); unmanaged servers ignore it.
void sendToWindowManager(const XConnection& x, xcb_window_t window, xcb_atom_t type,
                         std::initializer_list<std::uint32_t> data);

}  // namespace scrawlet::platform::x11
