// Live capture in draw mode when the run asks for it (`SCRAWLET_DRAW_CAPTURE`): every display
// captured whole, with this application's windows left out unless the self-test wants them,
// and a self-test observer that counts the frames showing the control panel's magenta
// sentinel (which exclusion should make none) and dumps the first frame when asked.
// Main thread only, apart from the observer, which runs on the capture thread.
#pragma once

#include <QObject>
#include <QRect>
#include <atomic>
#include <memory>
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
    ~DrawCapture();

    CaptureTotals totals() const;

  private:
    DrawCapture(std::unique_ptr<platform::CaptureService> service, QObject* context);
    void observe(const capture::DisplayCapture::Frame& frame);

    std::unique_ptr<platform::CaptureService> service_;
    std::unique_ptr<capture::DisplayCapture> capture_;
    std::optional<QRect> panelPixels_;
    std::string dumpPath_;
    std::atomic<bool> dumped_{false};
    std::atomic<std::uint64_t> selfCaptured_{0};
};

}  // namespace scrawlet::shell
