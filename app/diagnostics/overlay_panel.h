// One panel of the overlay check: a borderless, never-focused window over a whole screen,
// transparent but for an optional debug fill, the sentinel square near its top-left corner and,
// for the capture check, a fiducial rectangle and a moving square.
// Presses that reach it are handed to the owner, which is how a panel that should let clicks
// through is caught taking one. Main thread only.
#pragma once

#include <QRasterWindow>
#include <QRectF>
#include <functional>
#include <optional>

namespace scrawlet::diagnostics {

// The marks' colours, which the logs announce as "sentinelRGB" and "fiducialRGB".
inline constexpr int kSentinelRGB[3] = {255, 0, 255};
inline constexpr int kFiducialRGB[3] = {0, 255, 0};

// Where the sentinel sits in a panel of `panelSize`, in the panel's points.
QRectF sentinelRect(QSizeF panelSize, double insetPoints, double sizePoints);

class OverlayPanel : public QRasterWindow {
  public:
    struct Look {
        double sentinelInsetPoints = 0;
        double sentinelSizePoints = 0;
        double debugFillAlpha = 0;
        // In the panel's points.
        std::optional<QRectF> fiducialRect;
    };
    OverlayPanel(Qt::WindowFlags flags, Look look);

    void setOnPress(std::function<void(Qt::MouseButton)> onPress) { onPress_ = std::move(onPress); }
    // Moves a small square along the panel's bottom edge, so that its content keeps changing;
    // only the two places it leaves and enters are painted again.
    void advanceAnimation();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    QRect animationSquare() const;

    Look look_;
    int animationStep_ = -1;
    std::function<void(Qt::MouseButton)> onPress_;
};

}  // namespace scrawlet::diagnostics
