#include "core/chord.h"

#include <gtest/gtest.h>

#include <set>

namespace scrawlet::core {
namespace {

using M = Chord::Modifiers;

TEST(ChordKeyNames, RawValuesAreExactAndNamedIgnoresCase) {
    const auto keys = allCases<ChordKey>();
    ASSERT_EQ(keys.size(), 51u);
    EXPECT_EQ(rawValue(ChordKey::z), "z");
    EXPECT_EQ(rawValue(ChordKey::digit0), "0");
    EXPECT_EQ(rawValue(ChordKey::comma), "comma");
    EXPECT_EQ(rawValue(ChordKey::return_), "return");
    EXPECT_EQ(rawValue(ChordKey::delete_), "delete");
    EXPECT_EQ(keys.back(), ChordKey::delete_);

    EXPECT_EQ(fromRawValue<ChordKey>("leftBracket"), ChordKey::leftBracket);
    EXPECT_FALSE(fromRawValue<ChordKey>("leftbracket"));
    EXPECT_FALSE(fromRawValue<ChordKey>("A"));

    for (const char* text : {"leftbracket", "LEFTBRACKET", "leftBracket"}) {
        EXPECT_EQ(named<ChordKey>(text), ChordKey::leftBracket) << text;
    }
    EXPECT_EQ(named<ChordKey>("A"), ChordKey::a);
    EXPECT_EQ(named<ChordKey>("Return"), ChordKey::return_);
    for (const char* text : {"", "+", "digit1", "F13", " a", "plus"}) {
        EXPECT_FALSE(named<ChordKey>(text)) << text;
    }
}

TEST(ChordGrammar, AcceptsCaseBlanksSynonymsAndAnyOrder) {
    struct Row {
        const char* text;
        M modifiers;
        ChordKey key;
    };
    const Row rows[] = {
        {"cmd+shift+A", M::command | M::shift, ChordKey::a},
        {"Shift + Cmd + a", M::command | M::shift, ChordKey::a},
        {"command+shift+a", M::command | M::shift, ChordKey::a},
        {"CMD+SHIFT+Z", M::command | M::shift, ChordKey::z},
        {"ctrl+alt+leftBracket", M::option | M::control, ChordKey::leftBracket},
        {"control+opt+option+RIGHTBRACKET", M::option | M::control, ChordKey::rightBracket},
        {"\tctrl\t+  a ", M::control, ChordKey::a},
        {"shift+shift+shift+tab", M::shift, ChordKey::tab},
        {"cmd+1", M::command, ChordKey::digit1},
        {"+ctrl++q+", M::control, ChordKey::q},
        {"p", M{}, ChordKey::p},
        {"escape", M{}, ChordKey::escape},
        {"ctrl+Return", M::control, ChordKey::return_},
        {"alt+delete", M::option, ChordKey::delete_},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const auto chord = Chord::parse(row.text);
        ASSERT_TRUE(chord);
        EXPECT_EQ(*chord, (Chord{row.modifiers, row.key}));
    }
}

TEST(ChordGrammar, RejectsTextsThatNameNoChord) {
    for (const char* text : {
             "",
             "+",
             "  ",
             "cmd++",    // read as "cmd", which names no key
             "cmd+",     // likewise
             "cmd+ ",    // the last piece is empty once trimmed
             "cmd+ +a",  // a blank piece is an empty word, not a modifier
             "cmd+F13",  // no such key
             "hyper+a",  // no such modifier
             "super+a",  // the X11 name is not a chord word
             "cmd+digit1",
             "a+cmd",     // the last piece must be the key
             "ctrl+a+b",  // every earlier piece must be a modifier
             "ctrl+a\n",  // only blanks and tabs are trimmed
             "ctrl+\na",
             "ctrl+plus",
             "ctrl+averyveryverylongkeyname",
         }) {
        EXPECT_FALSE(Chord::parse(text)) << '"' << text << '"';
    }
}

TEST(ChordSpecText, IsCanonicalAndRoundTripsEveryChord) {
    EXPECT_EQ(Chord::parse("Shift + Cmd + a")->specText(), "cmd+shift+a");
    EXPECT_EQ(Chord::parse("CMD+SHIFT+Z")->specText(), "cmd+shift+z");
    EXPECT_EQ(Chord::parse("ctrl+alt+leftBracket")->specText(), "opt+control+leftBracket");
    EXPECT_EQ(Chord::parse("control+option+shift+command+space")->specText(),
              "cmd+shift+opt+control+space");
    EXPECT_EQ(Chord::parse("cmd+1")->specText(), "cmd+1");
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
    for (const char* text : {"opt+a", "ctrl+a", "cmd+a", "shift+alt+a", "ctrl+alt+shift+s"}) {
        EXPECT_TRUE(Chord::parse(text)->isSafeGlobally()) << text;
    }
}

TEST(ChordDisplayText, UsesLinuxNamesInDesktopOrder) {
    struct Row {
        const char* text;
        const char* shown;
    };
    const Row rows[] = {
        {"ctrl+shift+a", "Ctrl+Shift+A"},
        {"CMD+SHIFT+Z", "Shift+Super+Z"},
        {"cmd+shift+opt+ctrl+escape", "Ctrl+Alt+Shift+Super+Esc"},
        {"ctrl+alt+space", "Ctrl+Alt+Space"},
        {"7", "7"},
        {"return", "Return"},
        {"tab", "Tab"},
        {"delete", "Backspace"},
        {"ctrl+minus", "Ctrl+-"},
        {"ctrl+equal", "Ctrl+="},
        {"comma", ","},
        {"quote", "'"},
        {"backslash", "\\"},
        {"leftBracket", "["},
        {"rightBracket", "]"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(displayText(*Chord::parse(row.text)), row.shown) << row.text;
    }
}

TEST(ChordX11, KeysymTableIsCompleteAndReversible) {
    EXPECT_EQ(x11Keysym(ChordKey::a), (X11Keysym{"a", 0x61}));
    EXPECT_EQ(x11Keysym(ChordKey::digit0), (X11Keysym{"0", 0x30}));
    EXPECT_EQ(x11Keysym(ChordKey::quote), (X11Keysym{"apostrophe", 0x27}));
    EXPECT_EQ(x11Keysym(ChordKey::leftBracket), (X11Keysym{"bracketleft", 0x5b}));
    EXPECT_EQ(x11Keysym(ChordKey::return_), (X11Keysym{"Return", 0xff0d}));
    EXPECT_EQ(x11Keysym(ChordKey::escape), (X11Keysym{"Escape", 0xff1b}));
    EXPECT_EQ(x11Keysym(ChordKey::delete_), (X11Keysym{"BackSpace", 0xff08}));

    std::set<std::uint32_t> values;
    std::set<std::string_view> names;
    for (const ChordKey key : allCases<ChordKey>()) {
        values.insert(x11Keysym(key).value);
        names.insert(x11Keysym(key).name);
        EXPECT_EQ(chordKey(x11Keysym(key).value), key) << rawValue(key);
    }
    EXPECT_EQ(values.size(), 51u);
    EXPECT_EQ(names.size(), 51u);

    // Shifted letters, F1, Left and KP_Enter have no key: they can be neither recorded nor matched.
    for (const std::uint32_t keysym : {0x41u, 0xffbeu, 0xff51u, 0xff8du, 0u}) {
        EXPECT_FALSE(chordKey(keysym)) << std::hex << keysym;
    }
}

TEST(ChordX11, ModifiersMapToSuperAltControlShift) {
    struct Row {
        M modifiers;
        std::uint16_t mask;
    };
    const Row rows[] = {
        {M::command, 0x40},
        {M::option, 0x08},
        {M::control, 0x04},
        {M::shift, 0x01},
        {M::command | M::shift | M::option | M::control, 0x4d},
        {M{}, 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(x11ModifierMask(row.modifiers), row.mask);
        EXPECT_EQ(modifiersFromX11State(row.mask), row.modifiers);
    }
    // Lock, NumLock (Mod2), Mod3, Mod5 and button bits are no modifiers of a chord.
    const std::uint16_t noise = 0x02 | 0x10 | 0x20 | 0x80 | 0x100;
    EXPECT_EQ(modifiersFromX11State(noise | 0x04), M::control);

    EXPECT_EQ(chordFromX11KeyEvent(0x71, 0x04 | 0x10), Chord::parse("ctrl+q"));
    EXPECT_FALSE(chordFromX11KeyEvent(0xffbe, 0x04));
}

}  // namespace
}  // namespace scrawlet::core
