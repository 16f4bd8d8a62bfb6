#include <unistd.h>

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

class X11FrontmostAppProvider final : public FrontmostAppProvider {
  public:
    explicit X11FrontmostAppProvider(const x11::XConnection& x) : x_(x) {
        const auto atoms = x11::internAtoms(
            x.connection, {"_NET_ACTIVE_WINDOW", "_NET_WM_NAME", "UTF8_STRING", "_NET_WM_PID"});
        activeWindow_ = atoms[0];
        netWmName_ = atoms[1];
        utf8String_ = atoms[2];
        netWmPid_ = atoms[3];
    }

    FrontmostApp frontmostApp() override {
        xcb_connection_t* c = x_.connection;
        const auto active =
            x11::getProperty(c, x11::requestProperty(c, x_.root, activeWindow_, XCB_ATOM_WINDOW, 1),
                             XCB_ATOM_WINDOW, 32);
        if (!active)
            return {};
        const xcb_window_t window = x11::propertyValues<xcb_window_t>(*active).front();
        if (window == XCB_NONE)
            return {};

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
        app.isOurs = pid && x11::propertyValues<std::uint32_t>(*pid).front() ==
                                static_cast<std::uint32_t>(getpid());
        return app;
    }

  private:
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
};

}  // namespace

std::unique_ptr<FrontmostAppProvider> createFrontmostAppProvider() {
    return x11::makeOnQtConnection<FrontmostAppProvider, X11FrontmostAppProvider>();
}

}  // namespace scrawlet::platform
