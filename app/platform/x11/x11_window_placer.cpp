#include <xcb/shape.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QPlatformSurfaceEvent>
#include <QPointer>
#include <QTimer>
#include <QWindow>
#include <optional>
#include <vector>

#include "app/platform/platform_services.h"
#include "app/platform/x11/strut_geometry.h"
#include "app/platform/x11/x11_panel_areas.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;
// _NET_WM_STATE client-message actions.
constexpr std::uint32_t kStateRemove = 0;
constexpr std::uint32_t kStateAdd = 1;

struct Atoms {
    xcb_atom_t state, sticky, skipTaskbar, skipPager, desktop, currentDesktop;
};

struct Context {
    x11::XConnection x;
    Atoms atoms;
    bool hasShape;
};

// The window's box in root coordinates as the server has it now; a window manager's frame
// makes Qt's idea of the position unreliable.
std::optional<x11::ScreenBox> rootBox(xcb_connection_t* c, xcb_window_t window, xcb_window_t root) {
    const auto geometryCookie = xcb_get_geometry(c, window);
    const auto originCookie = xcb_translate_coordinates(c, window, root, 0, 0);
    xcb_generic_error_t* error = nullptr;
    const x11::Owned<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, geometryCookie, &error));
    std::free(error);
    error = nullptr;
    const x11::Owned<xcb_translate_coordinates_reply_t> origin(
        xcb_translate_coordinates_reply(c, originCookie, &error));
    std::free(error);
    if (!geometry || !origin)
        return std::nullopt;
    return x11::ScreenBox{origin->dst_x, origin->dst_y, geometry->width, geometry->height};
}

// What of the window takes input, in its own coordinates, or nothing for all of it.
std::optional<std::vector<xcb_rectangle_t>> inputRectangles(const Context& context,
                                                            xcb_window_t window,
                                                            const x11::PanelAreas& panels) {
    if (panels.areas().empty())
        return std::nullopt;
    const auto box = rootBox(context.x.connection, window, context.x.root);
    if (!box)
        return std::nullopt;
    const auto pieces = x11::subtractBoxes(*box, panels.areas());
    if (pieces.size() == 1 && pieces.front() == *box)
        return std::nullopt;
    std::vector<xcb_rectangle_t> rectangles;
    for (const x11::ScreenBox& piece : pieces)
        rectangles.push_back({static_cast<std::int16_t>(piece.x - box->x),
                              static_cast<std::int16_t>(piece.y - box->y),
                              static_cast<std::uint16_t>(piece.width),
                              static_cast<std::uint16_t>(piece.height)});
    return rectangles;
}

std::expected<void, std::string> setInputRegion(const Context& context, xcb_window_t window,
                                                bool transparent, const x11::PanelAreas* panels) {
    if (!context.hasShape)
        return std::unexpected(std::string("the X server lacks the SHAPE extension"));
    xcb_connection_t* c = context.x.connection;
    // An empty input region lets every pointer event through to what lies below. Restoring
    // means removing the region, not setting one of today's size as Qt's
    // WindowTransparentForInput does: a window that grows later would stay click-through
    // outside its old bounds (seen under Xvfb with xcompmgr).
    std::optional<std::vector<xcb_rectangle_t>> rectangles;
    if (transparent)
        rectangles.emplace();
    else if (panels)
        rectangles = inputRectangles(context, window, *panels);
    const auto cookie =
        rectangles
            ? xcb_shape_rectangles_checked(
                  c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window, 0, 0,
                  static_cast<std::uint32_t>(rectangles->size()), rectangles->data())
            : xcb_shape_mask_checked(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, window, 0, 0,
                                     XCB_PIXMAP_NONE);
    return x11::check(c, cookie, "setting the input region");
}

std::uint32_t currentDesktop(const Context& context) {
    xcb_connection_t* c = context.x.connection;
    const auto value = x11::getProperty(
        c,
        x11::requestProperty(c, context.x.root, context.atoms.currentDesktop, XCB_ATOM_CARDINAL, 1),
        XCB_ATOM_CARDINAL, 32);
    return value ? x11::propertyValues<std::uint32_t>(*value).front() : 0;
}

