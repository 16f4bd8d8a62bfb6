// Finds and decodes the action catalogue: the copy compiled into the executable first, then
// resources/actions.json of the source tree (for runs from a build folder). A candidate that is
// missing or does not decode is skipped silently.
#pragma once

#include <optional>

#include "core/action_catalog.h"

namespace scrawlet::shell {

class ActionCatalogStore {
  public:
    static std::optional<core::ActionCatalog> load();
};

}  // namespace scrawlet::shell
