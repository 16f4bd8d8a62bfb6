// Watches one window for occlusion during a probe run and adds up how long it lasted.
//
// On X11 "occluded" means the window stopped being exposed after it had been shown: unmapped,
// minimised, moved to another workspace, or fully covered where the server says so. Frames
// presented meanwhile never reach the screen, so the operator is told once per occlusion.
// `onFirstExposure` runs once, when the window can first be seen. Main thread only.
#pragma once

#include <QObject>
#include <QWindow>
#include <functional>
#include <optional>

namespace scrawlet::diagnostics {

class OcclusionMeter : public QObject {
  public:
    explicit OcclusionMeter(QWindow& window);

    // Until now, an occlusion still under way included.
    double occludedSeconds() const;

    std::function<void()> onFirstExposure;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWindow& window_;
    bool wasExposed_ = false;
    std::optional<double> occludedSince_;
    double occludedSeconds_ = 0;
};

}  // namespace scrawlet::diagnostics