// A withdrawn window's hints are its own properties; Qt merges its states into what it finds
// there when it maps the window, so ours survive the show.
std::expected<void, std::string> writeHints(const Context& context, xcb_window_t window,
                                            const WindowPlacement& placement) {
    xcb_connection_t* c = context.x.connection;
    const Atoms& a = context.atoms;
    std::vector<xcb_atom_t> states;
    if (const auto old = x11::getProperty(
            c, x11::requestProperty(c, window, a.state, XCB_ATOM_ATOM), XCB_ATOM_ATOM, 32)) {
        for (const xcb_atom_t state : x11::propertyValues<xcb_atom_t>(*old)) {
            if (state != a.sticky && state != a.skipTaskbar && state != a.skipPager)
                states.push_back(state);
        }
    }
    if (placement.joinsAllSpaces)
        states.push_back(a.sticky);
    if (placement.skipsTaskbar) {
        states.push_back(a.skipTaskbar);
        states.push_back(a.skipPager);
    }
    const auto stateCookie =
        xcb_change_property_checked(c, XCB_PROP_MODE_REPLACE, window, a.state, XCB_ATOM_ATOM, 32,
                                    static_cast<std::uint32_t>(states.size()), states.data());
    const auto desktopCookie =
        placement.joinsAllSpaces
            ? xcb_change_property_checked(c, XCB_PROP_MODE_REPLACE, window, a.desktop,
                                          XCB_ATOM_CARDINAL, 32, 1, &kAllDesktops)
            : xcb_delete_property_checked(c, window, a.desktop);
    if (auto written = x11::check(c, stateCookie, "writing _NET_WM_STATE"); !written)
        return written;
    return x11::check(c, desktopCookie, "writing _NET_WM_DESKTOP");
}

// A mapped window belongs to the window manager, which alone may change its hints.
void requestHints(const Context& context, xcb_window_t window, const WindowPlacement& placement) {
    const Atoms& a = context.atoms;
    const std::uint32_t desktop = placement.joinsAllSpaces ? kAllDesktops : currentDesktop(context);
    x11::sendToWindowManager(context.x, window, a.desktop, {desktop});
    x11::sendToWindowManager(context.x, window, a.state,
                             {placement.joinsAllSpaces ? kStateAdd : kStateRemove, a.sticky});
    x11::sendToWindowManager(
        context.x, window, a.state,
        {placement.skipsTaskbar ? kStateAdd : kStateRemove, a.skipTaskbar, a.skipPager});
    xcb_flush(context.x.connection);
}

std::expected<void, std::string> applyToNativeWindow(const Context& context, QWindow& window,
                                                     const WindowPlacement& placement,
                                                     const x11::PanelAreas* panels) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    if (x11::isMapped(context.x.connection, id))
        requestHints(context, id, placement);
    else if (auto written = writeHints(context, id, placement); !written)
        return written;
    return setInputRegion(context, id, placement.transparentForInput, panels);
}

// Rides on the window as a child object, so the placement lives and dies with it.
class PlacementKeeper final : public QObject {
  public:
    PlacementKeeper(QWindow& window, std::shared_ptr<const Context> context)
        : QObject(&window), window_(window), context_(std::move(context)) {
        window.installEventFilter(this);
        regionTimer_.setSingleShot(true);
        regionTimer_.setInterval(0);
        QObject::connect(&regionTimer_, &QTimer::timeout, this, [this] {
            if (const auto applied = applyRegion(); !applied)
                qWarning("window placement: %s", applied.error().c_str());
        });
    }

    WindowPlacement placement;
    // Set while the placement yields to panels.
    std::shared_ptr<const x11::PanelAreas> panels;

    std::expected<void, std::string> apply() {
        return applyToNativeWindow(*context_, window_, placement, panels.get());
    }

    std::expected<void, std::string> applyRegion() {
        return setInputRegion(*context_, static_cast<xcb_window_t>(window_.winId()),
                              placement.transparentForInput, panels.get());
    }

  private:
    bool eventFilter(QObject*, QEvent* event) override {
        // Qt sends Show before it maps the window, and SurfaceCreated when a new native window
        // replaced the old one with none of its properties.
        const bool reapply = event->type() == QEvent::Show ||
                             (event->type() == QEvent::PlatformSurface &&
                              static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
                                  QPlatformSurfaceEvent::SurfaceCreated);
        if (reapply) {
            if (const auto applied = apply(); !applied)
                qWarning("window placement: %s", applied.error().c_str());
        } else if (panels && (event->type() == QEvent::Move || event->type() == QEvent::Resize) &&
                   !regionTimer_.isActive()) {
            // The reserved areas are fixed on the screen, so the part of the window they cover
            // changes as it moves; a move and a resize together cost one new region.
            regionTimer_.start();
        }
        return false;
    }

    QWindow& window_;
    std::shared_ptr<const Context> context_;
    QTimer regionTimer_;
};

// Not findChild: without Q_OBJECT, its cast would take any child (a timer, a GL context).
PlacementKeeper* keeperOf(QWindow& window) {
    for (QObject* child : window.children()) {
        if (auto* keeper = dynamic_cast<PlacementKeeper*>(child))
            return keeper;
    }
    return nullptr;
}

class X11WindowPlacer final : public WindowPlacer, private QAbstractNativeEventFilter {
  public:
    explicit X11WindowPlacer(const x11::XConnection& x) {
        const auto atoms = x11::internAtoms(
            x.connection, {"_NET_WM_STATE", "_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR",
                           "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_DESKTOP", "_NET_CURRENT_DESKTOP"});
        const auto* shape = xcb_get_extension_data(x.connection, &xcb_shape_id);
        context_ = std::make_shared<const Context>(Context{
            x,
            {atoms[0], atoms[1], atoms[2], atoms[3], atoms[4], atoms[5]},
            shape && shape->present,
        });
        restackTimer_.setSingleShot(true);
        restackTimer_.setInterval(0);
        QObject::connect(&restackTimer_, &QTimer::timeout, [this] { restack(); });
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11WindowPlacer() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        // The areas live on with the windows that still hold them, but stop calling here.
        if (panels_)
            panels_->setOnChange(nullptr);
    }

