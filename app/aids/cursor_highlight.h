// The cursor highlight: a ring, disc, squircle or rhombus centred on the pointer on whichever
// display it is, and, when asked for, a ripple at each button press. It is not kept inside the
// display, so near an edge it may show partly on the neighbour just as the pointer's
// surroundings do. The pointer stage moves it; it is drawn again only when the settings or the
// displays change. Main thread only.
#pragma once

#include "app/aids/pointer_aid.h"
#include "core/settings.h"

namespace scrawlet::aids {

class CursorHighlight : public PointerAid {
  public:
    CursorHighlight(const core::CursorHighlightSettings& settings, platform::PointerStage* stage);
    ~CursorHighlight() override;

    void apply(const core::CursorHighlightSettings& settings);
    const core::CursorHighlightSettings& settings() const { return settings_; }
    AidStats stats() const;

  private:
    void show() override;
    void hide() override;
    std::string toggleRecord() const override { return "cursorHighlightToggle"; }
    std::string toggleNote() const override;

    core::CursorHighlightSettings settings_;
};

}  // namespace scrawlet::aids
