// The keys a keyboard shortcut can name, and what each is on an X11 desktop.
//
// ChordKey is the unit of storage and matching for shortcuts: chord text names it by its raw
// value, and the platform layer maps it to and from native keys. The case list is closed on
// purpose; a key without a case (function keys, arrows, keypad) can neither be recorded nor
// matched. `named<E>` is the forgiving lookup used by chord text: exact raw value first, then
// the first case whose raw value matches ignoring ASCII case.
//
// On X11 a key is identified by its keysym, which the application turns into key codes through
// the current keyboard mapping. The table holds the keysym of each key's unshifted level (XK_a,
// not XK_A), so a key event must be looked up by its level-one keysym. The numbers are the fixed
// X11 protocol constants, kept here so that core/ needs no X11 header.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/enum_traits.h"

namespace scrawlet::core {

// `return` and `delete` are C++ keywords; their raw values are still "return" and "delete".
// clang-format off
enum class ChordKey {
    a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z,
    digit0, digit1, digit2, digit3, digit4, digit5, digit6, digit7, digit8, digit9,
    comma, period, slash, semicolon, quote, backslash, leftBracket, rightBracket, minus, equal,
    space, return_, tab, escape, delete_,
};

template <>
struct EnumTraits<ChordKey> {
    static constexpr std::array<std::string_view, 51> names{
        "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m",
        "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z",
        "0", "1", "2", "3", "4", "5", "6", "7", "8", "9",
        "comma", "period", "slash", "semicolon", "quote", "backslash", "leftBracket",
        "rightBracket", "minus", "equal",
        "space", "return", "tab", "escape", "delete",
    };
};
// clang-format on

// Exact raw value first; then the first case, in case order, that matches ignoring ASCII case.
template <class E>
constexpr std::optional<E> named(std::string_view text) {
    if (const auto exact = fromRawValue<E>(text)) {
        return exact;
    }
    const auto lower = [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    };
    for (const E value : allCases<E>()) {
        const std::string_view name = rawValue(value);
        if (name.size() != text.size()) {
            continue;
        }
        bool same = true;
        for (std::size_t i = 0; i < name.size() && same; ++i) {
            same = lower(name[i]) == lower(text[i]);
        }
        if (same) {
            return value;
        }
    }
    return std::nullopt;
}

struct X11Keysym {
    std::string_view name;  // as XStringToKeysym spells it, e.g. "bracketleft", "BackSpace"
    std::uint32_t value = 0;
    bool operator==(const X11Keysym&) const = default;
};

X11Keysym x11Keysym(ChordKey key);

// None for a keysym no ChordKey maps to, shifted letters (XK_A) included.
std::optional<ChordKey> chordKey(std::uint32_t x11KeysymValue);

// The key as Linux menus and labels show it: "A", "7", "[", "Space", "Return", "Backspace".
std::string_view displayName(ChordKey key);

}  // namespace scrawlet::core
