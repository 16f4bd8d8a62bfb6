// The floating tool strip of one display: a translucent, frameless, always-on-top tool window
// that never takes the keyboard focus, tied to its display's 32-bit identifier.
//
// A press that moves no further than the desktop's drag distance is a click on the button under
// it (pressed and released on the same button); anything further drags the whole panel, keeping
// the pointer's offset from the origin, and the origin where it lands is written to the origin
// store. `place` puts the panel at the stored origin for its display when that still fits the
// display, else at the default place. The store is borrowed and must outlive the panel.
// Main thread only.
#pragma once

#include <QPoint>
#include <QPointF>
#include <QRasterWindow>
#include <QRect>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "app/ink/control_panel_origin_store.h"
#include "app/ink/control_panel_view.h"
#include "app/platform/display_identifier.h"
#include "core/tool.h"

namespace scrawlet::ink {

class ControlPanel : public QRasterWindow {
    Q_OBJECT

  public:
    ControlPanel(platform::DisplayKey display, ControlPanelView view,
                 ControlPanelOriginStore& origins);

    const platform::DisplayKey& display() const { return display_; }
    const ControlPanelView& view() const { return view_; }

    void place(const QRect& screenGeometry);
    void setActiveTool(core::Tool tool);
    void refreshKeyLabels();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    struct Press {
        QPointF global;
        QPointF pointerToOrigin;
        std::optional<std::size_t> button;
        bool dragging = false;
    };

    platform::DisplayKey display_;
    ControlPanelView view_;
    ControlPanelOriginStore& origins_;
    std::optional<Press> press_;
};

}  // namespace scrawlet::ink
