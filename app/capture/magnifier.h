// The two magnifiers: the zoom lens, a round or rounded-square window that follows the pointer
// and shows the area under it enlarged, and the full-screen zoom, which covers the display
// under the pointer with an enlarged view whose centre eases after the pointer.
//
// One panel per display, at most one shown: the one under the pointer. While on, each move of
// the pointer (at most one a refresh) moves the panel and tells the capture which part of the
// display it shows, and so does each refresh while the full-screen zoom eases after the
// pointer; the capture draws each frame of that part into the panel as soon as it has it. Captured
// frames leave out this application's windows, so a magnifier never magnifies itself. Off,
// nothing runs and nothing is watched. Main thread only, apart from `store`.
#pragma once

#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWindow>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "app/capture/display_capture.h"
#include "app/platform/display_feature.h"
#include "app/platform/window_placement.h"
#include "core/settings.h"
#include "core/zoom_geometry.h"

namespace scrawlet::capture {

// The window a magnifier shows the display in. The capture draws into it on the window
// system's side; Qt never paints it.
class MagnifierPanel : public QWindow {
  public:
    explicit MagnifierPanel(bool lens);
};

class Magnifier : public QObject, public platform::DisplayFeature {
  public:
    enum class Kind { lens, fullScreen };
    struct Capture {
        // The window a display's frames are to be drawn into; nothing to stop drawing them.
        std::function<void(std::uint32_t displayID,
                           std::optional<platform::CaptureService::Projection>)>
            project;
        // Runs its argument on any thread after the pointer moves, with its place on the
        // screen in pixels, until the same watcher gives an empty one. False when capture
        // cannot tell: the magnifier then looks at every refresh.
        std::function<bool(const void* watcher, std::function<void(QPoint)>)> watchPointer;
        // Whether the capture can move a lens with the pointer by itself, in a window of its
        // own; the magnifier then only tells it what to show.
        std::function<bool()> followsPointer;
    };

    Magnifier(Kind kind, const core::ZoomSettings& settings, Capture capture,
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
    // A frame the capture took; from the capture thread.
    void store(const DisplayCapture::Frame& frame);

    std::uint64_t presentedFrames() const { return presentedFrames_; }
    std::uint64_t idleTicks() const { return idleTicks_; }

  private:
    struct Surface {
        std::uint32_t displayID = 0;
        // Qt deletes a screen that goes before the displays are told.
        QPointer<QScreen> screen;
        std::unique_ptr<MagnifierPanel> panel;
        std::optional<core::AidPoint> centre;  // the full-screen zoom's eased centre
    };
    Surface* find(std::uint32_t displayID);
    MagnifierPanel& panelOf(Surface& s);
    // The lens that capture moves by itself, on every display, or nothing on none.
    void projectFollowing(bool shown);
    void projectFollowing(const Surface& s, bool shown);
    // A tick now, or at the next refresh when the last one was less than one ago.
    void requestTick();
    // Returns whether the view is still moving (the full-screen zoom easing after the pointer).
    bool follow();
    void tick();
    void stopWatching();
    // The lens's outline at `size` pixels: where it shows the frame, and its border.
    void drawOutline(QSize size, double scale);

    Kind kind_;
    core::ZoomSettings settings_;
    Capture capture_;
    platform::WindowPlacer* placer_;
    platform::WindowPlacement placement_;
    std::vector<Surface> surfaces_;
    QTimer clock_;
    bool everyRefresh_ = false;           // without word of the pointer's moves
    std::atomic<bool> following_{false};  // the capture moves the lens; read by its thread
    std::atomic<bool> tickPosted_{false};
    // Where the capture last saw the pointer, in pixels.
    std::mutex reportedLock_;
    std::optional<QPoint> reported_;
    std::chrono::steady_clock::time_point lastTick_;
    std::atomic<bool> active_{false};
    // The display whose frames are drawn into its panel, read by the capture thread too; -1
    // for none.
    std::atomic<std::int64_t> watched_{-1};
    std::optional<platform::CaptureService::Projection> shown_;
    QImage mask_;
    QImage decoration_;
    core::RegionShape outlineShape_ = core::RegionShape::circle;
    std::atomic<std::uint64_t> presentedFrames_{0};
    std::uint64_t idleTicks_ = 0;
};

}  // namespace scrawlet::capture
