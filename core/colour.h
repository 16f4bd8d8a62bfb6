// Straight (not premultiplied) 8-bit RGBA colour with its "#rrggbb[aa]" text form.
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>

#include "core/geometry.h"
#include "core/settings_error.h"

namespace scrawlet::core {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;

    // Exactly "#" and 6 or 8 hex digits, either case, nothing trimmed. Any failure is
    // malformedColour carrying the whole input.
    static std::expected<Colour, SettingsError> fromHex(std::string_view text);

    // Lower case; the alpha pair only when alpha is not 255.
    std::string hexString() const;

    bool operator==(const Colour&) const = default;
};

}  // namespace scrawlet::core

template <>
struct std::hash<scrawlet::core::Colour> {
    std::size_t operator()(const scrawlet::core::Colour& c) const noexcept {
        return scrawlet::core::hashFields(c.red, c.green, c.blue, c.alpha);
    }
};
