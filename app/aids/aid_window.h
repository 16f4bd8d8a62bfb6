// The windows the aids show: translucent, frameless, never focused, without a taskbar
// entry and letting every pointer event through. Each paints only when its look changes; the
// aids move and shape them as the pointer moves. Main thread only.
#pragma once

#include <QPointF>
#include <QRasterWindow>

#include "core/pointer_aid_geometry.h"

namespace scrawlet::aids {

class AidWindow : public QRasterWindow {
  public:
    AidWindow();
};

// Black at the dim alpha over a whole display.
class DimWindow : public AidWindow {
  public:
    void setAlpha(double alpha);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    double alpha_ = 0;
};

// The square around the spotlight's hole: dim outside the hole's anti-aliased outline, clear
// inside. `offset` places the outline's square in the window when the window is whole pixels
// wider than the outline.
class HoleEdgeWindow : public AidWindow {
  public:
    struct Look {
        core::RegionShape shape = core::RegionShape::circle;
        double sizePoints = 0;
        double alpha = 0;
        QPointF offset;
        bool operator==(const Look&) const = default;
    };
    void setLook(const Look& look);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Look look_;
};

// The cursor highlight's shape, filling the window.
class HighlightWindow : public AidWindow {
  public:
    void setSettings(const core::CursorHighlightSettings& settings);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    core::CursorHighlightSettings settings_;
};

}  // namespace scrawlet::aids
