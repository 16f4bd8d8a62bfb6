#include <xcb/xinput.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

// Raw events: they reach us whatever window the pointer is over and whoever grabs it, and only
// while selected, so a still pointer or an unwatched monitor costs nothing.
class X11PointerMonitor final : public PointerMonitor, private QAbstractNativeEventFilter {
  public:
    explicit X11PointerMonitor(const x11::XConnection& x) : x_(x) {
        const xcb_query_extension_reply_t* extension =
            xcb_get_extension_data(x_.connection, &xcb_input_id);
        if (extension && extension->present)
            opcode_ = extension->major_opcode;
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11PointerMonitor() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        if (watching_)
            (void)select(false);
    }

    std::expected<void, std::string> setWatching(bool watching) override {
        if (watching == watching_)
            return {};
        if (opcode_ == 0)
            return std::unexpected(std::string("the X server lacks the XInput extension"));
        const auto selected = select(watching);
        if (selected)
            watching_ = watching;
        return selected;
    }

  private:
    // Master devices only: selecting every device would report each movement twice, once for
    // the physical device and once for the master pointer it drives.
    std::expected<void, std::string> select(bool on) {
        return x11::selectRootXiEvents(
            x_, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS, on,
            "selecting raw pointer events");
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        if (!watching_ || type != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != XCB_GE_GENERIC)
            return false;
        const auto* generic = static_cast<const xcb_ge_generic_event_t*>(message);
        if (generic->extension != opcode_)
            return false;
        if (generic->event_type == XCB_INPUT_RAW_MOTION) {
            if (onMotion_)
                onMotion_();
        } else if (generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
            const auto* press = static_cast<const xcb_input_raw_button_press_event_t*>(message);
            // Buttons 4 to 7 are the wheel's steps, not presses.
            if (onPress_ && (press->detail < 4 || press->detail > 7))
                onPress_(press->detail == 1   ? Button::left
                         : press->detail == 3 ? Button::right
                                              : Button::other);
        }
        // Qt may select raw events of its own; they travel on.
        return false;
    }

    x11::XConnection x_;
    std::uint8_t opcode_ = 0;
    bool watching_ = false;
};

}  // namespace

std::unique_ptr<PointerMonitor> createPointerMonitor() {
    return x11::makeOnQtConnection<PointerMonitor, X11PointerMonitor>();
}

}  // namespace scrawlet::platform
