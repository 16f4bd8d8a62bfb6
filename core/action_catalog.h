// The catalogue of user actions: what each is called, when its shortcut is live and which
// chord it has by default on each platform.
//
// The catalogue is data read from "actions.json"; its order is the listing order of the
// settings window and is kept through decode and encode. An action's `id` is normally an
// ActionID raw value, but identifiers this build doesn't know are carried, not rejected.
// Bindings are chord text (see chord.h) or empty for none; they are not parsed on decode.
//
// Decoding either yields a whole catalogue or an ActionCatalogDecodeError: a missing key, a
// wrong JSON type or an unknown scope word (case-sensitive: "Global" is not a scope) makes the
// whole file undecodable. Unknown extra keys are ignored. No exception leaves these functions;
// errors of the JSON layer keep the library's message text. The queries never fail: unknown
// identifiers and missing bindings give none.
//
// Linux registers the `windows` column; `macos` is carried and validated only.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <expected>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/chord.h"
#include "core/enum_traits.h"

namespace scrawlet::core {

// When an action's shortcut is live: global always, the others only in that state.
enum class ActionScope { global, annotating, zooming, typing };

enum class Platform { macos, windows };

template <>
struct EnumTraits<ActionScope> {
    static constexpr std::array<std::string_view, 4> names{"global", "annotating", "zooming",
                                                           "typing"};
};

template <>
struct EnumTraits<Platform> {
    static constexpr std::array<std::string_view, 2> names{"macos", "windows"};
};

// The user's shortcut overrides: action identifier to chord text; an empty text unbinds.
using ShortcutOverrides = std::map<std::string, std::string>;

struct PlatformBindings {
    std::string macos;
    std::string windows;

    const std::string& operator[](Platform platform) const {
        return platform == Platform::macos ? macos : windows;
    }
    std::string& operator[](Platform platform) {
        return platform == Platform::macos ? macos : windows;
    }
    bool operator==(const PlatformBindings&) const = default;
};

struct Action {
    std::string id;
    std::string label;
    std::string category;
    std::string feature;
    std::string priority;
    ActionScope scope = ActionScope::global;
    PlatformBindings defaultBinding;

    bool operator==(const Action&) const = default;
};

struct ActionCatalogDecodeError {
    std::string message;
    bool operator==(const ActionCatalogDecodeError&) const = default;
};

struct ActionCatalog {
    std::int64_t schemaVersion = 1;
    std::vector<Action> actions;

    static std::expected<ActionCatalog, ActionCatalogDecodeError> decode(std::string_view json);
    // A template only so that text (std::string, literals) never converts to a document and
    // makes the two overloads ambiguous.
    template <std::same_as<nlohmann::json> Document>
    static std::expected<ActionCatalog, ActionCatalogDecodeError> decode(const Document& document) {
        return decodeDocument(document);
    }
    // Keys in file order, so that a written catalogue diffs cleanly against its source.
    nlohmann::ordered_json encode() const;

    // The first action with this identifier; null when there is none. Valid while the
    // catalogue is neither changed nor destroyed.
    const Action* action(std::string_view id) const;

    // The override when there is one (an empty override unbinds), else the platform default;
    // none when that is empty.
    static std::optional<std::string> effectiveBinding(const Action& action, Platform platform,
                                                       const ShortcutOverrides& overrides);

    // While text is typed, maps primary-modifier + key to the first annotating action bound to
    // the bare key. Only a chord whose modifiers are exactly the primary modifier counts.
    const Action* typingScopeAction(const Chord& chord, Platform platform,
                                    const ShortcutOverrides& overrides) const;

    // Groups of two or more actions live at the same time under one binding text (compared as
    // written). Each group is sorted by id and reported once; groups are sorted by first id.
    std::vector<std::vector<Action>> conflicts(Platform platform,
                                               const ShortcutOverrides& overrides) const;

    bool operator==(const ActionCatalog&) const = default;

  private:
    static std::expected<ActionCatalog, ActionCatalogDecodeError> decodeDocument(
        const nlohmann::json& document);
};

}  // namespace scrawlet::core
