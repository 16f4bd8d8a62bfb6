// Where the control panel's parts go: the buttons inside the strip, and the strip on its display.
//
// Pure functions in points (Qt's device-independent pixels); global coordinates have a top-left
// origin with y down. Nothing here needs a GUI application. The stored-origin text is the
// "{x, y}" form kept in the preferences file.
#pragma once

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringView>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/tool.h"

namespace scrawlet::ink {

// Every tool but the eraser, which has no effect yet, in the tool table's order.
inline constexpr std::array<core::Tool, 8> kControlPanelTools{
    core::Tool::pen,     core::Tool::line,        core::Tool::arrow, core::Tool::rectangle,
    core::Tool::ellipse, core::Tool::highlighter, core::Tool::text,  core::Tool::select};

inline constexpr int kControlPanelHeightPoints = 62;
inline constexpr int kControlPanelButtonWidthPoints = 44;
inline constexpr int kControlPanelButtonHeightPoints = 46;
inline constexpr double kControlPanelCornerRadiusPoints = 10;
inline constexpr QRect kControlPanelSentinelRect{8, 8, 40, 28};
// Default placement: centred, with the strip's bottom edge this far above the display's.
inline constexpr int kControlPanelBottomInsetPoints = 120;
// How far a restored panel may hang over its display's edges and still be put back there.
inline constexpr int kControlPanelOriginSlackPoints = 16;

QRect controlPanelButtonRect(std::size_t index, bool showsSentinel);
QSize controlPanelSize(bool showsSentinel);
// The index into kControlPanelTools of the button under `point` (panel coordinates).
std::optional<std::size_t> controlPanelButtonAt(QPointF point, bool showsSentinel);
std::optional<std::size_t> controlPanelButtonIndex(core::Tool tool);

QPoint defaultControlPanelOrigin(const QRect& screen, QSize panel);
// The stored origin when the panel placed there stays within the screen (give or take the
// slack), else the default: a display that shrank or moved sends the panel home.
QPoint controlPanelOrigin(std::optional<QPoint> stored, const QRect& screen, QSize panel);

// "controlPanel.origin.<display identifier in decimal>"
QString controlPanelOriginKey(std::uint32_t displayID);
// "controlPanel.originByName.<monitor name>"
QString controlPanelOriginNameKey(std::string_view monitorName);
QString controlPanelOriginText(QPoint origin);
// Accepts what controlPanelOriginText writes, with any spacing and fractional coordinates
// (rounded); nothing for anything else.
std::optional<QPoint> parseControlPanelOriginText(QStringView text);

}  // namespace scrawlet::ink
