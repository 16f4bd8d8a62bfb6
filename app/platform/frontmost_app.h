// Which application the user is working in, for the event log.
#pragma once

#include <string>

namespace scrawlet::platform {

struct FrontmostApp {
    std::string bundleId;  // the window's class; empty when the window manager says nothing
    std::string name;
    bool isOurs = false;
};

// Implemented by the window-system layer; asked once per event record.
class FrontmostAppProvider {
  public:
    virtual ~FrontmostAppProvider() = default;
    virtual FrontmostApp frontmostApp() = 0;
};

}  // namespace scrawlet::platform