    std::expected<void, std::string> place(QWindow& window,
                                           const WindowPlacement& placement) override {
        window.setFlags(flagsForLevel(window.flags(), placement.level));
        if (!window.handle())
            window.create();
        auto* keeper = keeperOf(window);
        if (!keeper)
            keeper = new PlacementKeeper(window, context_);
        keeper->placement = placement;
        keeper->panels = placement.yieldsToPanels ? panelAreas() : nullptr;
        std::erase_if(yielding_, [&](const QPointer<QWindow>& w) { return !w || w == &window; });
        if (placement.yieldsToPanels)
            yielding_.emplace_back(&window);

        std::erase_if(raised_, [&](const QPointer<QWindow>& w) { return !w || w == &window; });
        if (placement.level >= kBypassWindowManagerLevel) {
            raised_.emplace_back(&window);
            watchRestacking();
            raise(window);
        }
        return keeper->apply();
    }

    std::expected<void, std::string> setTransparentForInput(QWindow& window,
                                                            bool transparent) override {
        auto* keeper = keeperOf(window);
        if (!keeper)
            return std::unexpected(std::string("the window was never placed"));
        keeper->placement.transparentForInput = transparent;
        return keeper->applyRegion();
    }

  private:
    // Made for the first window that yields to panels, so that no other use of the placer
    // watches every window on the screen.
    std::shared_ptr<const x11::PanelAreas> panelAreas() {
        if (!panels_) {
            panels_ = std::make_shared<x11::PanelAreas>(context_->x);
            panels_->setOnChange([this] { followPanels(); });
        }
        return panels_;
    }

    void followPanels() {
        std::erase_if(yielding_, [](const QPointer<QWindow>& w) { return !w; });
        for (const auto& window : yielding_) {
            auto* keeper = keeperOf(*window);
            if (!keeper || !window->handle())
                continue;
            if (const auto applied = keeper->applyRegion(); !applied)
                qWarning("window placement: %s", applied.error().c_str());
        }
    }

    void raise(QWindow& window) {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(context_->x.connection, static_cast<xcb_window_t>(window.winId()),
                             XCB_CONFIG_WINDOW_STACK_MODE, &above);
    }

    // Structure events of the root's children tell when another window comes up or moves in
    // the stack.
    void watchRestacking() {
        if (watching_)
            return;
        const auto selected =
            x11::selectRootEvents(context_->x, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
        watching_ = selected.has_value();
        if (!selected)
            qWarning("overlays are not raised again: %s", selected.error().c_str());
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (raised_.empty() || eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const std::uint8_t type = event->response_type & 0x7f;
        // Only managed windows count: override-redirect ones are menus, tooltips and other
        // overlays, and raising over those would start a fight with other such applications.
        if (type == XCB_MAP_NOTIFY) {
            const auto* map = static_cast<const xcb_map_notify_event_t*>(message);
            if (map->event == context_->x.root && !map->override_redirect)
                scheduleRestack();
        } else if (type == XCB_CONFIGURE_NOTIFY) {
            const auto* configure = static_cast<const xcb_configure_notify_event_t*>(message);
            if (configure->event == context_->x.root && !configure->override_redirect)
                scheduleRestack();
        }
        return false;
    }

    // A drag or a burst of maps raises ours once per event-loop turn, not once per event.
    void scheduleRestack() {
        if (!restackTimer_.isActive())
            restackTimer_.start();
    }

    void restack() {
        std::erase_if(raised_, [](const QPointer<QWindow>& w) { return !w; });
        for (const auto& window : raised_) {
            if (window->isVisible())
                raise(*window);
        }
        xcb_flush(context_->x.connection);
    }

    std::shared_ptr<const Context> context_;
    std::vector<QPointer<QWindow>> raised_;
    std::vector<QPointer<QWindow>> yielding_;
    std::shared_ptr<x11::PanelAreas> panels_;
    QTimer restackTimer_;
    bool watching_ = false;
};

}  // namespace

Qt::WindowFlags flagsForLevel(Qt::WindowFlags flags, long long level) {
    flags &= ~(Qt::BypassWindowManagerHint | Qt::WindowStaysOnTopHint);
    // Qt rewrites override-redirect from its flags whenever they change, so the flag, not a
    // direct attribute change, is what makes it last.
    if (level >= kBypassWindowManagerLevel)
        flags |= Qt::BypassWindowManagerHint;
    else if (level >= kAboveLevel)
        flags |= Qt::WindowStaysOnTopHint;
    return flags;
}

std::unique_ptr<WindowPlacer> createWindowPlacer() {
    return x11::makeOnQtConnection<WindowPlacer, X11WindowPlacer>();
}

}  // namespace scrawlet::platform
