#include "app/shortcuts/hotkey_reports.h"

#include "app/log/frontmost_log.h"
#include "core/action_id.h"

namespace scrawlet::shortcuts {

void reportCatalogueOverlaps(const core::ActionCatalog& catalog,
                             const core::ShortcutOverrides& overrides, std::ostream& out) {
    for (const std::vector<core::Action>& group :
         catalog.conflicts(HotkeyCentre::kPlatform, overrides)) {
        std::string ids;
        for (const core::Action& action : group) {
            ids += (ids.empty() ? "" : " and ") + action.id;
        }
        // Every member of a group has the same binding text; that is what made the group.
        const std::string binding =
            core::ActionCatalog::effectiveBinding(group.front(), HotkeyCentre::kPlatform, overrides)
                .value_or("");
        out << "draw: " << ids << " are both bound to " << binding
            << "; one of them will not fire\n";
        log::FrontmostLog::shared().record("hotkeyOverlap", std::nullopt,
                                           ids + " chord=" + binding);
    }
}

void reportRefusedShortcuts(const std::vector<HotkeyCentre::Registration>& conflicts,
                            std::ostream& out) {
    for (const HotkeyCentre::Registration& conflict : conflicts) {
        out << "draw: shortcut " << conflict.text << " for " << core::rawValue(conflict.action)
            << " could not be registered; another application owns it\n";
    }
}

std::string toolKeyLabel(const core::ActionCatalog& catalog,
                         const core::ShortcutOverrides& overrides, core::Tool tool) {
    const auto id = core::actionSelecting(tool);
    return id ? actionKeyLabel(catalog, overrides, *id) : std::string();
}

std::string actionKeyLabel(const core::ActionCatalog& catalog,
                           const core::ShortcutOverrides& overrides, core::ActionID id) {
    const core::Action* action = catalog.action(core::rawValue(id));
    if (!action) {
        return {};
    }
    const auto text =
        core::ActionCatalog::effectiveBinding(*action, HotkeyCentre::kPlatform, overrides);
    const auto chord = text ? core::Chord::parse(*text) : std::nullopt;
    return chord ? core::displayText(*chord) : std::string();
}

}  // namespace scrawlet::shortcuts
