// The two magnifiers: the zoom lens, a round or rounded-square window that follows the pointer
// and shows the area under it enlarged, and the full-screen zoom, which covers the display
// under the pointer with an enlarged view whose centre eases after the pointer.
//
// One panel per display, at most one shown: the one under the pointer. While on, a clock at the
// display's refresh moves the panel, tells the capture which part of the display to watch, and
// shows the newest frame of it; a new frame is shown as soon as it arrives. Captured frames
// leave out this application's windows, so a magnifier never magnifies itself. Off, nothing
// runs and nothing is watched. Main thread only, apart from `store`.
#pragma once

#include <QTimer>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "app/aids/aid_window.h"
#include "app/capture/display_capture.h"
#include "app/platform/display_feature.h"
#include "app/platform/window_placement.h"
#include "core/settings.h"
#include "core/zoom_geometry.h"

namespace scrawlet::capture {

// Shows part of a captured frame scaled to fill the window; the lens clips it to its outline.
class MagnifierPanel : public aids::AidWindow {
  public:
    explicit MagnifierPanel(bool lens) : lens_(lens) {}
    void setShape(core::RegionShape shape) { shape_ = shape; }
    // `source` is in the display's pixels; the frame may cover another part of the display
    // than the source (the capture follows a frame later), and is placed where it belongs.
    void present(const DisplayCapture::Frame& frame, const QRectF& source);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    bool lens_;
    core::RegionShape shape_ = core::RegionShape::circle;
    DisplayCapture::Frame frame_;
    QRectF source_;
};

class Magnifier : public QObject, public platform::DisplayFeature {
  public:
    enum class Kind { lens, fullScreen };
    // Which part of a display to capture, in its pixels; nothing to stop watching it.
    using Watch = std::function<void(std::uint32_t displayID, std::optional<QRect> pixels)>;

    Magnifier(Kind kind, const core::ZoomSettings& settings, Watch watch,
              platform::WindowPlacer* placer, platform::WindowPlacement placement);
    ~Magnifier() override;

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

    // New settings, shown at the next refresh.
    void apply(const core::ZoomSettings& settings);
    const core::ZoomSettings& settings() const { return settings_; }
    // Records the change in the event log; nothing happens when the state is already `active`.
    void setActive(bool active);
    bool isActive() const { return active_; }
    // The newest frame of a display; from the capture thread.
    void store(const DisplayCapture::Frame& frame);

    std::uint64_t presentedFrames() const { return presentedFrames_; }
    std::uint64_t idleTicks() const { return idleTicks_; }

  private:
    struct Surface {
        std::uint32_t displayID = 0;
        QScreen* screen = nullptr;
        std::unique_ptr<MagnifierPanel> panel;
        std::optional<core::AidPoint> centre;  // the full-screen zoom's eased centre
    };
    Surface* find(std::uint32_t displayID);
    void tick();
    // Shows the newest frame of the display under the pointer, if it came since the last one.
    void present(bool fromClock);
    void stopWatching();

    Kind kind_;
    core::ZoomSettings settings_;
    Watch watch_;
    platform::WindowPlacer* placer_;
    platform::WindowPlacement placement_;
    std::vector<Surface> surfaces_;
    QTimer clock_;
    std::atomic<bool> active_{false};
    std::optional<std::uint32_t> watched_;
    QRectF source_;  // what the current surface shows, in its display's pixels
    QRectF shownSource_;
    QRect shownRegion_;
    QImage shownImage_;
    std::mutex lock_;
    std::unordered_map<std::uint32_t, DisplayCapture::Frame> latest_;
    bool presentPosted_ = false;
    std::uint64_t presentedFrames_ = 0;
    std::uint64_t idleTicks_ = 0;
};

}  // namespace scrawlet::capture
