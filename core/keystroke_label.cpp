#include "core/keystroke_label.h"

#include <algorithm>
#include <array>
#include <utility>

namespace scrawlet::core {
namespace {

constexpr std::uint32_t kF1 = 0xffbe;
constexpr std::uint32_t kF12 = 0xffc9;

constexpr std::array<std::pair<std::uint32_t, std::string_view>, 14> kSpecialKeys{{
    {0xff0d, "⏎"},      // Return
    {0xff09, "⇥"},      // Tab
    {0x0020, "Space"},  // space
    {0xff08, "⌫"},      // BackSpace
    {0xff1b, "⎋"},      // Escape
    {0xff8d, "⌤"},      // KP_Enter
    {0xff51, "←"},      // Left
    {0xff53, "→"},      // Right
    {0xff54, "↓"},      // Down
    {0xff52, "↑"},      // Up
    {0xff55, "⇞"},      // Prior
    {0xff56, "⇟"},      // Next
    {0xff50, "↖"},      // Home
    {0xff57, "↘"},      // End
}};

constexpr std::array<std::string_view, 12> kFunctionKeys{"F1", "F2", "F3", "F4",  "F5",  "F6",
                                                         "F7", "F8", "F9", "F10", "F11", "F12"};

// A dead key types nothing until the next key; its label is the accent it stands for.
constexpr std::array<std::pair<std::uint32_t, std::string_view>, 13> kDeadKeys{{
    {0xfe50, "`"},  // dead_grave
    {0xfe51, "´"},  // dead_acute
    {0xfe52, "^"},  // dead_circumflex
    {0xfe53, "~"},  // dead_tilde
    {0xfe54, "¯"},  // dead_macron
    {0xfe55, "˘"},  // dead_breve
    {0xfe56, "˙"},  // dead_abovedot
    {0xfe57, "¨"},  // dead_diaeresis
    {0xfe58, "°"},  // dead_abovering
    {0xfe59, "˝"},  // dead_doubleacute
    {0xfe5a, "ˇ"},  // dead_caron
    {0xfe5b, "¸"},  // dead_cedilla
    {0xfe5c, "˛"},  // dead_ogonek
}};

// The first code point of UTF-8 text; malformed text yields nothing.
std::optional<char32_t> firstCodePoint(std::string_view text) {
    if (text.empty())
        return std::nullopt;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    std::size_t length = lead < 0x80           ? 1
                         : (lead >> 5) == 0x6  ? 2
                         : (lead >> 4) == 0xe  ? 3
                         : (lead >> 3) == 0x1e ? 4
                                               : 0;
    if (length == 0 || text.size() < length)
        return std::nullopt;
    if (length == 1)
        return lead;
    char32_t value = lead & (0x7f >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return std::nullopt;
        value = (value << 6) | (byte(i) & 0x3f);
    }
    return value;
}

// Control characters (Delete, keypad keys typing nothing visible) and the private-use area,
// where some layouts put vendor keys.
bool printable(char32_t c) {
    const bool control = c < 0x20 || (c >= 0x7f && c < 0xa0);
    const bool privateUse = c >= 0xe000 && c <= 0xf8ff;
    return !control && !privateUse;
}

}  // namespace

std::optional<std::string_view> specialKeyLabel(std::uint32_t keysym) {
    if (keysym >= kF1 && keysym <= kF12)
        return kFunctionKeys[keysym - kF1];
    for (const auto& [sym, label] : kSpecialKeys) {
        if (sym == keysym)
            return label;
    }
    return std::nullopt;
}

std::string modifierPrefix(KeystrokeModifiers modifiers) {
    std::string prefix;
    if (modifiers.control)
        prefix += "Ctrl+";
    if (modifiers.alt)
        prefix += "Alt+";
    if (modifiers.shift)
        prefix += "Shift+";
    if (modifiers.super)
        prefix += "Super+";
    return prefix;
}

std::optional<std::string> keystrokeCaption(const KeystrokeKey& key, KeystrokeModifiers modifiers) {
    std::string_view label;
    if (const auto special = specialKeyLabel(key.keysym)) {
        label = *special;
    } else if (const auto dead = std::find_if(kDeadKeys.begin(), kDeadKeys.end(),
                                              [&](const auto& d) { return d.first == key.keysym; });
               dead != kDeadKeys.end()) {
        label = dead->second;
    } else {
        const auto first = firstCodePoint(key.text);
        if (!first || !printable(*first))
            return std::nullopt;
        label = key.text;
    }
    return modifierPrefix(modifiers) + std::string(label);
}

}  // namespace scrawlet::core
