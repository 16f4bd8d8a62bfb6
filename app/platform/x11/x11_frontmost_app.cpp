#include <unistd.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QString>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

std::string text(const xcb_get_property_reply_t& reply) {
    const auto bytes = x11::propertyValues<char>(reply);
    return {bytes.begin(), bytes.end()};
}

// WM_CLASS holds the instance name, a NUL, the class name and a NUL.
std::string className(const xcb_get_property_reply_t& reply) {
    const std::string value = text(reply);
    const auto end = value.find('\0');
    if (end == std::string::npos)
        return {};
    const std::string rest = value.substr(end + 1);
    return rest.substr(0, rest.find('\0'));
}

// Follows _NET_ACTIVE_WINDOW on the root and the naming properties of the window it names
// through property-change events, so that the X server is asked only when something changed.
class X11FrontmostAppProvider final : public FrontmostAppProvider,
                                      private QAbstractNativeEventFilter {
  public:
    explicit X11FrontmostAppProvider(const x11::XConnection& x) : x_(x) {
        const auto atoms = x11::internAtoms(
            x.connection, {"_NET_ACTIVE_WINDOW", "_NET_WM_NAME", "UTF8_STRING", "_NET_WM_PID"});
        activeWindow_ = atoms[0];
        netWmName_ = atoms[1];
        utf8String_ = atoms[2];
        netWmPid_ = atoms[3];
        if (const auto selected = x11::selectRootEvents(x_, XCB_EVENT_MASK_PROPERTY_CHANGE);
            !selected)
            qWarning("the frontmost application goes unnoticed: %s", selected.error().c_str());
        follow(readActiveWindow());
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11FrontmostAppProvider() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        watch(XCB_NONE);
    }

    FrontmostApp frontmostApp() const override { return current_; }

  private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        const auto* change = x11::asPropertyNotify(
            std::string_view(eventType.data(), static_cast<std::size_t>(eventType.size())),
            message);
        if (!change)
            return false;
        if (change->window == x_.root && change->atom == activeWindow_) {
            follow(readActiveWindow());
        } else if (change->window == window_ && window_ != XCB_NONE &&
                   (change->atom == netWmName_ || change->atom == XCB_ATOM_WM_NAME ||
                    change->atom == XCB_ATOM_WM_CLASS || change->atom == netWmPid_)) {
            refresh();
        }
        return false;
    }

    xcb_window_t readActiveWindow() const {
        xcb_connection_t* c = x_.connection;
        const auto active =
            x11::getProperty(c, x11::requestProperty(c, x_.root, activeWindow_, XCB_ATOM_WINDOW, 1),
                             XCB_ATOM_WINDOW, 32);
        const auto values =
            active ? x11::propertyValues<xcb_window_t>(*active) : std::span<const xcb_window_t>{};
        return values.empty() ? XCB_NONE : values.front();
    }

    void follow(xcb_window_t window) {
        if (window != window_) {
            window_ = window;
            refresh();
            watch(current_.isOurs ? XCB_NONE : window);
        }
    }

    // Property changes of a foreign window reach us only when we ask. Our own windows are
    // left alone: their event masks are Qt's.
    void watch(xcb_window_t window) {
        if (watched_ != XCB_NONE && watched_ != window) {
            selectEvents(watched_, 0);
        }
        if (window != XCB_NONE && window != watched_) {
            selectEvents(window, XCB_EVENT_MASK_PROPERTY_CHANGE);
        }
        watched_ = window;
        xcb_flush(x_.connection);
    }

    // The window may be gone by now; its BadWindow is dropped here rather than reaching Qt's
    // error log.
    void selectEvents(xcb_window_t window, std::uint32_t mask) {
        const auto cookie =
            xcb_change_window_attributes_checked(x_.connection, window, XCB_CW_EVENT_MASK, &mask);
        xcb_discard_reply(x_.connection, cookie.sequence);
    }

    void refresh() {
        FrontmostApp app = window_ == XCB_NONE ? FrontmostApp{} : read(window_);
        if (app != current_) {
            current_ = std::move(app);
            changed(current_);
        }
    }

    FrontmostApp read(xcb_window_t window) const {
        xcb_connection_t* c = x_.connection;
        // One round trip for the four properties; a window that vanished meanwhile answers
        // each with an error, which reads as "nothing published".
        const auto classCookie =
            x11::requestProperty(c, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
        const auto netNameCookie = x11::requestProperty(c, window, netWmName_, utf8String_);
        const auto nameCookie = x11::requestProperty(c, window, XCB_ATOM_WM_NAME);
        const auto pidCookie = x11::requestProperty(c, window, netWmPid_, XCB_ATOM_CARDINAL, 1);
        const auto wmClass = x11::getProperty(c, classCookie, XCB_ATOM_STRING, 8);
        const auto netName = x11::getProperty(c, netNameCookie, utf8String_, 8);
        const auto name = x11::getProperty(c, nameCookie, XCB_GET_PROPERTY_TYPE_ANY, 8);
        const auto pid = x11::getProperty(c, pidCookie, XCB_ATOM_CARDINAL, 32);

        FrontmostApp app;
        if (wmClass)
            app.bundleId = className(*wmClass);
        if (netName)
            app.name = text(*netName);
        else if (name)
            app.name = name->type == utf8String_ ? text(*name) : latin1ToUtf8(text(*name));
        const auto pids =
            pid ? x11::propertyValues<std::uint32_t>(*pid) : std::span<const std::uint32_t>{};
        app.isOurs = !pids.empty() && pids.front() == static_cast<std::uint32_t>(getpid());
        return app;
    }

    // Plain WM_NAME is ISO Latin-1 (ICCCM); compound text shares its ASCII part.
    static std::string latin1ToUtf8(const std::string& latin1) {
        return QString::fromLatin1(latin1.data(), static_cast<qsizetype>(latin1.size()))
            .toStdString();
    }

    x11::XConnection x_;
    xcb_atom_t activeWindow_ = XCB_NONE;
    xcb_atom_t netWmName_ = XCB_NONE;
    xcb_atom_t utf8String_ = XCB_NONE;
    xcb_atom_t netWmPid_ = XCB_NONE;
    xcb_window_t window_ = XCB_NONE;
    xcb_window_t watched_ = XCB_NONE;
    FrontmostApp current_;
};

}  // namespace

std::unique_ptr<FrontmostAppProvider> createFrontmostAppProvider() {
    return x11::makeOnQtConnection<FrontmostAppProvider, X11FrontmostAppProvider>();
}

}  // namespace scrawlet::platform
