#include <xcb/xinput.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

constexpr std::uint32_t kRawButtonPressMask = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;

class X11ClickMonitor final : public ClickMonitor, private QAbstractNativeEventFilter {
  public:
    explicit X11ClickMonitor(const x11::XConnection& x) : x_(x) {}
    ~X11ClickMonitor() override { stop(); }

    std::expected<void, std::string> start() override {
        if (started_)
            return {};
        const auto opcode = x11::rawInputOpcode(x_.connection);
        if (!opcode)
            return std::unexpected(opcode.error());
        xiOpcode_ = *opcode;
        if (auto selected = x11::selectRootXiEvents(x_, kRawButtonPressMask, true,
                                                    "asking for raw button presses");
            !selected)
            return selected;
        QCoreApplication::instance()->installNativeEventFilter(this);
        started_ = true;
        return {};
    }

    void stop() override {
        if (!started_)
            return;
        started_ = false;
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        if (const auto released = x11::selectRootXiEvents(x_, kRawButtonPressMask, false,
                                                          "giving up raw button presses");
            !released)
            qWarning("click monitor: %s", released.error().c_str());
    }

  private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if ((event->response_type & 0x7f) != XCB_GE_GENERIC)
            return false;
        const auto* generic = static_cast<const xcb_ge_generic_event_t*>(message);
        if (generic->extension != xiOpcode_ || generic->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
            return false;
        const auto* press = static_cast<const xcb_input_raw_button_press_event_t*>(message);
        // Wheel steps arrive as buttons 4 to 7; they are no clicks.
        if (onClick_ && (press->detail < 4 || press->detail > 7))
            onClick_(static_cast<int>(press->detail));
        return false;
    }

    x11::XConnection x_;
    std::uint8_t xiOpcode_ = 0;
    bool started_ = false;
};

}  // namespace

std::unique_ptr<ClickMonitor> createClickMonitor() {
    return x11::makeOnQtConnection<ClickMonitor, X11ClickMonitor>();
}

}  // namespace scrawlet::platform
