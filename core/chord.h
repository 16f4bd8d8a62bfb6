// One keyboard shortcut: a set of modifier keys plus one key.
//
// Chords travel as text (catalogue defaults, settings overrides) and are parsed here into
// values for registration and matching. `parse` accepts any case, blanks around pieces, the
// modifier synonyms and modifiers in any order, and gives none for anything else; `specText`
// is the one canonical spelling, and parse(c.specText()) == c for every chord built from the
// four modifier members. `displayText` is the Linux form shown to users ("Ctrl+Shift+A").
//
// Modifiers keep their model names on every platform. On X11, `command` is Super (Mod4),
// `option` is Alt (Mod1), `control` is Control and `shift` is Shift; chord text keeps its
// grammar, so "ctrl" is always the Control key. Control is the primary modifier here, where
// other desktops use Command.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/chord_key.h"

namespace scrawlet::core {

struct Chord {
    // An option set over a signed 64-bit raw value; bits other than the four members have no
    // text form and are dropped by a round trip through text.
    struct Modifiers {
        std::int64_t rawValue = 0;

        static const Modifiers command;
        static const Modifiers shift;
        static const Modifiers option;
        static const Modifiers control;

        constexpr Modifiers() = default;
        constexpr explicit Modifiers(std::int64_t raw) : rawValue(raw) {}

        constexpr bool isEmpty() const { return rawValue == 0; }
        constexpr bool contains(Modifiers other) const {
            return (rawValue & other.rawValue) == other.rawValue;
        }
        constexpr Modifiers operator|(Modifiers other) const {
            return Modifiers(rawValue | other.rawValue);
        }
        constexpr Modifiers& operator|=(Modifiers other) {
            rawValue |= other.rawValue;
            return *this;
        }
        bool operator==(const Modifiers&) const = default;
    };

    Modifiers modifiers;
    ChordKey key = ChordKey::a;

    static std::optional<Chord> parse(std::string_view text);

    // Modifier words in the order "cmd", "shift", "opt", "control", then the key's raw value.
    std::string specText() const;

    // A bare key or shift plus a key would swallow ordinary typing if grabbed system-wide.
    constexpr bool isSafeGlobally() const;

    bool operator==(const Chord&) const = default;
};

inline constexpr Chord::Modifiers Chord::Modifiers::command{1};
inline constexpr Chord::Modifiers Chord::Modifiers::shift{2};
inline constexpr Chord::Modifiers Chord::Modifiers::option{4};
inline constexpr Chord::Modifiers Chord::Modifiers::control{8};

constexpr bool Chord::isSafeGlobally() const {
    return (modifiers.rawValue & ~Modifiers::shift.rawValue) != 0;
}

// The modifier that turns a typed key into a command while text is being entered.
inline constexpr Chord::Modifiers kPrimaryModifier = Chord::Modifiers::control;

// "Ctrl", "Alt", "Shift", "Super" as present, then the key's display name, joined by "+".
std::string displayText(const Chord& chord);

}  // namespace scrawlet::core

template <>
struct std::hash<scrawlet::core::Chord> {
    std::size_t operator()(const scrawlet::core::Chord& chord) const noexcept {
        const auto keyIndex = static_cast<std::size_t>(chord.key);
        return std::hash<std::int64_t>{}(chord.modifiers.rawValue) * 64 + keyIndex;
    }
};
