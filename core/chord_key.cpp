#include "core/chord_key.h"

#include <cstddef>

namespace scrawlet::core {
namespace {

struct KeyRow {
    X11Keysym keysym;
    std::string_view displayName;
};

// In ChordKey case order; the values are XK_* of X11/keysymdef.h.
constexpr std::array<KeyRow, caseCount<ChordKey>()> kKeyRows{{
    {{"a", 0x61}, "A"},
    {{"b", 0x62}, "B"},
    {{"c", 0x63}, "C"},
    {{"d", 0x64}, "D"},
    {{"e", 0x65}, "E"},
    {{"f", 0x66}, "F"},
    {{"g", 0x67}, "G"},
    {{"h", 0x68}, "H"},
    {{"i", 0x69}, "I"},
    {{"j", 0x6a}, "J"},
    {{"k", 0x6b}, "K"},
    {{"l", 0x6c}, "L"},
    {{"m", 0x6d}, "M"},
    {{"n", 0x6e}, "N"},
    {{"o", 0x6f}, "O"},
    {{"p", 0x70}, "P"},
    {{"q", 0x71}, "Q"},
    {{"r", 0x72}, "R"},
    {{"s", 0x73}, "S"},
    {{"t", 0x74}, "T"},
    {{"u", 0x75}, "U"},
    {{"v", 0x76}, "V"},
    {{"w", 0x77}, "W"},
    {{"x", 0x78}, "X"},
    {{"y", 0x79}, "Y"},
    {{"z", 0x7a}, "Z"},
    {{"0", 0x30}, "0"},
    {{"1", 0x31}, "1"},
    {{"2", 0x32}, "2"},
    {{"3", 0x33}, "3"},
    {{"4", 0x34}, "4"},
    {{"5", 0x35}, "5"},
    {{"6", 0x36}, "6"},
    {{"7", 0x37}, "7"},
    {{"8", 0x38}, "8"},
    {{"9", 0x39}, "9"},
    {{"comma", 0x2c}, ","},
    {{"period", 0x2e}, "."},
    {{"slash", 0x2f}, "/"},
    {{"semicolon", 0x3b}, ";"},
    {{"apostrophe", 0x27}, "'"},
    {{"backslash", 0x5c}, "\\"},
    {{"bracketleft", 0x5b}, "["},
    {{"bracketright", 0x5d}, "]"},
    {{"minus", 0x2d}, "-"},
    {{"equal", 0x3d}, "="},
    {{"space", 0x20}, "Space"},
    {{"Return", 0xff0d}, "Return"},
    {{"Tab", 0xff09}, "Tab"},
    {{"Escape", 0xff1b}, "Esc"},
    // The key labelled Backspace on PC keyboards is the one the delete chord names.
    {{"BackSpace", 0xff08}, "Backspace"},
}};

const KeyRow& row(ChordKey key) {
    return kKeyRows[static_cast<std::size_t>(key)];
}

}  // namespace

X11Keysym x11Keysym(ChordKey key) {
    return row(key).keysym;
}

std::optional<ChordKey> chordKey(std::uint32_t x11KeysymValue) {
    // 51 rows: a scan beats building and hashing a reverse table.
    for (std::size_t i = 0; i < kKeyRows.size(); ++i) {
        if (kKeyRows[i].keysym.value == x11KeysymValue) {
            return static_cast<ChordKey>(i);
        }
    }
    return std::nullopt;
}

std::string_view displayName(ChordKey key) {
    return row(key).displayName;
}

}  // namespace scrawlet::core
