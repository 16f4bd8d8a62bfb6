#include "app/aids/keystroke_display_panel.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace scrawlet::aids {
namespace {

constexpr double kPillOpacity = 0.72;

}  // namespace

KeystrokeDisplayPanel::KeystrokeDisplayPanel()
    : font_(QFontDatabase::systemFont(QFontDatabase::FixedFont)) {
    font_.setWeight(QFont::DemiBold);
    setSizePoints(sizePoints_);
    resize(10, 10);
}

void KeystrokeDisplayPanel::setSizePoints(double sizePoints) {
    sizePoints_ = sizePoints;
    // Points here are the desktop's device-independent pixels, not typographic points.
    font_.setPixelSize(std::max(1, static_cast<int>(std::lround(sizePoints))));
    update();
}

void KeystrokeDisplayPanel::setText(const QString& text) {
    text_ = text;
    update();
}

void KeystrokeDisplayPanel::setFadeAlpha(double alpha) {
    fadeAlpha_ = alpha;
    update();
}

double KeystrokeDisplayPanel::captionWidth(const QString& text) const {
    return QFontMetricsF(font_).horizontalAdvance(text);
}

void KeystrokeDisplayPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(QPoint(0, 0), size()), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds(QPointF(0, 0), QSizeF(size()));
    const double radius = bounds.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0, 0, 0, static_cast<float>(kPillOpacity * fadeAlpha_)));
    painter.drawRoundedRect(bounds, radius, radius);
    if (text_.isEmpty())
        return;
    painter.setFont(font_);
    painter.setPen(QColor::fromRgbF(1, 1, 1, static_cast<float>(fadeAlpha_)));
    painter.drawText(bounds, Qt::AlignCenter, text_);
}

}  // namespace scrawlet::aids
