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

}  // namespace
}  // namespace scrawlet::core
