// What draw mode does to measure itself for test harnesses, kept apart from annotating:
// registration marks and their records, pointer parking, the click-through round trip, the
// synthetic drawing driver and the scripted actions run just before the time limit. Each part
// runs only when its variable asks for it. Main thread only.
#pragma once

#include <QObject>
#include <QPoint>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "app/ink/action_router.h"
#include "app/platform/synthetic_input.h"
#include "app/shell/draw_config.h"
#include "app/shell/ink_surfaces.h"
#include "app/shell/synthetic_drag_driver.h"

namespace scrawlet::shell {

class DrawMeasurements : public QObject {
    Q_OBJECT

  public:
    // What the measurements drive in the controller.
    struct Host {
        std::function<void()> toggleInteractive;
        // When the last click-through toggle happened, in monotonic seconds.
        std::function<double()> interactiveToggledAt;
        std::function<void(const std::string&)> requestFinish;
        std::function<bool()> finished;
    };

    DrawMeasurements(const DrawConfig& config, InkSurfaces& surfaces,
                     const ink::ActionRouter& router, Host host);
    ~DrawMeasurements() override;

    // The round trip and the scripted actions; their timers start now.
    void schedule();
    // Registration marks' records and pointer parking, once the surfaces exist.
    void publishAtLaunch();
    // After the banner: the synthetic driver, when a transport asks for one.
    void startDriver();
    void publishRegistration(bool republished);
    void stop();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void parkPointer();
    void measureToggleRoundTrip(std::int64_t trials);
    void runRoundTripTrial();
    void endRoundTripTrial(std::optional<double> milliseconds);
    void scheduleScriptedActions();

    const DrawConfig& config_;
    InkSurfaces& surfaces_;
    const ink::ActionRouter& router_;
    Host host_;
    std::unique_ptr<platform::SyntheticInput> input_;
    std::unique_ptr<SyntheticDragDriver> driver_;
    // The click-through round trip in progress.
    struct RoundTrip {
        std::int64_t trials = 0;
        std::int64_t lost = 0;
        std::vector<double> milliseconds;
        bool trialRunning = false;
        double trialStart = 0;
        QTimer clicks;
        int clicksLeft = 0;
        QPoint target;
    };
    std::unique_ptr<RoundTrip> roundTrip_;
};

}  // namespace scrawlet::shell
