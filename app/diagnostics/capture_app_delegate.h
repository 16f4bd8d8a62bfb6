// The capture check: one display captured through DisplayCapture while an overlay panel of
// ours shows the sentinel square (and a fiducial rectangle when configured) on it. Every frame
// is a "frame" record saying whether the marks are in it; with exclusion they must not be,
// without it they must. After the run time and the linger the summary is written.
//
// SIGUSR1 records an operator mark; SIGUSR2, SIGINT and SIGTERM end the run early. Frames
// arrive on the capture thread, which only records and counts under `lock_`; everything else
// is main-thread work.
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/capture/display_capture.h"
#include "app/diagnostics/capture_config.h"
#include "app/diagnostics/overlay_panel.h"
#include "app/platform/platform_services.h"
#include "app/shell/draw_config.h"
#include "app/shell/signal_relay.h"

namespace scrawlet::diagnostics {

class CaptureAppDelegate : public QObject {
    Q_OBJECT

  public:
    explicit CaptureAppDelegate(CaptureConfig config);
    ~CaptureAppDelegate() override;

    std::optional<shell::ConfigExit> launch();

  signals:
    void finished(int status);

  private:
    // Where the marks are in the display's pixels; fixed for the run.
    struct Marks {
        QRect sentinel;
        std::optional<QRect> fiducial;
    };
    // Shared with the capture thread.
    struct Tally {
        std::uint64_t frames = 0;
        std::uint64_t complete = 0;
        std::uint64_t idle = 0;
        std::uint64_t selfCaptured = 0;
        int generations = 0;
        bool dumped = false;
        bool dumpTried = false;
    };

    std::optional<shell::ConfigExit> showPanel(QScreen& screen);
    void sampled(const capture::DisplayCapture::Sample& sample);
    void streamStarted(int generation, int width, int height);
    void mark();
    void requestStop(const std::string& reason);
    void stopped();
    void writeSummary();
    std::string summaryText() const;
    void printBanner() const;

    CaptureConfig config_;
    std::unique_ptr<OverlayPanel> panel_;
    std::unique_ptr<platform::CaptureService> service_;
    std::unique_ptr<capture::DisplayCapture> capture_;
    shell::SignalRelay signals_;
    QTimer runTimer_;
    QTimer animationTimer_;
    std::uint32_t displayID_ = 0;
    std::string displayName_;
    double backingScaleFactor_ = 1;
    QSize pointSize_;
    Marks marks_;
    bool hadPermissionAtLaunch_ = false;
    bool streamStarted_ = false;
    std::string reason_;
    double startedAt_ = 0;
    std::chrono::system_clock::time_point startedWallClock_;
    double stopRequestedAt_ = 0;
    std::optional<double> stopLatencyMs_;
    std::vector<std::string> operatorMarks_;
    std::vector<std::string> streamErrors_;
    capture::DisplayCapture::Counters finalCounters_;
    bool stopping_ = false;

    mutable std::mutex lock_;
    Tally tally_;
};

}  // namespace scrawlet::diagnostics
