#include "app/ink/control_panel_layout.h"

#include <QStringList>
#include <algorithm>
#include <cmath>

namespace scrawlet::ink {

namespace {

constexpr int kMarginPoints = 8;
constexpr int kButtonStridePoints = 44;
// Beyond this a coordinate is not a place on any desktop; refusing it keeps QPoint from
// overflowing on a hand-edited file.
constexpr double kLargestCoordinate = 1'000'000;

int firstButtonX(bool showsSentinel) {
    return showsSentinel ? kControlPanelSentinelRect.right() + 1 + kMarginPoints : kMarginPoints;
}

std::optional<int> parseCoordinate(QStringView text) {
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || std::abs(value) > kLargestCoordinate) {
        return std::nullopt;
    }
    return static_cast<int>(std::lround(value));
}

}  // namespace

QRect controlPanelButtonRect(std::size_t index, bool showsSentinel) {
    const int x = firstButtonX(showsSentinel) + static_cast<int>(index) * kButtonStridePoints;
    return {x, kMarginPoints, kControlPanelButtonWidthPoints, kControlPanelButtonHeightPoints};
}

QSize controlPanelSize(bool showsSentinel) {
    const QRect last = controlPanelButtonRect(kControlPanelTools.size() - 1, showsSentinel);
    return {last.right() + 1 + kMarginPoints, kControlPanelHeightPoints};
}

std::optional<std::size_t> controlPanelButtonAt(QPointF point, bool showsSentinel) {
    for (std::size_t i = 0; i < kControlPanelTools.size(); ++i) {
        // Half-open: QRectF::contains takes the right edge too, which is the next button's.
        const QRect r = controlPanelButtonRect(i, showsSentinel);
        if (point.x() >= r.x() && point.x() < r.x() + r.width() && point.y() >= r.y() &&
            point.y() < r.y() + r.height()) {
            return i;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> controlPanelButtonIndex(core::Tool tool) {
    const auto found = std::find(kControlPanelTools.begin(), kControlPanelTools.end(), tool);
    if (found == kControlPanelTools.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - kControlPanelTools.begin());
}

QPoint defaultControlPanelOrigin(const QRect& screen, QSize panel) {
    const double midX = screen.x() + screen.width() * 0.5;
    const int x = static_cast<int>(std::floor(midX - panel.width() * 0.5));
    const int bottom = screen.y() + screen.height();
    return {x, bottom - kControlPanelBottomInsetPoints - panel.height()};
}

QPoint controlPanelOrigin(std::optional<QPoint> stored, const QRect& screen, QSize panel) {
    if (stored) {
        const int slack = kControlPanelOriginSlackPoints;
        if (screen.adjusted(-slack, -slack, slack, slack).contains(QRect(*stored, panel))) {
            return *stored;
        }
    }
    return defaultControlPanelOrigin(screen, panel);
}

QString controlPanelOriginKey(std::uint32_t displayID) {
    return QStringLiteral("controlPanel.origin.") + QString::number(displayID);
}

QString controlPanelOriginNameKey(std::string_view monitorName) {
    return QStringLiteral("controlPanel.originByName.") +
           QString::fromUtf8(monitorName.data(), static_cast<qsizetype>(monitorName.size()));
}

QString controlPanelOriginText(QPoint origin) {
    return QStringLiteral("{%1, %2}").arg(origin.x()).arg(origin.y());
}

std::optional<QPoint> parseControlPanelOriginText(QStringView text) {
    const QStringView trimmed = text.trimmed();
    if (trimmed.size() < 2 || !trimmed.startsWith(u'{') || !trimmed.endsWith(u'}')) {
        return std::nullopt;
    }
    const QStringView inner = trimmed.sliced(1, trimmed.size() - 2);
    const qsizetype comma = inner.indexOf(u',');
    if (comma < 0 || inner.indexOf(u',', comma + 1) >= 0) {
        return std::nullopt;
    }
    const auto x = parseCoordinate(inner.first(comma));
    const auto y = parseCoordinate(inner.sliced(comma + 1));
    if (!x || !y) {
        return std::nullopt;
    }
    return QPoint(*x, *y);
}

}  // namespace scrawlet::ink
