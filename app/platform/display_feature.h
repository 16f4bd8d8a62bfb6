// What a feature that shows something on each display implements; the display registry calls
// it for every display that comes, goes or changes. Main thread only.
#pragma once

#include "app/platform/display_identifier.h"

class QScreen;

namespace scrawlet::platform {

struct Display {
    platform::DisplayKey key;
    // Valid only during a call from the registry: Qt recreates screens on changes.
    QScreen* screen = nullptr;
    bool present = true;
    // Appeared after the run started.
    bool arrived = false;
};

class DisplayFeature {
  public:
    virtual ~DisplayFeature() = default;
    // False when the feature cannot serve the display; the first feature's refusal keeps the
    // display out until the next reconciliation.
    virtual bool attach(const Display& display) = 0;
    // Gone: hide what is shown there and keep the rest for its return.
    virtual void detach(const Display& display) = 0;
    // Still or again present, perhaps moved, resized or rescaled. A feature added while the
    // display was absent sees it first here.
    virtual void reanchor(const Display& display) = 0;
};

}  // namespace scrawlet::platform
