// The spotlight: the display under the pointer dimmed except a hole round the pointer, the
// other displays dimmed whole or left alone. The pointer stage moves the hole; pictures are
// drawn again only when the settings or the displays change. Main thread only.
#pragma once

#include "app/aids/pointer_aid.h"
#include "core/settings.h"

namespace scrawlet::aids {

class Spotlight : public PointerAid {
  public:
    Spotlight(const core::SpotlightSettings& settings, platform::PointerStage* stage);
    ~Spotlight() override;

    // New settings, shown at once when active.
    void apply(const core::SpotlightSettings& settings);
    const core::SpotlightSettings& settings() const { return settings_; }
    AidStats stats() const;

  private:
    void show() override;
    void hide() override;
    std::string toggleRecord() const override { return "spotlightToggle"; }
    std::string toggleNote() const override;

    core::SpotlightSettings settings_;
};

}  // namespace scrawlet::aids
