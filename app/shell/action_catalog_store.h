// Finds and decodes the action catalogue: the copy compiled into the executable first, then
// resources/actions.json of the source tree (for runs from a build folder). A candidate that is
// missing or does not decode is skipped silently.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/action_catalog.h"

namespace scrawlet::shell {

class ActionCatalogStore {
  public:
    static constexpr const char* kCompiledPath = ":/scrawlet/actions.json";

    static std::optional<core::ActionCatalog> load();
    // The first candidate (a file path or a Qt resource path) that reads and decodes.
    static std::optional<core::ActionCatalog> loadFirst(const std::vector<std::string>& paths);
};

}  // namespace scrawlet::shell
