#include "app/ink/control_panel.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>
#include <QSurfaceFormat>

#include "app/ink/control_panel_layout.h"

namespace scrawlet::ink {

ControlPanel::ControlPanel(platform::DisplayKey display, ControlPanelView view,
                           ControlPanelOriginStore& origins)
    : display_(std::move(display)), view_(std::move(view)), origins_(origins) {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::WindowDoesNotAcceptFocus);
    // The xcb plugin reads this when mapping: a zero user time tells the window manager not to
    // hand the panel the focus the user's application holds.
    setProperty("_q_showWithoutActivating", true);
    // An alpha channel gives the strip's rounded corners and its 0.92 opacity.
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
    resize(view_.size());
}

void ControlPanel::place(const QRect& screenGeometry) {
    const QPoint origin =
        controlPanelOrigin(origins_.origin(display_), screenGeometry, view_.size());
    setGeometry(QRect(origin, view_.size()));
}

void ControlPanel::setActiveTool(core::Tool tool) {
    view_.setActiveTool(tool);
    update();
}

void ControlPanel::refreshKeyLabels() {
    view_.refreshKeyLabels();
    update();
}

void ControlPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(0, 0), size()), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    view_.paint(painter);
}

void ControlPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    const auto button = view_.buttonAt(event->position());
    press_ = Press{event->globalPosition(), event->globalPosition() - QPointF(position()), button};
    view_.setPressedButton(button);
    update();
}

void ControlPanel::mouseMoveEvent(QMouseEvent* event) {
    if (!press_ || !(event->buttons() & Qt::LeftButton)) {
        return;
    }
    if (!press_->dragging) {
        const QPointF travel = event->globalPosition() - press_->global;
        if (travel.manhattanLength() < QGuiApplication::styleHints()->startDragDistance()) {
            return;
        }
        press_->dragging = true;
        view_.setPressedButton(std::nullopt);
        update();
    }
    // Global positions only: the local ones shift under the pointer as the window moves.
    setPosition((event->globalPosition() - press_->pointerToOrigin).toPoint());
}

void ControlPanel::mouseReleaseEvent(QMouseEvent* event) {
    if (!press_ || event->button() != Qt::LeftButton) {
        return;
    }
    const Press press = *press_;
    press_.reset();
    view_.setPressedButton(std::nullopt);
    update();
    if (press.dragging) {
        // Not position(): configure notifications of the moves on the way may still be due.
        const QPoint origin = (event->globalPosition() - press.pointerToOrigin).toPoint();
        setPosition(origin);
        origins_.setOrigin(display_, origin);
    } else if (press.button && view_.buttonAt(event->position()) == press.button) {
        view_.click(*press.button);
    }
}

}  // namespace scrawlet::ink
