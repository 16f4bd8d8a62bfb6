#include "core/chord.h"

#include <algorithm>
#include <array>

namespace scrawlet::core {
namespace {

struct ModifierWord {
    std::string_view word;
    Chord::Modifiers modifier;
};

// Lower-case, as pieces are compared after lowercasing.
constexpr std::array<ModifierWord, 8> kModifierWords{{
    {"cmd", Chord::Modifiers::command},
    {"command", Chord::Modifiers::command},
    {"shift", Chord::Modifiers::shift},
    {"opt", Chord::Modifiers::option},
    {"option", Chord::Modifiers::option},
    {"alt", Chord::Modifiers::option},
    {"ctrl", Chord::Modifiers::control},
    {"control", Chord::Modifiers::control},
}};

constexpr std::array<ModifierWord, 4> kSpecWords{{
    {"cmd", Chord::Modifiers::command},
    {"shift", Chord::Modifiers::shift},
    {"opt", Chord::Modifiers::option},
    {"control", Chord::Modifiers::control},
}};

// Not the canonical order: users read modifiers in the order their desktop prints them.
constexpr std::array<ModifierWord, 4> kDisplayWords{{
    {"Ctrl", Chord::Modifiers::control},
    {"Alt", Chord::Modifiers::option},
    {"Shift", Chord::Modifiers::shift},
    {"Super", Chord::Modifiers::command},
}};

std::string_view trimBlanksAndTabs(std::string_view piece) {
    const auto first = piece.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = piece.find_last_not_of(" \t");
    return piece.substr(first, last - first + 1);
}

constexpr char asciiLower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// Lowercases into a fixed buffer: no key or word is longer, so a longer piece names nothing
// and parsing never allocates. The view points into the object, which must outlive it.
class LowercasePiece {
  public:
    static constexpr std::size_t capacity = 16;

    explicit LowercasePiece(std::string_view piece) : size_(piece.size()) {
        if (size_ <= capacity) {
            std::transform(piece.begin(), piece.end(), buffer_.begin(), asciiLower);
        }
    }
    std::optional<std::string_view> view() const {
        if (size_ > capacity) {
            return std::nullopt;
        }
        return std::string_view(buffer_.data(), size_);
    }

  private:
    std::array<char, capacity> buffer_{};
    std::size_t size_ = 0;
};

std::optional<Chord::Modifiers> modifierNamed(std::string_view lowercaseWord) {
    for (const ModifierWord& entry : kModifierWords) {
        if (entry.word == lowercaseWord) {
            return entry.modifier;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Chord> Chord::parse(std::string_view text) {
    // Each piece becomes a modifier word once a later piece shows it was not the last.
    std::optional<std::string_view> pending;
    Modifiers modifiers;
    std::size_t start = 0;
    while (start <= text.size()) {
        auto end = text.find('+', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const std::string_view raw = text.substr(start, end - start);
        start = end + 1;
        if (raw.empty()) {
            continue;
        }
        if (pending) {
            const LowercasePiece word(trimBlanksAndTabs(*pending));
            const auto modifier = word.view() ? modifierNamed(*word.view()) : std::nullopt;
            if (!modifier) {
                return std::nullopt;
            }
            modifiers |= *modifier;
        }
        pending = raw;
    }
    if (!pending) {
        return std::nullopt;
    }
    const LowercasePiece keyText(trimBlanksAndTabs(*pending));
    const auto key = keyText.view() ? named<ChordKey>(*keyText.view()) : std::nullopt;
    if (!key) {
        return std::nullopt;
    }
    return Chord{modifiers, *key};
}

std::string Chord::specText() const {
    std::string text;
    for (const ModifierWord& entry : kSpecWords) {
        if (modifiers.contains(entry.modifier)) {
            text += entry.word;
            text += '+';
        }
    }
    text += rawValue(key);
    return text;
}

std::string displayText(const Chord& chord) {
    std::string text;
    for (const ModifierWord& entry : kDisplayWords) {
        if (chord.modifiers.contains(entry.modifier)) {
            text += entry.word;
            text += '+';
        }
    }
    text += displayName(chord.key);
    return text;
}

}  // namespace scrawlet::core
