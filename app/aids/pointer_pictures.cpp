#include "app/aids/pointer_pictures.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <cmath>

#include "core/pointer_aid_geometry.h"

namespace scrawlet::aids {
namespace {

using Stamp = platform::PointerStage::Stamp;

QColor toQColor(const core::Colour& c, double alpha) {
    return QColor::fromRgbF(float(c.red / 255.0), float(c.green / 255.0), float(c.blue / 255.0),
                            float(alpha));
}

// A transparent picture of the whole pixels round `rect` (relative to the pointer), with a
// painter whose origin is the pointer.
struct Canvas {
    Stamp stamp;
    QPointF origin;
};
Canvas canvasAround(const core::AidRect& rect) {
    const core::PixelBox box = core::coveringBox(rect);
    QImage image(std::max(1, box.width), std::max(1, box.height),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return {{image, QPoint(box.x, box.y)}, QPointF(-box.x, -box.y)};
}

QPainterPath highlightOutline(core::CursorHighlightShape shape, const QRectF& rect) {
    QPainterPath outline;
    switch (shape) {
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
            for (const core::AidPoint& p :
                 core::rhombusCorners({rect.x(), rect.y(), rect.width(), rect.height()})) {
                polygon << QPointF(p.x, p.y);
            }
            outline.addPolygon(polygon);
            outline.closeSubpath();
            break;
        }
    }
    return outline;
}

}  // namespace

Stamp holeStamp(const core::SpotlightSettings& settings, double scale) {
    const double s = std::max(0.0, settings.sizePoints) * scale;
    const core::AidRect hole = core::spotlightHole({0, 0}, {0, 0, 0, 0}, s);
    Canvas canvas = canvasAround(hole);
    QPainter painter(&canvas.stamp.image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(canvas.origin);
    const double radius = core::spotlightCornerRadius(settings.shape, s);
    QPainterPath dim;
    dim.setFillRule(Qt::OddEvenFill);
    dim.addRect(QRectF(-canvas.origin, QSizeF(canvas.stamp.image.size())));
    dim.addRoundedRect(QRectF(hole.x, hole.y, s, s), radius, radius);
    painter.fillPath(dim, QColor::fromRgbF(0, 0, 0, float(core::clampedUnit(settings.dimOpacity))));
    return canvas.stamp;
}

Stamp highlightStamp(const core::CursorHighlightSettings& settings, double scale) {
    const double s = std::max(0.0, settings.sizePoints) * scale;
    const double border = std::max(0.0, settings.borderWidthPoints) * scale;
    const core::AidRect frame = core::highlightFrame({0, 0}, s);
    Canvas canvas = canvasAround(frame);
    QPainter painter(&canvas.stamp.image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(canvas.origin + QPointF(frame.x, frame.y));
    const core::AidRect r = core::highlightOutlineRect(s, border);
    const QPainterPath outline =
        highlightOutline(settings.shape, QRectF(r.x, r.y, r.width, r.height));
    const QColor colour =
        toQColor(settings.colour, core::highlightAlpha(settings.colour, settings.opacity));
    if (core::highlightFilled(settings.shape)) {
        painter.fillPath(outline, colour);
    } else {
        painter.strokePath(outline, QPen(colour, border));
    }
    return canvas.stamp;
}

platform::PointerStage::Ripples ripplePictures(const core::CursorHighlightSettings& settings,
                                               double scale,
                                               std::chrono::milliseconds frameInterval) {
    const double s = std::max(0.0, settings.sizePoints) * scale;
    // A ring as thin as a hairline border would vanish as it fades.
    const double width = std::max(2.0 * scale, std::max(0.0, settings.borderWidthPoints) * scale);
    const double extent = 2 * s + width;
    const core::AidRect bounds{-extent / 2, -extent / 2, extent, extent};
    const double alpha = core::highlightAlpha(settings.colour, settings.opacity);
    const std::size_t count =
        core::rippleFrameCount(std::chrono::duration<double>(frameInterval).count());
    platform::PointerStage::Ripples ripples;
    ripples.frameInterval = frameInterval;
    const std::pair<std::vector<QImage>*, core::Colour> buttons[] = {
        {&ripples.left, settings.colour},
        {&ripples.right, core::rightClickColour(settings.colour)}};
    for (const auto& [frames, colour] : buttons) {
        for (std::size_t i = 0; i < count; ++i) {
            const double progress = count > 1 ? double(i) / double(count - 1) : 0;
            const core::RippleLook look = core::rippleAt(progress, s, alpha);
            Canvas canvas = canvasAround(bounds);
            QPainter painter(&canvas.stamp.image);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.translate(canvas.origin);
            const double d = look.diameter - width;
            painter.setPen(QPen(toQColor(colour, look.alpha), width));
            painter.drawEllipse(QRectF(-d / 2, -d / 2, d, d));
            painter.end();
            ripples.offset = canvas.stamp.offset;
            frames->push_back(canvas.stamp.image);
        }
    }
    return ripples;
}

}  // namespace scrawlet::aids
