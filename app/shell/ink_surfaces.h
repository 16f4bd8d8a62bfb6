// The ink of the run: one transparent overlay window with its ink view per display. A display
// that goes away hides its surface with the ink kept, and gets it back when it returns; the list
// of surfaces only grows. The views follow the tool controller's tool, style and fading, and
// show while the run is annotating and a compositing manager makes them transparent; hidden,
// they keep their ink. Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ink/ink_view.h"
#include "app/ink/tool_controller.h"
#include "app/log/frontmost_log.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/window_placement.h"
#include "app/shell/display_registry.h"
#include "app/shell/draw_config.h"
#include "app/shell/run_summary.h"

namespace scrawlet::shell {

class InkSurfaces : public DisplayFeature,
                    public ink::ToolController::Observer,
                    public SummaryContributor {
  public:
    struct Surface {
        platform::DisplayKey display;
        std::unique_ptr<ink::InkView> view;
        bool visible = true;
    };

    InkSurfaces(const DrawConfig& config, const ink::ToolController& tools,
                platform::WindowPlacer* placer, platform::PresentPath presentPath);

    // Asked for every pointer position over the ink: the arrow cursor shows over a panel.
    void setPointerOverPanel(std::function<bool()> test) { overPanel_ = std::move(test); }
    // The global rectangle the hint must leave visible on a view of `viewGeometry`, if any.
    void setHintKeepClear(std::function<std::optional<QRect>(const QRect&)> area) {
        hintKeepClear_ = std::move(area);
    }
    // A chord typed into a label that the typing scope maps to an action; true when taken.
    void setOnTypingChord(std::function<bool(const core::Chord&)> handler) {
        onTypingChord_ = std::move(handler);
    }

    bool attach(const Display& display) override;
    void detach(const Display& display) override;
    void reanchor(const Display& display) override;

    void toolChanged(core::Tool tool) override;
    void styleChanged(const core::StrokeStyle& style) override;
    void timeToLiveChanged(std::optional<double> seconds) override;
    void settingsChanged(const core::AnnotationSettings& settings) override;

    void contribute(RunSummaryInput& input) const override;

    const std::vector<Surface>& surfaces() const { return surfaces_; }
    std::vector<ink::InkView*> views() const;
    // The surfaces' displays, in surface order.
    std::vector<std::uint32_t> displayIDs() const;
    bool empty() const { return surfaces_.empty(); }
    // The visible view under the pointer, else the first view.
    ink::InkView* viewUnderPointer() const;
    bool isSelectingCaptureRegion() const;

    bool annotating() const { return annotating_; }
    void setAnnotating(bool annotating);
    // Without a compositing manager an overlay would be an opaque sheet over the desktop.
    void setCompositing(bool compositing);
    // Annotating with the overlays on screen.
    bool onScreen() const { return annotating_ && compositing_; }
    bool ignoresMouse() const { return ignoresMouse_; }
    void setIgnoresMouse(bool ignoresMouse);

    // The first surface's window state for an event record.
    std::optional<log::PanelState> firstPanelState() const;
    std::optional<log::PanelState> panelState(const Surface& surface) const;
    std::string progressLine() const;
    void stop();

  private:
    platform::WindowPlacement placement(bool transparentForInput) const;
    core::DisplayTransform transformFor(const QScreen* screen) const;
    Surface* find(std::uint32_t displayID);
    void showOrHide(const Surface& surface) const;

    const DrawConfig& config_;
    const ink::ToolController& tools_;
    platform::WindowPlacer* placer_;
    platform::PresentPath presentPath_;
    std::function<bool()> overPanel_;
    std::function<bool(const core::Chord&)> onTypingChord_;
    std::function<std::optional<QRect>(const QRect&)> hintKeepClear_;
    std::vector<Surface> surfaces_;
    std::optional<double> timeToLive_;
    bool annotating_ = true;
    bool compositing_ = true;
    bool ignoresMouse_ = false;
};

// The placement every overlay of the run shares, at the configured level and behaviour.
platform::WindowPlacement overlayPlacement(const DrawConfig& config, bool transparentForInput);

}  // namespace scrawlet::shell
