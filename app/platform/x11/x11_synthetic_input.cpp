#include <xcb/xtest.h>

#include <QGuiApplication>
#include <QScreen>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {

namespace {

// Qt keeps each screen's top-left corner in device pixels and scales only distances from it.
QPoint toDevicePixels(QPoint global) {
    const QScreen* screen = QGuiApplication::screenAt(global);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return global;
    const QPoint origin = screen->geometry().topLeft();
    return origin + (QPointF(global - origin) * screen->devicePixelRatio()).toPoint();
}

QPoint fromDevicePixels(QPoint device) {
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect geometry = screen->geometry();
        const qreal ratio = screen->devicePixelRatio();
        if (QRect(geometry.topLeft(), (QSizeF(geometry.size()) * ratio).toSize()).contains(device))
            return geometry.topLeft() + (QPointF(device - geometry.topLeft()) / ratio).toPoint();
    }
    return device;
}

std::uint8_t buttonNumber(Qt::MouseButton button) {
    switch (button) {
        case Qt::MiddleButton:
            return 2;
        case Qt::RightButton:
            return 3;
        case Qt::BackButton:
            return 8;
        case Qt::ForwardButton:
            return 9;
        default:
            return 1;
    }
}

class X11SyntheticInput final : public SyntheticInput {
  public:
    explicit X11SyntheticInput(const x11::XConnection& x) : x_(x) {
        const auto* extension = xcb_get_extension_data(x.connection, &xcb_test_id);
        canInject_ = extension && extension->present;
    }

    bool canInject() const override { return canInject_; }

    std::expected<void, InputFailure> movePointer(QPoint global) override {
        const QPoint device = toDevicePixels(global);
        return fake(XCB_MOTION_NOTIFY, 0, static_cast<std::int16_t>(device.x()),
                    static_cast<std::int16_t>(device.y()));
    }

    std::expected<void, InputFailure> setButton(Qt::MouseButton button, bool pressed) override {
        return fake(pressed ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, buttonNumber(button));
    }

    std::expected<void, InputFailure> setKey(std::uint32_t keysym, bool pressed) override {
        if (!canInject_)
            return std::unexpected(InputFailure::noExtension);
        // NoSymbol fills the unused columns of every key; it names no key.
        const xcb_keycode_t keycode = keysym == 0 ? 0 : keycodeFor(keysym);
        if (keycode == 0)
            return std::unexpected(InputFailure::unmappedKey);
        return fake(pressed ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode);
    }

    std::expected<void, InputFailure> warpPointer(QPoint global) override {
        const QPoint device = toDevicePixels(global);
        const auto cookie = xcb_warp_pointer_checked(x_.connection, XCB_NONE, x_.root, 0, 0, 0, 0,
                                                     static_cast<std::int16_t>(device.x()),
                                                     static_cast<std::int16_t>(device.y()));
        if (!x11::check(x_.connection, cookie, "pointer warp"))
            return std::unexpected(InputFailure::rejected);
        return {};
    }

    std::optional<QPoint> pointerPosition() override {
        const auto pointer = x11::queryPointer(x_.connection, x_.root);
        if (!pointer)
            return std::nullopt;
        return fromDevicePixels(*pointer);
    }

  private:
    std::expected<void, InputFailure> fake(std::uint8_t type, std::uint8_t detail,
                                           std::int16_t x = 0, std::int16_t y = 0) {
        if (!canInject_)
            return std::unexpected(InputFailure::noExtension);
        const auto cookie = xcb_test_fake_input_checked(x_.connection, type, detail,
                                                        XCB_CURRENT_TIME, x_.root, x, y, 0);
        if (!x11::check(x_.connection, cookie, "fake input"))
            return std::unexpected(InputFailure::rejected);
        return {};
    }

    // Asked at every call so that a layout switched meanwhile is honoured. The unshifted column
    // wins over a shifted one, so "a" finds the key that types it without modifiers.
    xcb_keycode_t keycodeFor(std::uint32_t keysym) {
        const xcb_setup_t* setup = xcb_get_setup(x_.connection);
        const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
            x_.connection, xcb_get_keyboard_mapping(x_.connection, setup->min_keycode, count),
            &error));
        std::free(error);
        if (!mapping || mapping->keysyms_per_keycode == 0)
            return 0;
        const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
        const int perKey = mapping->keysyms_per_keycode;
        const int keys = xcb_get_keyboard_mapping_keysyms_length(mapping.get()) / perKey;
        for (int column = 0; column < perKey; ++column) {
            for (int key = 0; key < keys; ++key) {
                if (keysyms[key * perKey + column] == keysym)
                    return static_cast<xcb_keycode_t>(setup->min_keycode + key);
            }
        }
        return 0;
    }

    x11::XConnection x_;
    bool canInject_ = false;
};

}  // namespace

std::unique_ptr<SyntheticInput> createSyntheticInput() {
    return x11::makeOnQtConnection<SyntheticInput, X11SyntheticInput>();
}

}  // namespace scrawlet::platform
