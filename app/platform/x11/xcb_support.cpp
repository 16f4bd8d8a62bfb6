#include "app/platform/x11/xcb_support.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xinput.h>

#include <QGuiApplication>
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

// After Qt's headers, which its macros would break.
#include <X11/Xlib.h>

namespace scrawlet::platform::x11 {

std::string qtDisplayName() {
    auto* native =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return native && native->display() ? XDisplayString(native->display()) : "";
}

std::expected<OwnConnection, std::string> openOwnConnection() {
    if (!qtConnection())
        return std::unexpected(std::string("there is no X display"));
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(qtDisplayName().c_str(), &screenNumber);
    if (xcb_connection_has_error(c)) {
        xcb_disconnect(c);
        return std::unexpected(std::string("cannot open a second connection to the X server"));
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem; ++i) xcb_screen_next(&screens);
    if (!screens.rem) {
        xcb_disconnect(c);
        return std::unexpected(std::string("the X server lacks the screen it was asked for"));
    }
    return OwnConnection{c, screens.data};
}

std::expected<SharedSegment, std::string> attachSharedSegment(xcb_connection_t* c,
                                                              std::size_t bytes) {
    const int id = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (id < 0)
        return std::unexpected(std::string("no shared memory: ") + std::strerror(errno));
    void* address = ::shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        const std::string why = std::string("no shared memory: ") + std::strerror(errno);
        ::shmctl(id, IPC_RMID, nullptr);
        return std::unexpected(why);
    }
    SharedSegment segment{xcb_generate_id(c), static_cast<unsigned char*>(address), bytes};
    const auto attached = check(c, xcb_shm_attach_checked(c, segment.id, std::uint32_t(id), 0),
                                "attaching shared memory");
    ::shmctl(id, IPC_RMID, nullptr);
    if (!attached) {
        ::shmdt(address);
        return std::unexpected(attached.error());
    }
    return segment;
}

void detachSharedSegment(xcb_connection_t* c, const SharedSegment& segment) {
    xcb_shm_detach(c, segment.id);
    xcb_flush(c);
    ::shmdt(segment.address);
}

std::expected<std::uint8_t, std::string> rawInputOpcode(xcb_connection_t* c) {
    const auto* extension = xcb_get_extension_data(c, &xcb_input_id);
    if (!extension || !extension->present)
        return std::unexpected(std::string("the X server lacks XInput"));
    const Owned<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!version || version->major_version < 2 ||
        (version->major_version == 2 && version->minor_version < 1))
        return std::unexpected(std::string("the X server lacks XInput 2.1"));
    return extension->major_opcode;
}

std::optional<QPoint> queryPointer(xcb_connection_t* c, xcb_window_t root) {
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, root), &error));
    std::free(error);
    if (!reply || !reply->same_screen)
        return std::nullopt;
    return QPoint(reply->root_x, reply->root_y);
}

xcb_visualid_t argbVisual(const xcb_screen_t& screen) {
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem;
         xcb_depth_next(&depths)) {
        if (depths.data->depth != 32)
            continue;
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem;
             xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& v = *visuals.data;
            if (v._class == XCB_VISUAL_CLASS_TRUE_COLOR && v.red_mask == 0xff0000 &&
                v.green_mask == 0xff00 && v.blue_mask == 0xff)
                return v.visual_id;
        }
    }
    return 0;
}

AidWindowKit aidWindowKit(xcb_connection_t* c, xcb_window_t root, xcb_visualid_t visual) {
    AidWindowKit kit;
    kit.visual = visual;
    kit.colormap = xcb_generate_id(c);
    xcb_create_colormap(c, XCB_COLORMAP_ALLOC_NONE, kit.colormap, root, visual);
    const auto atoms =
        internAtoms(c, {"_NET_WM_PID", "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_UTILITY"});
    kit.pid = atoms[0];
    kit.windowType = atoms[1];
    kit.utility = atoms[2];
    return kit;
}

xcb_window_t createAidWindow(xcb_connection_t* c, xcb_window_t root, const AidWindowKit& kit,
                             QRect frame, xcb_pixmap_t background) {
    const xcb_window_t window = xcb_generate_id(c);
    // The value list follows the mask's bit order: a background pixmap, or else a clear
    // background pixel, then the border, override-redirect and the colormap.
    const std::uint32_t values[] = {background, 0, 1, kit.colormap};
    const std::uint32_t backgroundBit =
        background != XCB_NONE ? XCB_CW_BACK_PIXMAP : XCB_CW_BACK_PIXEL;
    xcb_create_window(
        c, 32, window, root, std::int16_t(frame.x()), std::int16_t(frame.y()),
        std::uint16_t(std::max(1, frame.width())), std::uint16_t(std::max(1, frame.height())), 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, kit.visual,
        backgroundBit | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP, values);
    // No input region: every pointer event goes to what lies below.
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                         window, 0, 0, 0, nullptr);
    const auto pid = static_cast<std::uint32_t>(::getpid());
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, kit.pid, XCB_ATOM_CARDINAL, 32, 1, &pid);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, kit.windowType, XCB_ATOM_ATOM, 32, 1,
                        &kit.utility);
    static constexpr char kClass[] = "scrawlet\0Scrawlet";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof kClass, kClass);
    return window;
}

