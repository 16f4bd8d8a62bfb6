// The Shortcuts section's state without its widgets: the set of overrides being edited, what
// each action's row shows and which rows conflict. Nothing reaches the document until `save`.
//
// Rows show the Linux display text of the binding in force (the pending override when there is
// one, else the catalogue's registered column); a binding that does not parse shows as written.
// Two rows conflict when they show the same text. Main thread only.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/action_catalog.h"
#include "core/chord.h"
#include "core/settings.h"

namespace scrawlet::settings {

class PendingShortcuts {
  public:
    static constexpr const char* kUnbound = "Unbound";

    struct Row {
        std::string actionID;
        std::string label;
        std::string chordText;  // "Unbound" when nothing is bound
        // Labels of the other actions showing the same chord, in catalogue order.
        std::vector<std::string> conflicts;
    };

    // `catalog` absent: no rows.
    PendingShortcuts(std::optional<core::ActionCatalog> catalog,
                     std::map<std::string, std::string> saved);

    std::vector<Row> rows() const;
    // "Conflicts with A, B"; empty without conflicts.
    static std::string conflictLine(const Row& row);

    void capture(const std::string& actionID, const core::Chord& chord);
    void unbind(const std::string& actionID);
    // Back to the last saved set.
    void revert();
    bool canRevert() const { return pending_ != saved_; }
    bool canSave() const { return pending_ != saved_; }
    // The document's set changed elsewhere (a test commit, another save).
    void setSaved(std::map<std::string, std::string> saved);
    // Writes the pending set into `document` and takes it as the saved set.
    void save(core::Settings& document);

    const std::map<std::string, std::string>& pending() const { return pending_; }
    const std::map<std::string, std::string>& saved() const { return saved_; }
    const std::optional<core::ActionCatalog>& catalog() const { return catalog_; }

  private:
    std::string shownText(const core::Action& action) const;

    std::optional<core::ActionCatalog> catalog_;
    std::map<std::string, std::string> saved_;
    std::map<std::string, std::string> pending_;
};

}  // namespace scrawlet::settings
