// What draw mode says about shortcuts at start-up, and the key labels of the tool buttons.
//
// The overlap report reads the catalogue only (bindings compared as written); the refusal report
// reads what the hotkey centre could not register in its last pass. Lines go to `out` with a
// line feed each. Main thread only (the event log is).
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "app/shortcuts/hotkey_centre.h"
#include "core/action_catalog.h"
#include "core/tool.h"

namespace scrawlet::shortcuts {

// One line and one "hotkeyOverlap" record per group of actions live together on one binding.
void reportCatalogueOverlaps(const core::ActionCatalog& catalog,
                             const core::ShortcutOverrides& overrides, std::ostream& out);

// One line per chord the system refused (or for which no key exists).
void reportRefusedShortcuts(const std::vector<HotkeyCentre::Registration>& conflicts,
                            std::ostream& out);

// The display text of the binding of the first action that selects `tool`; empty when it has
// none or it does not parse.
std::string toolKeyLabel(const core::ActionCatalog& catalog,
                         const core::ShortcutOverrides& overrides, core::Tool tool);
// The same for one action.
std::string actionKeyLabel(const core::ActionCatalog& catalog,
                           const core::ShortcutOverrides& overrides, core::ActionID id);

}  // namespace scrawlet::shortcuts
