#include "app/diagnostics/overlay_panel.h"

#include <QMouseEvent>
#include <QPainter>
#include <QSurfaceFormat>
#include <QVariant>
#include <algorithm>

namespace scrawlet::diagnostics {

QRectF sentinelRect(QSizeF panelSize, double insetPoints, double sizePoints) {
    // A screen smaller than the inset still shows the whole square, pushed into its corner.
    const double x = std::max(0.0, std::min(insetPoints, panelSize.width() - sizePoints));
    const double y = std::max(0.0, std::min(insetPoints, panelSize.height() - sizePoints));
    return {x, y, sizePoints, sizePoints};
}

OverlayPanel::OverlayPanel(Qt::WindowFlags flags, Look look) : look_(look) {
    setFlags(flags);
    // A zero user time on mapping keeps the focus with the user's application.
    setProperty("_q_showWithoutActivating", true);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
}

void OverlayPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(), size()),
                     QColor(0, 120, 255, static_cast<int>(look_.debugFillAlpha * 255 + 0.5)));
    painter.fillRect(sentinelRect(size(), look_.sentinelInsetPoints, look_.sentinelSizePoints),
                     QColor(kSentinelRGB[0], kSentinelRGB[1], kSentinelRGB[2]));
    if (look_.fiducialRect) {
        painter.fillRect(*look_.fiducialRect,
                         QColor(kFiducialRGB[0], kFiducialRGB[1], kFiducialRGB[2]));
    }
    if (animationStep_ >= 0) {
        painter.fillRect(animationSquare(), QColor(255, 255, 255));
    }
}

void OverlayPanel::advanceAnimation() {
    const QRect before = animationSquare();
    ++animationStep_;
    update(before);
    update(animationSquare());
}

QRect OverlayPanel::animationSquare() const {
    constexpr int kSide = 16;
    const int lanes = std::max(1, width() / kSide);
    return {(std::max(animationStep_, 0) % lanes) * kSide, height() - 2 * kSide, kSide, kSide};
}

void OverlayPanel::mousePressEvent(QMouseEvent* event) {
    if (onPress_) {
        onPress_(event->button());
    }
}

}  // namespace scrawlet::diagnostics
