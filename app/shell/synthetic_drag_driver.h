// Drags over a window without a person: a press, then drags along a fixed Lissajous curve
// over the window, a new stroke every `stepsPerStroke` steps. It drives the draw mode's ink
// view and the latency probe's view alike. The "direct" transport hands Qt mouse events
// straight to the window, stamped with the post time; "cgEventPost" injects real pointer input
// at the matching global points, so the events travel through the X server like a person's.
// `onPost` hears of every post before it is made. Main thread only.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointF>
#include <QSizeF>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <string>

#include "app/shell/draw_config.h"

namespace scrawlet::platform {
class SyntheticInput;
}
class QWindow;

namespace scrawlet::shell {

class SyntheticDragDriver : public QObject {
  public:
    // `input` is only used by the cgEventPost transport and must outlive the driver.
    SyntheticDragDriver(QWindow& view, DrawConfig::Transport transport, double intervalSeconds,
                        std::int64_t stepsPerStroke, platform::SyntheticInput* input);

    // The monotonic time of the post and the global point it goes to.
    std::function<void(double time, QPoint global)> onPost;
    // Starts the line of a failed injection ("draw: ").
    std::string messagePrefix = "draw: ";

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

    QWindow& view_;
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
