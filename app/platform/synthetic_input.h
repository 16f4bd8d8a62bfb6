// Fake pointer and keyboard input injected into the display server, and pointer warps.
//
// Points are global, in Qt's device-independent coordinates (top-left origin, y down); they are
// converted to device pixels through the screen that holds them. Injection needs the server's
// test extension: without it every injecting call fails with `noExtension`, while warps and
// pointer queries still work. Main thread only.
#pragma once

#include <QPoint>
#include <Qt>
#include <cstdint>
#include <expected>
#include <optional>
#include <string_view>

namespace scrawlet::platform {

enum class InputFailure {
    noExtension,  // the server cannot inject input
    unmappedKey,  // no key of the current keyboard mapping produces the keysym
    rejected,     // the server refused the request
};

std::string_view describe(InputFailure failure);

class SyntheticInput {
  public:
    virtual ~SyntheticInput() = default;

    virtual bool canInject() const = 0;
    virtual std::expected<void, InputFailure> movePointer(QPoint global) = 0;
    virtual std::expected<void, InputFailure> setButton(Qt::MouseButton button, bool pressed) = 0;
    // `keysym` is an X keysym ("a" is 0x61, Return 0xff0d), resolved to a key code through the
    // keyboard mapping in force at the call. Modifiers are the caller's to press.
    virtual std::expected<void, InputFailure> setKey(std::uint32_t keysym, bool pressed) = 0;

    // Moves the pointer without generating input; the user's pointer is moved too.
    virtual std::expected<void, InputFailure> warpPointer(QPoint global) = 0;
    // Where the pointer is now, or nothing when the server does not answer.
    virtual std::optional<QPoint> pointerPosition() = 0;
};

}  // namespace scrawlet::platform
