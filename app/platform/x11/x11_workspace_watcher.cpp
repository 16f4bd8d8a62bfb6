#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <optional>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

class X11WorkspaceWatcher final : public WorkspaceWatcher, private QAbstractNativeEventFilter {
  public:
    explicit X11WorkspaceWatcher(const x11::XConnection& x)
        : x_(x), currentDesktop_(x11::internAtom(x.connection, "_NET_CURRENT_DESKTOP")) {
        selectPropertyChanges();
        current_ = read();
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11WorkspaceWatcher() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
    }

  private:
    void selectPropertyChanges() {
        if (const auto selected = x11::selectRootEvents(x_, XCB_EVENT_MASK_PROPERTY_CHANGE);
            !selected)
            qWarning("workspace changes go unnoticed: %s", selected.error().c_str());
    }

    std::optional<std::uint32_t> read() {
        xcb_connection_t* c = x_.connection;
        const auto value = x11::getProperty(
            c, x11::requestProperty(c, x_.root, currentDesktop_, XCB_ATOM_CARDINAL, 1),
            XCB_ATOM_CARDINAL, 32);
        if (!value)
            return std::nullopt;
        return x11::propertyValues<std::uint32_t>(*value).front();
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        const auto* change = x11::asPropertyNotify(
            std::string_view(eventType.data(), static_cast<std::size_t>(eventType.size())),
            message);
        if (!change)
            return false;
        if (change->window != x_.root || change->atom != currentDesktop_ ||
            change->state != XCB_PROPERTY_NEW_VALUE)
            return false;
        // Window managers rewrite the property on unrelated occasions.
        const auto index = read();
        if (index && index != current_) {
            current_ = index;
            emit activeWorkspaceChanged(*index);
        }
        return false;
    }

    x11::XConnection x_;
    xcb_atom_t currentDesktop_;
    std::optional<std::uint32_t> current_;
};

}  // namespace

std::unique_ptr<WorkspaceWatcher> createWorkspaceWatcher() {
    return x11::makeOnQtConnection<WorkspaceWatcher, X11WorkspaceWatcher>();
}

}  // namespace scrawlet::platform
