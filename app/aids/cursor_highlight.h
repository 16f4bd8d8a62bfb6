// The cursor highlight: a ring, disc, squircle or rhombus centred on the pointer on whichever
// display it is.
//
// One window serves every display: it is moved, never repainted, as the pointer moves, and it
// is not kept inside the display, so near an edge it may show partly on the neighbour just as
// the pointer's surroundings do. Displays only decide whether the pointer is anywhere the
// highlight should follow. Counters as for the spotlight. Main thread only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "app/aids/aid_window.h"
#include "app/aids/pointer_follower.h"
#include "app/aids/spotlight.h"
#include "app/platform/display_feature.h"
#include "app/platform/window_placement.h"
#include "core/settings.h"

namespace scrawlet::aids {

class CursorHighlight : public platform::DisplayFeature {
  public:
    CursorHighlight(const core::CursorHighlightSettings& settings,
                    platform::WindowPlacement placement, platform::WindowPlacer* placer,
                    PointerFollower& follower);
    ~CursorHighlight() override;

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

    void apply(const core::CursorHighlightSettings& settings);
    void setActive(bool active);
    bool isActive() const { return active_; }
    const core::CursorHighlightSettings& settings() const { return settings_; }
    AidStats stats() const { return {active_, presentedFrames_, idleTicks_}; }

  private:
    struct Surface {
        std::uint32_t displayID = 0;
        core::AidRect frame;  // empty while the display is away
    };
    void setFrame(std::uint32_t displayID, const core::AidRect& frame);
    void tick(QPoint pointer);

    core::CursorHighlightSettings settings_;
    PointerFollower& follower_;
    std::size_t listener_ = 0;
    std::vector<Surface> surfaces_;
    std::vector<core::AidRect> frames_;
    std::unique_ptr<HighlightWindow> window_;
    bool active_ = false;
    std::uint64_t presentedFrames_ = 0;
    std::uint64_t idleTicks_ = 0;
};

}  // namespace scrawlet::aids
