// Screenshots of the display under the pointer or of a region dragged on it, as the screen
// shows them, ink included; and the short history of them in the tray menu.
//
// The screen is read, cut, encoded and written on a worker thread; the main thread only starts
// a capture, puts the PNG on the clipboard (before the file is written, so that a failed write
// still leaves it there) and completes it: the shutter sound, the white flash, the history and
// the event-log record. Main thread only, apart from those workers.
#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QWindow>
#include <functional>
#include <memory>
#include <optional>

#include "app/ink/action_router.h"
#include "app/platform/screen_reader.h"
#include "app/platform/sound_player.h"
#include "app/platform/window_placement.h"
#include "core/screenshot.h"

class QMenu;

namespace scrawlet::ink {
class InkView;
}

namespace scrawlet::shell {

class DrawConfig;
class InkSurfaces;
class StatusMenu;

class Screenshots : public QObject {
  public:
    struct Host {
        // The text of an action's current binding, for the region hint.
        std::function<QString(core::ActionID)> keyLabel;
        std::function<void(const std::string& reason)> finish;
    };

    Screenshots(const DrawConfig& config, InkSurfaces& surfaces, StatusMenu& menu,
                platform::WindowPlacer* placer, Host host);
    ~Screenshots() override;

    // The actions `capture.screenshot` and `capture.region`.
    ink::Outcome takeScreenshot();
    ink::Outcome toggleRegionCapture();

    // Started and not yet completed.
    int pending() const { return pending_; }
    // `count` screenshots one after the other, then the run ends.
    void runTrials(std::int64_t count);

  private:
    struct Job;
    ink::Outcome start(ink::InkView* view, std::optional<core::PixelRect> crop,
                       std::optional<QRectF> viewRect);
    void read(const std::shared_ptr<Job>& job);
    void complete(const std::shared_ptr<Job>& job);
    void flash(ink::InkView& view, const QRectF& rect);
    void record(const core::CaptureHistory::Entry& entry);
    void addSection(QMenu& menu);
    std::string folder() const;

    const DrawConfig& config_;
    InkSurfaces& surfaces_;
    StatusMenu& menu_;
    platform::WindowPlacer* placer_;
    Host host_;
    std::shared_ptr<platform::ScreenReader> reader_;
    std::unique_ptr<platform::SoundPlayer> sound_;
    bool opened_ = false;
    std::unique_ptr<core::CaptureHistory> history_;
    int pending_ = 0;
    std::vector<QPointer<QWindow>> flashes_;
};

}  // namespace scrawlet::shell
