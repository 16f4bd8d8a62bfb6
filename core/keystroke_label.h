// The caption the keystroke display shows for one key press: held modifiers as "Ctrl+", "Alt+",
// "Shift+", "Super+" (in that order), then the key's label. Special keys (Return, arrows,
// F1–F12, …) have fixed labels keyed by X keysym; other keys show the text they type without
// modifiers in the user's layout, upper-cased by the caller; dead keys show their accent. A key
// with none of these (modifiers alone, media keys, F13 and up) has no caption.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace scrawlet::core {

struct KeystrokeModifiers {
    bool control = false;
    bool alt = false;
    bool shift = false;
    bool super = false;
    bool operator==(const KeystrokeModifiers&) const = default;
};

// What the platform knows of a pressed key, before modifiers are applied.
struct KeystrokeKey {
    std::uint32_t keysym = 0;
    // UTF-8, the upper-case form of what the key types; empty when it types nothing.
    std::string text;
    bool operator==(const KeystrokeKey&) const = default;
};

std::optional<std::string_view> specialKeyLabel(std::uint32_t keysym);
std::string modifierPrefix(KeystrokeModifiers modifiers);
std::optional<std::string> keystrokeCaption(const KeystrokeKey& key, KeystrokeModifiers modifiers);

}  // namespace scrawlet::core
