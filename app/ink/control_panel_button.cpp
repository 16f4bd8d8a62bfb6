#include "app/ink/control_panel_button.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPen>

#include "app/ink/control_panel_icons.h"
#include "app/ink/control_panel_layout.h"

namespace scrawlet::ink {

namespace {

constexpr double kCornerRadiusPoints = 7;
constexpr double kIconTopPoints = 7;
constexpr double kLabelTopPoints = 28;
constexpr double kLabelHeightPoints = 13;
constexpr double kLabelSidePaddingPoints = 2;
constexpr int kLargestLabelPixels = 10;
constexpr int kSmallestLabelPixels = 7;
// Labels are fitted once, when set, rather than on every paint.
constexpr double kLabelWidthPoints = kControlPanelButtonWidthPoints - 2 * kLabelSidePaddingPoints;

QColor white(double alpha) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(alpha));
}

}  // namespace

ControlPanelButton::Appearance ControlPanelButton::appearance(bool active, bool pressed) {
    if (active) {
        return {QColor::fromRgbF(0.24f, 0.52f, 1.0f), white(1.0), white(0.90)};
    }
    const auto background = pressed ? std::optional(white(0.16)) : std::nullopt;
    return {background, white(0.93), white(0.62)};
}

void ControlPanelButton::setKeyLabel(const QString& label) {
    keyLabel_ = label;
    labelFont_ = QGuiApplication::font();
    labelFont_.setPixelSize(kLargestLabelPixels);
    while (labelFont_.pixelSize() > kSmallestLabelPixels &&
           QFontMetricsF(labelFont_).horizontalAdvance(label) > kLabelWidthPoints) {
        labelFont_.setPixelSize(labelFont_.pixelSize() - 1);
    }
    shownLabel_ = QFontMetricsF(labelFont_).elidedText(label, Qt::ElideRight, kLabelWidthPoints);
}

void ControlPanelButton::paint(QPainter& painter, const QRectF& frame) const {
    const Appearance look = appearance(active_, pressed_);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (look.background) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(*look.background);
        painter.drawRoundedRect(frame, kCornerRadiusPoints, kCornerRadiusPoints);
    }

    const ToolIcon& icon = toolIcon(tool_);
    painter.save();
    painter.translate(frame.center().x() - kToolIconSizePoints / 2, frame.top() + kIconTopPoints);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(
        QPen(look.icon, kToolIconStrokePoints, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(icon.outline);
    painter.fillPath(icon.fill, look.icon);
    painter.restore();

    if (!shownLabel_.isEmpty()) {
        painter.setFont(labelFont_);
        painter.setPen(look.label);
        const QRectF area(frame.left() + kLabelSidePaddingPoints, frame.top() + kLabelTopPoints,
                          frame.width() - 2 * kLabelSidePaddingPoints, kLabelHeightPoints);
        painter.drawText(area, Qt::AlignHCenter | Qt::AlignVCenter, shownLabel_);
    }
    painter.restore();
}

}  // namespace scrawlet::ink
