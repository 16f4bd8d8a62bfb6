#include "app/platform/x11/x11_panel_areas.h"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>

namespace scrawlet::platform::x11 {
namespace {

constexpr std::uint32_t kLegacyStrutLength = 4;
constexpr std::uint32_t kPartialStrutLength = 12;
constexpr std::uint32_t kWorkAreaLength = 4;

}  // namespace

PanelAreas::PanelAreas(const XConnection& x) : x_(x) {
    const auto atoms =
        internAtoms(x.connection, {"_NET_WM_STRUT", "_NET_WM_STRUT_PARTIAL", "_NET_WORKAREA",
                                   "_NET_CLIENT_LIST", "_NET_CURRENT_DESKTOP"});
    atoms_ = {atoms[0], atoms[1], atoms[2], atoms[3], atoms[4]};
    const xcb_setup_t* setup = xcb_get_setup(x.connection);
    ownBase_ = setup->resource_id_base;
    ownMask_ = setup->resource_id_mask;
    // Structure of the root tells its size, its substructure the windows coming and going.
    if (const auto selected =
            selectRootEvents(x_, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                     XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
        !selected)
        qWarning("panels that come or go later are not followed: %s", selected.error().c_str());
    QCoreApplication::instance()->installNativeEventFilter(this);
    read();
}

PanelAreas::~PanelAreas() {
    if (auto* application = QCoreApplication::instance())
        application->removeNativeEventFilter(this);
}

bool PanelAreas::isOwn(xcb_window_t window) const {
    return (window & ~ownMask_) == ownBase_;
}

bool PanelAreas::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
        case XCB_PROPERTY_NOTIFY: {
            const auto* change = static_cast<const xcb_property_notify_event_t*>(message);
            const bool rootChange =
                change->window == x_.root &&
                (change->atom == atoms_.workArea || change->atom == atoms_.clientList ||
                 change->atom == atoms_.currentDesktop);
            if (rootChange || change->atom == atoms_.strut || change->atom == atoms_.strutPartial)
                scheduleReading();
            break;
        }
        case XCB_MAP_NOTIFY: {
            // Menus and tooltips bypass the window manager, which never honours their struts.
            const auto* map = static_cast<const xcb_map_notify_event_t*>(message);
            if (map->event == x_.root && !map->override_redirect)
                scheduleReading();
            break;
        }
        case XCB_UNMAP_NOTIFY: {
            const auto* unmap = static_cast<const xcb_unmap_notify_event_t*>(message);
            if (declaring_.contains(unmap->window))
                scheduleReading();
            break;
        }
        case XCB_DESTROY_NOTIFY: {
            const auto* destroy = static_cast<const xcb_destroy_notify_event_t*>(message);
            if (declaring_.contains(destroy->window))
                scheduleReading();
            break;
        }
        case XCB_CONFIGURE_NOTIFY: {
            // Right and bottom struts count from the root's far edges.
            const auto* configure = static_cast<const xcb_configure_notify_event_t*>(message);
            if (configure->window == x_.root)
                scheduleReading();
            break;
        }
        default:
            break;
    }
    return false;
}

void PanelAreas::scheduleReading() {
    if (scheduled_)
        return;
    scheduled_ = true;
    QTimer::singleShot(0, &context_, [this] {
        scheduled_ = false;
        read();
    });
}

// The root's children hold unmanaged docks and, under a reparenting window manager, frames;
// the client list holds the managed windows inside those frames.
std::vector<xcb_window_t> PanelAreas::candidates() {
    xcb_connection_t* c = x_.connection;
    const auto treeCookie = xcb_query_tree(c, x_.root);
    const auto listCookie = requestProperty(c, x_.root, atoms_.clientList, XCB_ATOM_WINDOW);
    std::vector<xcb_window_t> windows;
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, treeCookie, &error));
    std::free(error);
    if (tree) {
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        windows.assign(children, children + xcb_query_tree_children_length(tree.get()));
    }
    if (const auto list = getProperty(c, listCookie, XCB_ATOM_WINDOW, 32)) {
        const auto clients = propertyValues<xcb_window_t>(*list);
        windows.insert(windows.end(), clients.begin(), clients.end());
    }
    std::sort(windows.begin(), windows.end());
    windows.erase(std::unique(windows.begin(), windows.end()), windows.end());
    std::erase_if(windows, [this](xcb_window_t w) { return isOwn(w); });
    return windows;
}

