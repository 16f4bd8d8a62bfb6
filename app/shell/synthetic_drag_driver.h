// Draws on an ink view without a person: a press, then drags along a fixed Lissajous curve
// over the view, a new stroke every `stepsPerStroke` steps. The "direct" transport hands Qt
// mouse events straight to the view; "cgEventPost" injects real pointer input at the matching
// global points, so the events travel through the X server like a person's. Main thread only.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointF>
#include <QSizeF>
#include <QTimer>
#include <cstdint>

#include "app/shell/draw_config.h"

namespace scrawlet::platform {
class SyntheticInput;
}
namespace scrawlet::ink {
class InkView;
}

namespace scrawlet::shell {

class SyntheticDragDriver : public QObject {
  public:
    // `input` is only used by the cgEventPost transport and must outlive the driver.
    SyntheticDragDriver(ink::InkView& view, DrawConfig::Transport transport, double intervalSeconds,
                        std::int64_t stepsPerStroke, platform::SyntheticInput* input);

    // The first step comes 0.2 s later, once the windows are up.
    void start();
    // Releases the button if a stroke is open.
    void stop();

    std::uint64_t postCount() const { return postCount_; }

    // Where step `step` lies inside a view of `size` points.
    static QPointF target(std::uint64_t step, QSizeF size);

  private:
    void tick();
    void postStep();
    void post(QPointF local, bool press, bool release);

    ink::InkView& view_;
    DrawConfig::Transport transport_;
    std::int64_t stepsPerStroke_;
    platform::SyntheticInput* input_;
    double intervalSeconds_;
    QTimer timer_;
    QElapsedTimer clock_;
    std::uint64_t accounted_ = 0;  // steps posted or given up since the start
    std::uint64_t step_ = 0;
    std::int64_t stepInStroke_ = 0;
    bool buttonIsDown_ = false;
    QPointF lastViewPoint_;
    std::uint64_t postCount_ = 0;
};

}  // namespace scrawlet::shell
