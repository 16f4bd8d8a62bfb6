// The settings document described once, one row per value: where it sits in the JSON (its
// dotted key path), where it lives in `Settings`, what kind of value it is, its bounds and
// whether the key must be present.
//
// Reading and writing the document, the draw configuration's run-only overrides and the rows
// of a settings editor all walk this table, so a field is added or changed in one row (and at
// its member in settings.h, whose initialiser is its default). Rows are in the order in which
// the document is read and validated; the fields of one section are contiguous and come after
// the plain fields of the section that holds them.
//
// Two ways of taking a value, for two kinds of source. Decoding a document validates and
// refuses (settings.h). `clamped`/`assign`, for values typed by a person or given for one run,
// bring numbers into their range instead and refuse only what cannot be brought in (another
// kind, a list of the wrong length, a choice that does not exist).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "core/colour.h"
#include "core/enum_traits.h"
#include "core/settings.h"

namespace scrawlet::core {

enum class FieldKind {
    flag,
    number,
    integer,
    index,  // a position in another field's list
    choice,
    colour,
    text,
    colourList,
    numberList,
    textMap,
};

template <>
struct EnumTraits<FieldKind> {
    static constexpr std::array<std::string_view, 10> names{
        "flag",   "number", "integer",    "index",      "choice",
        "colour", "text",   "colourList", "numberList", "textMap"};
};

enum class FieldPresence { required, optional };

// A choice as the position of its case in `SettingsField::choices()`.
struct FieldChoice {
    std::size_t index = 0;
    bool operator==(const FieldChoice&) const = default;
};

// One value of any field, in FieldKind order except that integer and index share std::int64_t.
using FieldValue =
    std::variant<bool, double, std::int64_t, FieldChoice, Colour, std::string, std::vector<Colour>,
                 std::vector<double>, std::map<std::string, std::string>>;

// Read and write access to one member of Settings; K tells apart kinds stored alike.
template <class T, FieldKind K>
struct FieldSlot {
    const T& (*read)(const Settings&);
    T& (*write)(Settings&);
};

struct ChoiceSlot {
    std::size_t (*read)(const Settings&);
    void (*write)(Settings&, std::size_t);
    std::span<const std::string_view> names;
};

// Alternatives in FieldKind order.
using FieldAccess =
    std::variant<FieldSlot<bool, FieldKind::flag>, FieldSlot<double, FieldKind::number>,
                 FieldSlot<int, FieldKind::integer>, FieldSlot<int, FieldKind::index>, ChoiceSlot,
                 FieldSlot<Colour, FieldKind::colour>, FieldSlot<std::string, FieldKind::text>,
                 FieldSlot<std::vector<Colour>, FieldKind::colourList>,
                 FieldSlot<std::vector<double>, FieldKind::numberList>,
                 FieldSlot<std::map<std::string, std::string>, FieldKind::textMap>>;

// How many entries a list must have.
struct EntryCount {
    std::size_t count = 0;
    bool exact = false;  // otherwise at least `count`

    constexpr bool allows(std::size_t found) const {
        return exact ? found == count : found >= count;
    }
};

// A nested object of the document.
struct SettingsSection {
    std::string_view path;
    FieldPresence presence = FieldPresence::required;
    // The path that range, count and index errors name its fields by, when not `path`.
    std::string_view errorPath{};
};

struct SettingsField {
    std::string_view path;  // keys from the document's top joined by "."
    FieldPresence presence = FieldPresence::optional;
    FieldAccess access;
    // Numbers and integers, and each entry of a number list; none: any finite value.
    std::optional<ClosedRange<double>> range{};
    std::optional<EntryCount> entries{};  // lists
    std::string_view indexes{};           // index: the path of the list it points into

    FieldKind kind() const { return static_cast<FieldKind>(access.index()); }
    std::string_view key() const;
    std::string_view sectionPath() const;
    // The field, or a section it lies in, is `section` or below it; everything lies below "".
    bool liesIn(std::string_view section) const;
    // Case names of a choice, in declaration order; empty for other kinds.
    std::span<const std::string_view> choices() const;
    // Entries of a list in `settings`; 0 for other kinds.
    std::size_t entryCount(const Settings& settings) const;

    FieldValue value(const Settings& settings) const;
    // The value of a default-constructed Settings: the built-in document's.
    FieldValue defaultValue() const;
    // `value` brought into range; none when it is of another kind, not finite, a choice that
    // does not exist or a list of the wrong length. An index is kept as it is (its bound is
    // another field's); `assign` brings it inside its list.
    std::optional<FieldValue> clamped(FieldValue value) const;
    // Stores `clamped(value)`; false, and `settings` unchanged, when that is none. A list
    // that shrinks brings the indices into it along.
    bool assign(Settings& settings, const FieldValue& value) const;
};

// Every field of the document but schemaVersion, in reading order.
std::span<const SettingsField> settingsFields();
// Every nested object, parents before the objects they hold.
std::span<const SettingsSection> settingsSections();
const SettingsField* findSettingsField(std::string_view path);
const SettingsSection* findSettingsSection(std::string_view path);

namespace settings_field_detail {

// `object.*First.*...` for a chain of member pointers.
template <auto First, auto... Rest, class Object>
constexpr auto& reach(Object& object) {
    if constexpr (sizeof...(Rest) == 0) {
        return object.*First;
    } else {
        return reach<Rest...>(object.*First);
    }
}

template <class Object, auto... Members>
using MemberType = std::remove_cvref_t<decltype(reach<Members...>(std::declval<Object&>()))>;

}  // namespace settings_field_detail

}  // namespace scrawlet::core
