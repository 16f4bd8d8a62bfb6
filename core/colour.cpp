#include "core/colour.h"

#include <array>
#include <optional>

namespace scrawlet::core {
namespace {

std::optional<std::uint8_t> hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<std::uint8_t>(c - 'A' + 10);
    }
    return std::nullopt;
}

void appendPair(std::string& out, std::uint8_t value) {
    static constexpr char kDigits[] = "0123456789abcdef";
    out += kDigits[value >> 4];
    out += kDigits[value & 0x0f];
}

}  // namespace

std::expected<Colour, SettingsError> Colour::fromHex(std::string_view text) {
    const auto malformed = [&] {
        return std::unexpected(SettingsError{SettingsError::MalformedColour{std::string(text)}});
    };
    if (text.empty() || text.front() != '#') {
        return malformed();
    }
    const std::string_view digits = text.substr(1);
    if (digits.size() != 6 && digits.size() != 8) {
        return malformed();
    }
    std::array<std::uint8_t, 4> channels{0, 0, 0, 255};
    for (std::size_t pair = 0; pair * 2 < digits.size(); ++pair) {
        const auto high = hexDigit(digits[pair * 2]);
        const auto low = hexDigit(digits[pair * 2 + 1]);
        if (!high || !low) {
            return malformed();
        }
        channels[pair] = static_cast<std::uint8_t>(*high << 4 | *low);
    }
    return Colour{channels[0], channels[1], channels[2], channels[3]};
}

std::string Colour::hexString() const {
    std::string out = "#";
    out.reserve(9);
    appendPair(out, red);
    appendPair(out, green);
    appendPair(out, blue);
    if (alpha != 255) {
        appendPair(out, alpha);
    }
    return out;
}

}  // namespace scrawlet::core
