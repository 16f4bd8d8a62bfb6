#include "core/action_catalog.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace scrawlet::core {
namespace {

using Json = nlohmann::json;

// Library errors (missing key, wrong string type) arrive as exceptions and are turned into
// values at the decode boundary; the checks the library doesn't make return their message.
std::string typeMismatch(std::string_view key, std::string_view expected, const Json& value) {
    return "\"" + std::string(key) + "\": type must be " + std::string(expected) + ", but is " +
           value.type_name();
}

std::string requiredString(const Json& object, const char* key) {
    return object.at(key).get<std::string>();
}

std::expected<std::int64_t, std::string> decodeSchemaVersion(const Json& value) {
    // The library would turn a float or a Boolean into an integer silently.
    if (!value.is_number_integer()) {
        return std::unexpected(typeMismatch("schemaVersion", "integer", value));
    }
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() >
            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return std::unexpected("\"schemaVersion\": " + value.dump() + " is out of range");
    }
    return value.get<std::int64_t>();
}

std::expected<Action, std::string> decodeAction(const Json& object) {
    Action action;
    action.id = requiredString(object, "id");
    action.label = requiredString(object, "label");
    action.category = requiredString(object, "category");
    action.feature = requiredString(object, "feature");
    action.priority = requiredString(object, "priority");
    const std::string scope = requiredString(object, "scope");
    const auto decodedScope = fromRawValue<ActionScope>(scope);
    if (!decodedScope) {
        return std::unexpected("\"scope\": unknown scope \"" + scope + "\"");
    }
    action.scope = *decodedScope;
    const Json& bindings = object.at("defaultBinding");
    action.defaultBinding.macos = requiredString(bindings, "macos");
    action.defaultBinding.windows = requiredString(bindings, "windows");
    return action;
}

}  // namespace

std::expected<ActionCatalog, ActionCatalogDecodeError> ActionCatalog::decode(
    std::string_view json) {
    try {
        return decodeDocument(Json::parse(json.begin(), json.end()));
    } catch (const Json::exception& error) {
        return std::unexpected(ActionCatalogDecodeError{error.what()});
    }
}

std::expected<ActionCatalog, ActionCatalogDecodeError> ActionCatalog::decodeDocument(
    const nlohmann::json& document) {
    // Errors inside an action name its position, so that a broken entry can be found.
    std::optional<std::size_t> actionIndex;
    const auto failure = [&](const std::string& message) {
        const std::string where =
            actionIndex ? "actions[" + std::to_string(*actionIndex) + "]: " : std::string();
        return std::unexpected(ActionCatalogDecodeError{where + message});
    };
    try {
        ActionCatalog catalog;
        const auto version = decodeSchemaVersion(document.at("schemaVersion"));
        if (!version) {
            return failure(version.error());
        }
        catalog.schemaVersion = *version;
        const Json& list = document.at("actions");
        if (!list.is_array()) {
            return failure(typeMismatch("actions", "array", list));
        }
        catalog.actions.reserve(list.size());
        for (actionIndex = 0; *actionIndex < list.size(); ++*actionIndex) {
            auto action = decodeAction(list[*actionIndex]);
            if (!action) {
                return failure(action.error());
            }
            catalog.actions.push_back(std::move(*action));
        }
        return catalog;
    } catch (const Json::exception& error) {
        return failure(error.what());
    }
}

nlohmann::ordered_json ActionCatalog::encode() const {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Action& action : actions) {
        nlohmann::ordered_json bindings;
        bindings["macos"] = action.defaultBinding.macos;
        bindings["windows"] = action.defaultBinding.windows;
        nlohmann::ordered_json object;
        object["id"] = action.id;
        object["label"] = action.label;
        object["category"] = action.category;
        object["feature"] = action.feature;
        object["priority"] = action.priority;
        object["scope"] = rawValue(action.scope);
        object["defaultBinding"] = std::move(bindings);
        list.push_back(std::move(object));
    }
    nlohmann::ordered_json document;
    document["schemaVersion"] = schemaVersion;
    document["actions"] = std::move(list);
    return document;
}

const Action* ActionCatalog::action(std::string_view id) const {
    const auto found =
        std::find_if(actions.begin(), actions.end(), [&](const Action& a) { return a.id == id; });
    return found == actions.end() ? nullptr : &*found;
}

std::optional<std::string> ActionCatalog::effectiveBinding(const Action& action, Platform platform,
                                                           const ShortcutOverrides& overrides) {
    const auto override = overrides.find(action.id);
    const std::string& binding =
        override != overrides.end() ? override->second : action.defaultBinding[platform];
    if (binding.empty()) {
        return std::nullopt;
    }
    return binding;
}

const Action* ActionCatalog::typingScopeAction(const Chord& chord, Platform platform,
                                               const ShortcutOverrides& overrides) const {
    if (chord.modifiers != kPrimaryModifier) {
        return nullptr;
    }
    for (const Action& candidate : actions) {
        if (candidate.scope != ActionScope::annotating) {
            continue;
        }
        const auto binding = effectiveBinding(candidate, platform, overrides);
        const auto bound = binding ? Chord::parse(*binding) : std::nullopt;
        if (bound && bound->modifiers.isEmpty() && bound->key == chord.key) {
            return &candidate;
        }
    }
    return nullptr;
}

std::vector<std::vector<Action>> ActionCatalog::conflicts(
    Platform platform, const ShortcutOverrides& overrides) const {
    std::vector<std::vector<Action>> groups;
    std::vector<std::vector<std::string>> reportedIdSets;
    for (const ActionScope scope :
         {ActionScope::annotating, ActionScope::zooming, ActionScope::typing}) {
        std::map<std::string, std::vector<const Action*>> byBinding;
        for (const Action& candidate : actions) {
            if (candidate.scope != ActionScope::global && candidate.scope != scope) {
                continue;
            }
            if (auto binding = effectiveBinding(candidate, platform, overrides)) {
                byBinding[std::move(*binding)].push_back(&candidate);
            }
        }
        for (const auto& [binding, members] : byBinding) {
            if (members.size() < 2) {
                continue;
            }
            std::vector<std::string> ids;
            for (const Action* member : members) {
                ids.push_back(member->id);
            }
            std::sort(ids.begin(), ids.end());
            ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
            if (std::find(reportedIdSets.begin(), reportedIdSets.end(), ids) !=
                reportedIdSets.end()) {
                continue;
            }
            reportedIdSets.push_back(std::move(ids));
            std::vector<Action>& group = groups.emplace_back();
            for (const Action* member : members) {
                group.push_back(*member);
            }
        }
    }
    const auto byId = [](const Action& lhs, const Action& rhs) { return lhs.id < rhs.id; };
    for (std::vector<Action>& group : groups) {
        std::stable_sort(group.begin(), group.end(), byId);
    }
    // Stable, so groups that start with the same global action stay in scope order.
    std::stable_sort(groups.begin(), groups.end(), [&](const auto& lhs, const auto& rhs) {
        return byId(lhs.front(), rhs.front());
    });
    return groups;
}

}  // namespace scrawlet::core
