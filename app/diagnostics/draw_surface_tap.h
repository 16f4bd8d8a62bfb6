// Records the probe's measurements on the draw mode's own surface (an overlay panel with an
// InkView and its StrokeRenderer) without changing how it draws: every press and motion is
// timed around the view's own handling, and every frame it presents is committed and handed
// to the presentation timer. The view reports a frame once it has presented it, so a frame's
// submission time here is the end of its present rather than the end of its encoding. Live
// input only: nothing here knows post times. Main thread only.
#pragma once

#include <QObject>
#include <functional>

#include "app/diagnostics/latency_probe.h"
#include "app/platform/presentation_timer.h"

namespace scrawlet::ink {
class InkView;
}

namespace scrawlet::diagnostics {

class DrawSurfaceTap : public QObject {
  public:
    DrawSurfaceTap(ink::InkView& view, LatencyProbe& probe,
                   platform::PresentationTimer& presentation, std::size_t targetSamples);

    void startCapturing() { isCapturing_ = true; }
    void stopCapturing() { isCapturing_ = false; }

    std::function<void()> onTargetReached;
    std::function<void()> onEscape;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    ink::InkView& view_;
    LatencyProbe& probe_;
    std::size_t targetSamples_;
    bool isCapturing_ = false;
    bool insideView_ = false;
    bool targetReached_ = false;
};

}  // namespace scrawlet::diagnostics
