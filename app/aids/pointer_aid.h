// What the spotlight and the cursor highlight share: the displays they follow the pointer on,
// in device pixels, and being switched on and off. Each hands its pictures to the pointer
// stage, which does the following; with no stage (no X server) they switch but show nothing.
// Main thread only.
#pragma once

#include <QRect>
#include <cstdint>
#include <string>
#include <vector>

#include "app/platform/display_feature.h"
#include "app/platform/pointer_stage.h"

namespace scrawlet::aids {

// `presentedFrames` counts pointer updates that changed what the aid shows, `idleTicks` those
// that did not (the pointer on no display, or where the aid already was).
struct AidStats {
    bool active = false;
    std::uint64_t presentedFrames = 0;
    std::uint64_t idleTicks = 0;
};

class PointerAid : public platform::DisplayFeature {
  public:
    explicit PointerAid(platform::PointerStage* stage) : stage_(stage) {}

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

    // Records the change in the event log; nothing happens when the state is already `active`.
    void setActive(bool active);
    bool isActive() const { return active_; }
    // Without a compositing manager the pictures would show opaque: an active aid waits
    // hidden, like the overlays, and shows again when one runs.
    void setCompositing(bool compositing);

  protected:
    struct Frame {
        std::uint32_t displayID = 0;
        QRect pixels;
        double scale = 1;
    };
    // Shows the current pictures again when active; for new settings or displays.
    void refresh();
    // Device pixels per point, taken from the first display.
    double scale() const { return frames_.empty() ? 1.0 : frames_.front().scale; }

    virtual void show() = 0;
    virtual void hide() = 0;
    // The event log's record name and note for a switch.
    virtual std::string toggleRecord() const = 0;
    virtual std::string toggleNote() const = 0;

    platform::PointerStage* stage_;
    std::vector<Frame> frames_;

  private:
    void present();
    bool shown() const { return active_ && compositing_ && stage_; }

    bool active_ = false;
    bool compositing_ = true;
};

}  // namespace scrawlet::aids
