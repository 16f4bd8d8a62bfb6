// The latency probe: one drawing surface on one display, pointer input from a person or from
// the synthetic driver, and at the end one JSON Lines file that joins every event to the frame
// that carried it and the time that frame was presented.
//
// The run ends when the target number of events is reached, at the time limit, on Escape in a
// live run, when the window is closed, or on SIGINT, SIGTERM or SIGUSR2; each way stops capture,
// waits a quarter second for presentation reports still under way and writes the file whole,
// atomically. `finished` carries the exit status: 0, or 3 when the file could not be written (the
// run is then kept in the temporary folder, or printed). Main thread only.
#pragma once

#include <QObject>
#include <QSize>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/diagnostics/input_devices.h"
#include "app/diagnostics/latency_probe.h"
#include "app/diagnostics/run_config.h"
#include "app/shell/signal_relay.h"

class QScreen;
class QWindow;

namespace scrawlet::platform {
class PresentationTimer;
class SyntheticInput;
}  // namespace scrawlet::platform
namespace scrawlet::ink {
class InkView;
}
namespace scrawlet::shell {
class SyntheticDragDriver;
}

namespace scrawlet::diagnostics {

class DrawSurfaceTap;
class OcclusionMeter;
class ProbeView;

class ProbeAppDelegate : public QObject {
    Q_OBJECT

  public:
    explicit ProbeAppDelegate(RunConfig config);
    ~ProbeAppDelegate() override;

    std::optional<shell::ConfigExit> launch();
    void finish(const std::string& reason);

  signals:
    void finished(int status);

  private:
    std::optional<shell::ConfigExit> openSurface(QScreen& screen);
    std::expected<QWindow*, shell::ConfigExit> openDrawSurface(QScreen& screen);
    std::expected<QWindow*, shell::ConfigExit> openProbeView(QScreen& screen);
    void readDisplay(const QScreen& screen);
    void flush();
    void keepElsewhere(const std::string& text) const;
    RunMetadata metadata() const;
    void printBanner() const;

    RunConfig config_;
    std::unique_ptr<LatencyProbe> probe_;
    // After the probe, which it reports into from its own thread.
    std::unique_ptr<platform::PresentationTimer> presentation_;
    std::unique_ptr<platform::SyntheticInput> input_;
    std::unique_ptr<ProbeView> view_;
    std::unique_ptr<ink::InkView> inkView_;
    std::unique_ptr<DrawSurfaceTap> tap_;
    std::unique_ptr<OcclusionMeter> occlusion_;
    std::unique_ptr<shell::SyntheticDragDriver> driver_;
    shell::SignalRelay signals_;
    QTimer runTimer_;
    std::vector<InputDevices::Device> devices_;
    // Read once at launch: Qt deletes its screens when the displays change.
    struct Display {
        std::string name;
        std::uint32_t id = 0;
        double refreshHz = 0;
        double scale = 1;
        QSize sizePoints;
    };
    Display display_;
    std::chrono::system_clock::time_point startedWallClock_;
    std::string reason_;
    bool finishing_ = false;
};

// Which of the screens named `names` (in Qt's order) a selector means: a RandR monitor name,
// else a zero-based index; `primary` without one. Refuses with "probe: no screen" (status 2)
// when there is no screen at all, and with status 64 when the selector names none.
std::expected<std::size_t, shell::ConfigExit> selectScreen(
    const std::vector<std::string>& names, std::size_t primary,
    const std::optional<std::string>& selector);

}  // namespace scrawlet::diagnostics
