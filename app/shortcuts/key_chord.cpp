#include "app/shortcuts/key_chord.h"

namespace scrawlet::shortcuts {

std::optional<core::ChordKey> chordKeyFromQtKey(int key) {
    using core::ChordKey;
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        return static_cast<ChordKey>(static_cast<int>(ChordKey::a) + (key - Qt::Key_A));
    }
    if (key >= Qt::Key_0 && key <= Qt::Key_9) {
        return static_cast<ChordKey>(static_cast<int>(ChordKey::digit0) + (key - Qt::Key_0));
    }
    switch (key) {
        case Qt::Key_Comma:
            return ChordKey::comma;
        case Qt::Key_Period:
            return ChordKey::period;
        case Qt::Key_Slash:
            return ChordKey::slash;
        case Qt::Key_Semicolon:
            return ChordKey::semicolon;
        case Qt::Key_Apostrophe:
            return ChordKey::quote;
        case Qt::Key_Backslash:
            return ChordKey::backslash;
        case Qt::Key_BracketLeft:
            return ChordKey::leftBracket;
        case Qt::Key_BracketRight:
            return ChordKey::rightBracket;
        case Qt::Key_Minus:
            return ChordKey::minus;
        case Qt::Key_Equal:
            return ChordKey::equal;
        case Qt::Key_Space:
            return ChordKey::space;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return ChordKey::return_;
        case Qt::Key_Tab:
            return ChordKey::tab;
        case Qt::Key_Escape:
            return ChordKey::escape;
        case Qt::Key_Backspace:
            return ChordKey::delete_;
        default:
            return std::nullopt;
    }
}

std::optional<core::Chord> chordFromQtKey(int key, Qt::KeyboardModifiers modifiers) {
    const auto chordKey = chordKeyFromQtKey(key);
    if (!chordKey)
        return std::nullopt;
    core::Chord chord;
    chord.key = *chordKey;
    if (modifiers.testFlag(Qt::ControlModifier))
        chord.modifiers |= core::Chord::Modifiers::control;
    if (modifiers.testFlag(Qt::MetaModifier))
        chord.modifiers |= core::Chord::Modifiers::command;
    if (modifiers.testFlag(Qt::ShiftModifier))
        chord.modifiers |= core::Chord::Modifiers::shift;
    if (modifiers.testFlag(Qt::AltModifier))
        chord.modifiers |= core::Chord::Modifiers::option;
    return chord;
}

}  // namespace scrawlet::shortcuts