xcb_pixmap_t uploadPixmap(xcb_connection_t* c, xcb_window_t root, const QImage& image) {
    const bool alpha = image.depth() == 8;
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, alpha ? 8 : 32, pixmap, root,
                      std::uint16_t(std::clamp(image.width(), 1, 32767)),
                      std::uint16_t(std::clamp(image.height(), 1, 32767)));
    if (image.isNull())
        return pixmap;
    QImage pixels = image;
    const xcb_setup_t* setup = xcb_get_setup(c);
    if (!alpha && (setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST) !=
                      (std::endian::native == std::endian::little)) {
        for (int y = 0; y < pixels.height(); ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(pixels.scanLine(y));
            std::transform(row, row + pixels.width(), row,
                           [](std::uint32_t p) { return std::byteswap(p); });
        }
    }
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, 0, nullptr);
    // Rows in requests the server takes, with room for the header.
    const auto stride = static_cast<std::uint32_t>(pixels.bytesPerLine());
    const std::uint32_t maximum = xcb_get_maximum_request_length(c) * 4u - 64u;
    const int rows = std::max(1, static_cast<int>(maximum / stride));
    for (int y = 0; y < pixels.height(); y += rows) {
        const int count = std::min(rows, pixels.height() - y);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, std::uint16_t(pixels.width()),
                      std::uint16_t(count), 0, std::int16_t(y), 0, alpha ? 8 : 32,
                      stride * std::uint32_t(count), pixels.constScanLine(y));
    }
    xcb_free_gc(c, gc);
    return pixmap;
}

std::optional<XConnection> qtConnection() {
    auto* native =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* c = native ? native->connection() : nullptr;
    if (!c || xcb_connection_has_error(c))
        return std::nullopt;
    // Qt does not say which screen it opened; it is the one DISPLAY names, and servers of
    // today have a single screen whose monitors are RandR's.
    char* host = nullptr;
    int displayNumber = 0;
    int screenNumber = 0;
    if (xcb_parse_display(nullptr, &host, &displayNumber, &screenNumber))
        std::free(host);
    else
        screenNumber = 0;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    if (screenNumber >= screens.rem)
        screenNumber = 0;
    for (int i = 0; i < screenNumber; ++i) xcb_screen_next(&screens);
    return XConnection{c, screens.data->root, screenNumber};
}

std::vector<xcb_atom_t> internAtoms(xcb_connection_t* c,
                                    std::initializer_list<std::string_view> names) {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    cookies.reserve(names.size());
    for (const auto name : names)
        cookies.push_back(
            xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    std::vector<xcb_atom_t> atoms;
    atoms.reserve(names.size());
    for (const auto cookie : cookies) {
        xcb_generic_error_t* error = nullptr;
        const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c, cookie, &error));
        std::free(error);
        atoms.push_back(reply ? reply->atom : XCB_NONE);
    }
    return atoms;
}

xcb_atom_t internAtom(xcb_connection_t* c, std::string_view name) {
    return internAtoms(c, {name}).front();
}

xcb_get_property_cookie_t requestProperty(xcb_connection_t* c, xcb_window_t window,
                                          xcb_atom_t property, xcb_atom_t type,
                                          std::uint32_t maxLength32) {
    return xcb_get_property(c, 0, window, property, type, 0, maxLength32);
}

Owned<xcb_get_property_reply_t> getProperty(xcb_connection_t* c, xcb_get_property_cookie_t cookie,
                                            xcb_atom_t type, std::uint8_t format) {
    xcb_generic_error_t* error = nullptr;
    Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, &error));
    std::free(error);
    if (!reply || reply->format != format || reply->value_len == 0)
        return nullptr;
    if (type != XCB_GET_PROPERTY_TYPE_ANY && reply->type != type)
        return nullptr;
    return reply;
}

std::expected<void, std::string> check(xcb_connection_t* c, xcb_void_cookie_t cookie,
                                       std::string_view what) {
    const Owned<xcb_generic_error_t> error(xcb_request_check(c, cookie));
    if (!error)
        return {};
    return std::unexpected(std::string(what) + " failed (X error " +
                           std::to_string(error->error_code) + ")");
}

std::expected<void, std::string> selectRootEvents(const XConnection& x, std::uint32_t mask) {
    xcb_connection_t* c = x.connection;
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, x.root), &error));
    std::free(error);
    if (!attributes)
        return std::unexpected(std::string("reading the root's event mask failed"));
    const std::uint32_t combined = attributes->your_event_mask | mask;
    return check(c, xcb_change_window_attributes_checked(c, x.root, XCB_CW_EVENT_MASK, &combined),
                 "selecting events on the root");
}

std::expected<void, std::string> selectRootXiEvents(const XConnection& x, std::uint32_t bits,
                                                    bool on, std::string_view what) {
    xcb_connection_t* c = x.connection;
    std::uint32_t mask = 0;
    const Owned<xcb_input_xi_get_selected_events_reply_t> selected(
        xcb_input_xi_get_selected_events_reply(c, xcb_input_xi_get_selected_events(c, x.root),
                                               nullptr));
    if (selected) {
        auto masks = xcb_input_xi_get_selected_events_masks_iterator(selected.get());
        for (; masks.rem; xcb_input_event_mask_next(&masks)) {
            if (masks.data->deviceid == XCB_INPUT_DEVICE_ALL_MASTER && masks.data->mask_len)
                mask = xcb_input_event_mask_mask(masks.data)[0];
        }
    }
    mask = on ? mask | bits : mask & ~bits;
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t bits;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
    return check(c, xcb_input_xi_select_events_checked(c, x.root, 1, &selection.head), what);
}

bool isMapped(xcb_connection_t* c, xcb_window_t window) {
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), &error));
    std::free(error);
    return attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED;
}

void sendToWindowManager(const XConnection& x, xcb_window_t window, xcb_atom_t type,
                         std::initializer_list<std::uint32_t> data) {
    xcb_client_message_event_t event;
    std::memset(&event, 0, sizeof event);
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::size_t i = 0;
    for (const auto value : data) event.data.data32[i++] = value;
    xcb_send_event(x.connection, 0, x.root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
}

}  // namespace scrawlet::platform::x11
