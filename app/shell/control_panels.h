// The control panel of each display: a strip of tool buttons at the overlay's level. A panel
// shows while panels are wanted, the run is annotating with its overlays on screen and its
// display is there; where it was dragged is kept per monitor between runs. Main thread only.
#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "app/ink/control_panel.h"
#include "app/ink/tool_controller.h"
#include "app/platform/window_placement.h"
#include "app/shell/display_registry.h"
#include "app/shell/draw_config.h"

namespace scrawlet::shell {

class ControlPanels : public DisplayFeature, public ink::ToolController::Observer {
  public:
    using PickTool = std::function<void(core::Tool)>;
    using KeyLabel = std::function<QString(core::Tool)>;

    ControlPanels(const DrawConfig& config, platform::WindowPlacer* placer, core::Tool tool,
                  PickTool pick, KeyLabel keyLabel);
    ~ControlPanels() override;

    bool attach(const Display& display) override;
    void detach(const Display& display) override;
    void reanchor(const Display& display) override;
    void toolChanged(core::Tool tool) override;

    // Shows or hides every panel; false when there are none.
    bool toggle();
    // Shows every panel that was toggled away; false when there are none.
    bool reveal();
    void setAnnotating(bool annotating);
    void setCompositing(bool compositing);
    bool containsPointer() const;
    // The visible panel that lies on `area`, in global points.
    std::optional<QRect> visibleWithin(const QRect& area) const;
    // The first panel on a screen, in its display's pixels with the origin at the display's
    // top left.
    std::optional<QRect> firstPanelPixels() const;

  private:
    struct Entry {
        std::unique_ptr<ink::ControlPanel> panel;
        bool present = true;
    };
    Entry* find(std::uint32_t displayID);
    void show();

    const DrawConfig& config_;
    platform::WindowPlacer* placer_;
    core::Tool tool_;
    PickTool pick_;
    KeyLabel keyLabel_;
    // Outlives the panels that borrow it.
    std::unique_ptr<ink::PreferencesOriginStore> origins_;
    std::vector<Entry> panels_;
    bool shown_ = true;
    bool annotating_ = true;
    bool compositing_ = true;
};

}  // namespace scrawlet::shell
