#include "core/chord.h"

#include <gtest/gtest.h>

#include <set>

namespace scrawlet::core {
namespace {

using M = Chord::Modifiers;

TEST(ChordGrammar, AcceptsCaseBlanksSynonymsAndAnyOrder) {
    struct Row {
        const char* text;
        M modifiers;
        ChordKey key;
    };
    const Row rows[] = {
        {"cmd+shift+A", M::command | M::shift, ChordKey::a},
        {"Shift + Command + a", M::command | M::shift, ChordKey::a},
        {"control+opt+option+RIGHTBRACKET", M::option | M::control, ChordKey::rightBracket},
        {"ctrl+alt+leftBracket", M::option | M::control, ChordKey::leftBracket},
        {"\tctrl\t+  a ", M::control, ChordKey::a},
        {"shift+shift+tab", M::shift, ChordKey::tab},
        {"cmd+1", M::command, ChordKey::digit1},
        {"+ctrl++q+", M::control, ChordKey::q},
        {"escape", M{}, ChordKey::escape},
        {"ctrl+Return", M::control, ChordKey::return_},
        {"alt+delete", M::option, ChordKey::delete_},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Chord::parse(row.text), (Chord{row.modifiers, row.key})) << row.text;
    }
}

TEST(ChordGrammar, RejectsTextsThatNameNoChord) {
    // "cmd++" reads as "cmd", which names no key; a blank piece is an empty word, not a
    // modifier; the last piece must be the key and every earlier one a modifier; only blanks
    // and tabs are trimmed; "super" is the X11 name, not a chord word.
    for (const char* text : {"", "+", "  ", "cmd++", "cmd+ ", "cmd+ +a", "cmd+F13", "hyper+a",
                             "super+a", "cmd+digit1", "a+cmd", "ctrl+a+b", "ctrl+a\n", "ctrl+\na",
                             "ctrl+plus", "ctrl+averyveryverylongkeyname"}) {
        EXPECT_FALSE(Chord::parse(text)) << '"' << text << '"';
    }
}

TEST(ChordSpecText, IsCanonicalAndRoundTripsEveryChord) {
    EXPECT_EQ(Chord::parse("Shift + Cmd + a")->specText(), "cmd+shift+a");
    EXPECT_EQ(Chord::parse("control+option+shift+command+space")->specText(),
              "cmd+shift+opt+control+space");
    EXPECT_EQ(Chord::parse("ESCAPE")->specText(), "escape");
    for (std::int64_t bits = 0; bits < 16; ++bits) {
        for (const ChordKey key : allCases<ChordKey>()) {
            const Chord chord{M(bits), key};
            EXPECT_EQ(Chord::parse(chord.specText()), chord) << chord.specText();
        }
    }
}

TEST(ChordSafety, NeedsAModifierOtherThanShift) {
    EXPECT_FALSE(Chord::parse("a")->isSafeGlobally());
    EXPECT_FALSE(Chord::parse("shift+a")->isSafeGlobally());
    for (const char* text : {"opt+a", "ctrl+a", "cmd+a", "shift+alt+a"}) {
        EXPECT_TRUE(Chord::parse(text)->isSafeGlobally()) << text;
    }
}

TEST(ChordDisplayText, UsesLinuxNamesInDesktopOrder) {
    const std::pair<const char*, const char*> rows[] = {
        {"CMD+SHIFT+Z", "Shift+Super+Z"},
        {"cmd+shift+opt+ctrl+escape", "Ctrl+Alt+Shift+Super+Esc"},
        {"ctrl+alt+space", "Ctrl+Alt+Space"},
        {"7", "7"},
        {"return", "Return"},
        {"delete", "Backspace"},
        {"ctrl+minus", "Ctrl+-"},
        {"quote", "'"},
        {"leftBracket", "["},
    };
    for (const auto& [text, shown] : rows) {
        EXPECT_EQ(displayText(*Chord::parse(text)), shown) << text;
    }
}

TEST(ChordX11, KeysymsAreDistinctReversibleAndUnshifted) {
    EXPECT_EQ(x11Keysym(ChordKey::a), (X11Keysym{"a", 0x61}));
    EXPECT_EQ(x11Keysym(ChordKey::leftBracket), (X11Keysym{"bracketleft", 0x5b}));
    EXPECT_EQ(x11Keysym(ChordKey::delete_), (X11Keysym{"BackSpace", 0xff08}));
    std::set<std::uint32_t> values;
    std::set<std::string_view> names;
    for (const ChordKey key : allCases<ChordKey>()) {
        values.insert(x11Keysym(key).value);
        names.insert(x11Keysym(key).name);
        EXPECT_EQ(chordKey(x11Keysym(key).value), key) << rawValue(key);
    }
    EXPECT_EQ(values.size(), caseCount<ChordKey>());
    EXPECT_EQ(names.size(), caseCount<ChordKey>());
    // Shifted letters, F1, Left and KP_Enter have no key: they can be neither recorded nor matched.
    for (const std::uint32_t keysym : {0x41u, 0xffbeu, 0xff51u, 0xff8du, 0u}) {
        EXPECT_FALSE(chordKey(keysym)) << std::hex << keysym;
    }
}

TEST(ChordX11, ModifiersMapToSuperAltControlShiftAndIgnoreTheRest) {
    const std::pair<M, std::uint16_t> rows[] = {
        {M::command, 0x40},
        {M::option, 0x08},
        {M::control, 0x04},
        {M::shift, 0x01},
        {M::command | M::shift | M::option | M::control, 0x4d}};
    for (const auto& [modifiers, mask] : rows) {
        EXPECT_EQ(x11ModifierMask(modifiers), mask);
        EXPECT_EQ(modifiersFromX11State(mask), modifiers);
    }
    // Lock, NumLock (Mod2), Mod3, Mod5 and button bits are no modifiers of a chord.
    const std::uint16_t noise = 0x02 | 0x10 | 0x20 | 0x80 | 0x100;
    EXPECT_EQ(chordFromX11KeyEvent(0x71, noise | 0x04), Chord::parse("ctrl+q"));
    EXPECT_FALSE(chordFromX11KeyEvent(0xffbe, 0x04));
}

}  // namespace
}  // namespace scrawlet::core
