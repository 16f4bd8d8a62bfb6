#include "app/aids/aid_window.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QSurfaceFormat>
#include <QVariant>

namespace scrawlet::aids {

AidWindow::AidWindow() {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput);
    // A zero user time on mapping keeps the focus with the user's application.
    setProperty("_q_showWithoutActivating", true);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
}

void DimWindow::setAlpha(double alpha) {
    if (alpha != alpha_) {
        alpha_ = alpha;
        update();
    }
}

void DimWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(0, 0), size()), QColor::fromRgbF(0, 0, 0, float(alpha_)));
}

void HoleEdgeWindow::setLook(const Look& look) {
    if (!(look == look_)) {
        look_ = look;
        update();
    }
}

void HoleEdgeWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(0, 0), size()), Qt::transparent);
    const double s = look_.sizePoints;
    const double radius = core::spotlightCornerRadius(look_.shape, s);
    QPainterPath dim;
    dim.setFillRule(Qt::OddEvenFill);
    dim.addRect(QRectF(QPointF(0, 0), QSizeF(size())));
    dim.addRoundedRect(QRectF(look_.offset, QSizeF(s, s)), radius, radius);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(dim, QColor::fromRgbF(0, 0, 0, float(look_.alpha)));
}

void HighlightWindow::setSettings(const core::CursorHighlightSettings& settings) {
    settings_ = settings;
    update();
}

void HighlightWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(0, 0), size()), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    const core::AidRect r =
        core::highlightOutlineRect(settings_.sizePoints, settings_.borderWidthPoints);
    const QRectF rect(r.x, r.y, r.width, r.height);
    const core::Colour& c = settings_.colour;
    const QColor colour =
        QColor::fromRgbF(float(c.red / 255.0), float(c.green / 255.0), float(c.blue / 255.0),
                         float(core::highlightAlpha(c, settings_.opacity)));
    QPainterPath outline;
    switch (settings_.shape) {
        case core::CursorHighlightShape::ring:
        case core::CursorHighlightShape::filledCircle:
            outline.addEllipse(rect);
            break;
        case core::CursorHighlightShape::squircle:
            outline.addRoundedRect(rect, core::kSquircleRadiusFraction * rect.width(),
                                   core::kSquircleRadiusFraction * rect.height());
            break;
        case core::CursorHighlightShape::rhombus: {
            QPolygonF polygon;
            for (const core::AidPoint& p : core::rhombusCorners(r)) {
                polygon << QPointF(p.x, p.y);
            }
            outline.addPolygon(polygon);
            outline.closeSubpath();
            break;
        }
    }
    if (core::highlightFilled(settings_.shape)) {
        painter.fillPath(outline, colour);
    } else {
        painter.strokePath(outline, QPen(colour, settings_.borderWidthPoints));
    }
}

}  // namespace scrawlet::aids
