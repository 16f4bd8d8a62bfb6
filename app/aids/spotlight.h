// The spotlight: the display under the pointer dimmed except a hole round the pointer, the
// other displays dimmed whole or left alone.
//
// Moving the hole repaints nothing: each display's dim window keeps its pixels and only its
// shape changes to leave out the hole's square, while one small window drawing the hole's
// anti-aliased edge moves into that square. Pixels are painted again only when the settings
// change. `presentedFrames` counts pointer updates that changed the screen, `idleTicks` those
// that did not (the pointer on no attached display, or where it was). Main thread only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "app/aids/aid_window.h"
#include "app/aids/pointer_follower.h"
#include "app/platform/display_feature.h"
#include "app/platform/window_placement.h"
#include "core/settings.h"

namespace scrawlet::aids {

struct AidStats {
    bool active = false;
    std::uint64_t presentedFrames = 0;
    std::uint64_t idleTicks = 0;
};

class Spotlight : public platform::DisplayFeature {
  public:
    Spotlight(const core::SpotlightSettings& settings, platform::WindowPlacement placement,
              platform::WindowPlacer* placer, PointerFollower& follower);
    ~Spotlight() override;

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

    // New settings, shown at once when active.
    void apply(const core::SpotlightSettings& settings);
    // Records the change in the event log; nothing happens when the state is already `active`.
    void setActive(bool active);
    bool isActive() const { return active_; }
    const core::SpotlightSettings& settings() const { return settings_; }
    AidStats stats() const { return {active_, presentedFrames_, idleTicks_}; }

  private:
    struct Surface {
        std::uint32_t displayID = 0;
        std::unique_ptr<DimWindow> dim;
        core::SurfaceDim shown = core::SurfaceDim::hidden;
        core::PixelBox hole;
    };
    Surface* find(std::uint32_t displayID);
    void setFrame(std::size_t index, std::optional<QRect> frame);
    void place(QWindow& window);
    void tick(QPoint pointer);
    bool showSurface(std::size_t index, core::SurfaceDim dim, QPoint pointer);
    bool showEdge(const QRect& display, QPoint pointer);
    void hideAll();

    core::SpotlightSettings settings_;
    platform::WindowPlacement placement_;
    platform::WindowPlacer* placer_;
    PointerFollower& follower_;
    std::size_t listener_ = 0;
    std::vector<Surface> surfaces_;
    // Parallel to `surfaces_`; an absent display has an empty frame.
    std::vector<core::AidRect> frames_;
    std::unique_ptr<HoleEdgeWindow> edge_;
    QRect edgeMask_;
    std::optional<QPoint> lastPointer_;
    bool active_ = false;
    std::uint64_t presentedFrames_ = 0;
    std::uint64_t idleTicks_ = 0;
};

}  // namespace scrawlet::aids
