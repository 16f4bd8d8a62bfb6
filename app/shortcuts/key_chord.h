// Qt key events as chords: the one mapping that the text session's typing chords and the
// shortcut recorder share. Keys without a chord key give nothing.
#pragma once

#include <Qt>
#include <optional>

#include "core/chord.h"

namespace scrawlet::shortcuts {

std::optional<core::ChordKey> chordKeyFromQtKey(int key);
// Control → control, Meta (Super) → command, Alt → option, Shift → shift.
std::optional<core::Chord> chordFromQtKey(int key, Qt::KeyboardModifiers modifiers);

}  // namespace scrawlet::shortcuts
