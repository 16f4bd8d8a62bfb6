#include <xcb/xinput.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QTimer>
#include <optional>

#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"
#include "app/platform/x11/xcb_xkb.h"
#include "app/platform/x11/xkb_keyboard.h"

namespace scrawlet::platform {
namespace {

constexpr std::uint32_t kRawKeyPressMask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS;
constexpr std::uint16_t kKeyboardEvents = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY |
                                          XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                          XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
constexpr std::uint16_t kMapParts =
    XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP |
    XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS |
    XCB_XKB_MAP_PART_VIRTUAL_MODS | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

class X11KeyMonitor final : public KeyMonitor, private QAbstractNativeEventFilter {
  public:
    explicit X11KeyMonitor(const x11::XConnection& x) : x_(x) {}

    ~X11KeyMonitor() override { stop(); }

    std::expected<void, std::string> start() override {
        if (started_)
            return {};
        if (auto ready = setUp(); !ready)
            return ready;
        if (auto selected = selectRawKeys(true); !selected)
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
        if (const auto released = selectRawKeys(false); !released)
            qWarning("key monitor: %s", released.error().c_str());
    }

  private:
    std::expected<void, std::string> setUp() {
        xcb_connection_t* c = x_.connection;
        if (!xiOpcode_) {
            const auto opcode = x11::rawInputOpcode(c);
            if (!opcode)
                return std::unexpected(opcode.error());
            xiOpcode_ = *opcode;
        }
        if (!xkbEventBase_) {
            std::uint8_t eventBase = 0;
            if (!xkb_x11_setup_xkb_extension(
                    c, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &eventBase, nullptr))
                return std::unexpected(std::string("the X server lacks XKB"));
            xkbEventBase_ = eventBase;
            deviceId_ = xkb_x11_get_core_keyboard_device_id(c);
            if (deviceId_ < 0)
                return std::unexpected(std::string("the X server names no core keyboard"));
        }
        if (!loadKeyboard())
            return std::unexpected(std::string("the keyboard layout cannot be read"));
        // Qt's connection asks for these too; asking again changes nothing for it.
        return x11::check(c,
                          xcb_xkb_select_events_checked(
                              c, static_cast<xcb_xkb_device_spec_t>(deviceId_), kKeyboardEvents, 0,
                              kKeyboardEvents, kMapParts, kMapParts, nullptr),
                          "asking for keyboard state changes");
    }

    bool loadKeyboard() {
        xcb_connection_t* c = x_.connection;
        const std::unique_ptr<xkb_context, ContextDeleter> context(
            xkb_context_new(XKB_CONTEXT_NO_FLAGS));
        if (!context)
            return false;
        xkb_keymap* keymap = xkb_x11_keymap_new_from_device(context.get(), c, deviceId_,
                                                            XKB_KEYMAP_COMPILE_NO_FLAGS);
        if (!keymap)
            return false;
        xkb_state* state = xkb_x11_state_new_from_device(keymap, c, deviceId_);
        if (!state) {
            xkb_keymap_unref(keymap);
            return false;
        }
        keyboard_.emplace(keymap, state);
        // The new state starts from the server's, but the plain view needs one update.
        const xkb_mod_mask_t locked = xkb_state_serialize_mods(state, XKB_STATE_MODS_LOCKED);
        const xkb_mod_mask_t base = xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED);
        const xkb_mod_mask_t latched = xkb_state_serialize_mods(state, XKB_STATE_MODS_LATCHED);
        const auto group = [&](xkb_state_component component) {
            return static_cast<std::int32_t>(xkb_state_serialize_layout(state, component));
        };
        keyboard_->updateState(base, latched, locked, group(XKB_STATE_LAYOUT_DEPRESSED),
                               group(XKB_STATE_LAYOUT_LATCHED), group(XKB_STATE_LAYOUT_LOCKED));
        return true;
    }

    std::expected<void, std::string> selectRawKeys(bool on) {
        return x11::selectRootXiEvents(
            x_, kRawKeyPressMask, on,
            on ? "asking for raw key presses" : "giving up raw key presses");
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const std::uint8_t type = event->response_type & 0x7f;
        if (type == XCB_GE_GENERIC) {
            const auto* generic = static_cast<const xcb_ge_generic_event_t*>(message);
            if (generic->extension == xiOpcode_ && generic->event_type == XCB_INPUT_RAW_KEY_PRESS)
                rawKeyPress(*static_cast<const xcb_input_raw_key_press_event_t*>(message));
        } else if (xkbEventBase_ && type == *xkbEventBase_) {
            keyboardEvent(message);
        }
        return false;
    }

    void rawKeyPress(const xcb_input_raw_key_press_event_t& press) {
        // Other master keyboards (a second cursor's) are not the user's typing here.
        if (press.deviceid != deviceId_ || !keyboard_ || !onKeyPress_)
            return;
        onKeyPress_(
            KeyPress{keyboard_->key(press.detail), keyboard_->modifiers(), monotonicSeconds()});
    }

    void keyboardEvent(const void* message) {
        const auto* any = static_cast<const xcb_xkb_state_notify_event_t*>(message);
        if (any->deviceID != deviceId_)
            return;
        if (any->xkbType == XCB_XKB_STATE_NOTIFY) {
            if (keyboard_)
                keyboard_->updateState(any->baseMods, any->latchedMods, any->lockedMods,
                                       any->baseGroup, any->latchedGroup, any->lockedGroup);
        } else if (any->xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY ||
                   any->xkbType == XCB_XKB_MAP_NOTIFY) {
            scheduleReload();
        }
    }

    // One change of keyboard arrives as several notifications; the layout is read once.
    void scheduleReload() {
        if (reloadScheduled_)
            return;
        reloadScheduled_ = true;
        QTimer::singleShot(0, &context_, [this] {
            reloadScheduled_ = false;
            if (started_ && !loadKeyboard())
                qWarning("key monitor: the new keyboard layout cannot be read");
        });
    }

    x11::XConnection x_;
    std::uint8_t xiOpcode_ = 0;
    std::optional<std::uint8_t> xkbEventBase_;
    std::int32_t deviceId_ = -1;
    std::optional<x11::XkbKeyboard> keyboard_;
    bool started_ = false;
    bool reloadScheduled_ = false;
    // Cancels a reload still queued when the monitor goes.
    QObject context_;
};

}  // namespace

std::unique_ptr<KeyMonitor> createKeyMonitor() {
    return x11::makeOnQtConnection<KeyMonitor, X11KeyMonitor>();
}

}  // namespace scrawlet::platform
