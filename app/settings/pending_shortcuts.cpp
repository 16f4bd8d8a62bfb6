#include "app/settings/pending_shortcuts.h"

#include "app/shortcuts/hotkey_centre.h"

namespace scrawlet::settings {

PendingShortcuts::PendingShortcuts(std::optional<core::ActionCatalog> catalog,
                                   std::map<std::string, std::string> saved)
    : catalog_(std::move(catalog)), saved_(std::move(saved)), pending_(saved_) {}

std::string PendingShortcuts::shownText(const core::Action& action) const {
    const auto binding =
        core::ActionCatalog::effectiveBinding(action, shortcuts::HotkeyCentre::kPlatform, pending_);
    if (!binding) {
        return kUnbound;
    }
    if (const auto chord = core::Chord::parse(*binding)) {
        return core::displayText(*chord);
    }
    return *binding;
}

std::vector<PendingShortcuts::Row> PendingShortcuts::rows() const {
    std::vector<Row> rows;
    if (!catalog_) {
        return rows;
    }
    for (const core::Action& action : catalog_->actions) {
        rows.push_back({action.id, action.label, shownText(action), {}});
    }
    for (Row& row : rows) {
        if (row.chordText == kUnbound) {
            continue;
        }
        for (const Row& other : rows) {
            if (&other != &row && other.chordText == row.chordText) {
                row.conflicts.push_back(other.label);
            }
        }
    }
    return rows;
}

std::string PendingShortcuts::conflictLine(const Row& row) {
    if (row.conflicts.empty()) {
        return {};
    }
    std::string line = "Conflicts with ";
    for (std::size_t i = 0; i < row.conflicts.size(); ++i) {
        line += (i ? ", " : "") + row.conflicts[i];
    }
    return line;
}

void PendingShortcuts::capture(const std::string& actionID, const core::Chord& chord) {
    pending_[actionID] = chord.specText();
}

void PendingShortcuts::unbind(const std::string& actionID) {
    pending_[actionID] = "";
}

void PendingShortcuts::revert() {
    pending_ = saved_;
}

void PendingShortcuts::setSaved(std::map<std::string, std::string> saved) {
    saved_ = std::move(saved);
}

void PendingShortcuts::save(core::Settings& document) {
    document.system.shortcutOverrides = pending_;
    saved_ = pending_;
}

}  // namespace scrawlet::settings
