// Live capture in draw mode: started at launch when the run asks for it (`SCRAWLET_DRAW_CAPTURE`),
// or by the first magnifier toggle. At launch every display is captured whole, with this
// application's windows left out unless the self-test wants them, and a self-test observer
// counts the frames showing the control panel's magenta sentinel (which exclusion should make
// none) and dumps the first frame when asked; started for the magnifiers, only the parts they
// watch are captured. Main thread only, apart from the observers, which run on the capture
// thread.
#pragma once

#include <QObject>
#include <QRect>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "app/capture/display_capture.h"
#include "app/platform/capture_service.h"
#include "app/shell/run_summary.h"

namespace scrawlet::shell {

class DrawConfig;

class DrawCapture {
  public:
    // Nothing when the run does not ask for capture or it cannot start; the reason is on
    // standard error then.
    static std::unique_ptr<DrawCapture> startIfAsked(const DrawConfig& config,
                                                     const std::vector<std::uint32_t>& displays,
                                                     std::optional<QRect> panelPixels,
                                                     QObject* context);
    // For the magnifiers; nothing, with the reason on standard error, when capture cannot run.
    static std::unique_ptr<DrawCapture> startForMagnifiers(
        const std::vector<std::uint32_t>& displays, QObject* context);
    ~DrawCapture();

    // The window that shows part of a display enlarged, drawn into from every frame.
    void project(std::uint32_t displayID,
                 std::optional<platform::CaptureService::Projection> projection);
    // `moved` runs on the capture thread after the pointer moves, until the same watcher gives
    // an empty function; false when capture cannot tell.
    bool watchPointer(const void* watcher, std::function<void(QPoint)> moved);
    bool followsPointer() const { return service_->followsPointer(); }
    // Runs for every frame, on the capture thread.
    void addObserver(std::function<void(const capture::DisplayCapture::Frame&)> observer);

    CaptureTotals totals() const;

  private:
    DrawCapture(std::unique_ptr<platform::CaptureService> service, QObject* context);
    static std::unique_ptr<DrawCapture> create(QObject* context);
    void observe(const capture::DisplayCapture::Frame& frame);

    std::unique_ptr<platform::CaptureService> service_;
    std::unique_ptr<capture::DisplayCapture> capture_;
    std::optional<QRect> panelPixels_;
    std::string dumpPath_;
    std::atomic<bool> dumped_{false};
    std::atomic<std::uint64_t> selfCaptured_{0};
    std::mutex observersLock_;
    std::vector<std::function<void(const capture::DisplayCapture::Frame&)>> observers_;
    std::mutex pointerLock_;
    std::map<const void*, std::function<void(QPoint)>> pointerWatchers_;
};

}  // namespace scrawlet::shell