std::vector<ScreenBox> PanelAreas::workAreaGaps(const ScreenBox& root) {
    xcb_connection_t* c = x_.connection;
    const auto desktopCookie =
        requestProperty(c, x_.root, atoms_.currentDesktop, XCB_ATOM_CARDINAL, 1);
    const auto areaCookie = requestProperty(c, x_.root, atoms_.workArea, XCB_ATOM_CARDINAL);
    const auto desktop = getProperty(c, desktopCookie, XCB_ATOM_CARDINAL, 32);
    const auto area = getProperty(c, areaCookie, XCB_ATOM_CARDINAL, 32);
    if (!area)
        return {};
    const auto values = propertyValues<std::uint32_t>(*area);
    std::size_t index = desktop ? propertyValues<std::uint32_t>(*desktop).front() : 0;
    if ((index + 1) * kWorkAreaLength > values.size())
        index = 0;
    if (values.size() < kWorkAreaLength)
        return {};
    const auto box = values.subspan(index * kWorkAreaLength, kWorkAreaLength);
    // Values beyond int are nonsense from another program; the clamp keeps them harmless.
    const auto toInt = [](std::uint32_t v) { return static_cast<int>(std::min(v, 1u << 30)); };
    return boxesOutside({toInt(box[0]), toInt(box[1]), toInt(box[2]), toInt(box[3])}, root);
}

void PanelAreas::read() {
    xcb_connection_t* c = x_.connection;
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, x_.root), &error));
    std::free(error);
    if (!geometry)
        return;
    const ScreenBox root{0, 0, geometry->width, geometry->height};
    const std::vector<xcb_window_t> windows = candidates();

    // One round trip for every window: send all requests, then collect the answers.
    struct Pending {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_property_cookie_t partial, legacy;
    };
    std::vector<Pending> pending;
    pending.reserve(windows.size());
    for (const xcb_window_t window : windows)
        pending.push_back(
            {xcb_get_window_attributes(c, window),
             requestProperty(c, window, atoms_.strutPartial, XCB_ATOM_CARDINAL,
                             kPartialStrutLength),
             requestProperty(c, window, atoms_.strut, XCB_ATOM_CARDINAL, kLegacyStrutLength)});
    std::vector<ScreenBox> areas;
    std::set<xcb_window_t> declaring;
    std::set<xcb_window_t> watched;
    std::vector<xcb_void_cookie_t> selections;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const Owned<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, pending[i].attributes, &error));
        std::free(error);
        error = nullptr;
        const auto partial = getProperty(c, pending[i].partial, XCB_ATOM_CARDINAL, 32);
        const auto legacy = getProperty(c, pending[i].legacy, XCB_ATOM_CARDINAL, 32);
        if (!attributes)
            continue;  // gone meanwhile
        const xcb_window_t window = windows[i];
        // Event masks are per client, so adding ours leaves the owner's untouched; the mask
        // this client may already have there (Qt's, for a tray host) is kept.
        if (watched_.contains(window) ||
            (attributes->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) {
            watched.insert(window);
        } else {
            const std::uint32_t mask = attributes->your_event_mask | XCB_EVENT_MASK_PROPERTY_CHANGE;
            selections.push_back(
                xcb_change_window_attributes_checked(c, window, XCB_CW_EVENT_MASK, &mask));
            watched.insert(window);
        }
        if (attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const auto& strut = partial ? partial : legacy;
        if (!strut)
            continue;
        const auto boxes = strutBoxes(propertyValues<std::uint32_t>(*strut), root);
        if (!boxes.empty())
            declaring.insert(window);
        areas.insert(areas.end(), boxes.begin(), boxes.end());
    }
    // A window may be destroyed before our selection reaches it; that is no failure.
    for (const auto cookie : selections) std::free(xcb_request_check(c, cookie));
    if (areas.empty())
        areas = workAreaGaps(root);
    watched_ = std::move(watched);
    declaring_ = std::move(declaring);
    if (areas != areas_) {
        areas_ = std::move(areas);
        if (onChange_)
            onChange_();
    }
}

}  // namespace scrawlet::platform::x11
