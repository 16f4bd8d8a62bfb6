#include <xcb/shape.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QPlatformSurfaceEvent>
#include <QPointer>
#include <QTimer>
#include <QWindow>
#include <vector>

#include "app/platform/platform_services.h"
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

std::expected<void, std::string> setInputTransparent(const Context& context, xcb_window_t window,
                                                     bool transparent) {
    if (!context.hasShape)
        return std::unexpected(std::string("the X server lacks the SHAPE extension"));
    xcb_connection_t* c = context.x.connection;
    // An empty input region lets every pointer event through to what lies below. Restoring
    // means removing the region, not setting one of today's size as Qt's
    // WindowTransparentForInput does: a window that grows later would stay click-through
    // outside its old bounds (seen under Xvfb with xcompmgr).
    const auto cookie =
        transparent
            ? xcb_shape_rectangles_checked(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                                           XCB_CLIP_ORDERING_UNSORTED, window, 0, 0, 0, nullptr)
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
                                                     const WindowPlacement& placement) {
    const auto id = static_cast<xcb_window_t>(window.winId());
    if (x11::isMapped(context.x.connection, id))
        requestHints(context, id, placement);
    else if (auto written = writeHints(context, id, placement); !written)
        return written;
    return setInputTransparent(context, id, placement.transparentForInput);
}

// Rides on the window as a child object, so the placement lives and dies with it.
class PlacementKeeper final : public QObject {
  public:
    PlacementKeeper(QWindow& window, std::shared_ptr<const Context> context)
        : QObject(&window), window_(window), context_(std::move(context)) {
        window.installEventFilter(this);
    }

    WindowPlacement placement;

    std::expected<void, std::string> apply() {
        return applyToNativeWindow(*context_, window_, placement);
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
        }
        return false;
    }

    QWindow& window_;
    std::shared_ptr<const Context> context_;
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
        return setInputTransparent(*context_, static_cast<xcb_window_t>(window.winId()),
                                   transparent);
    }

  private:
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
