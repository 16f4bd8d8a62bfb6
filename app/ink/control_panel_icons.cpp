#include "app/ink/control_panel_icons.h"

#include <QPolygonF>
#include <QTransform>
#include <array>
#include <initializer_list>

#include "core/enum_traits.h"

namespace scrawlet::ink {

namespace {

using core::Tool;

void addClosed(QPainterPath& path, std::initializer_list<QPointF> points) {
    path.addPolygon(QPolygonF(QList<QPointF>(points)));
    path.closeSubpath();
}

void addLine(QPainterPath& path, std::initializer_list<QPointF> points) {
    auto point = points.begin();
    path.moveTo(*point);
    for (++point; point != points.end(); ++point) {
        path.lineTo(*point);
    }
}

// Drawn upright, then leant 45° to the right about the box's centre so the tip points up-right.
ToolIcon leaning(ToolIcon icon) {
    QTransform transform;
    transform.translate(kToolIconSizePoints / 2, kToolIconSizePoints / 2);
    transform.rotate(45);
    transform.translate(-kToolIconSizePoints / 2, -kToolIconSizePoints / 2);
    return {transform.map(icon.outline), transform.map(icon.fill)};
}

ToolIcon makeIcon(Tool tool) {
    ToolIcon icon;
    QPainterPath& o = icon.outline;
    switch (tool) {
        case Tool::pen:
            addClosed(o, {{5, 1.5}, {12, 1.5}, {12, 8}, {8.5, 15.5}, {5, 8}});
            addLine(o, {{5, 8}, {12, 8}});
            addClosed(icon.fill, {{7.1, 12.5}, {9.9, 12.5}, {8.5, 15.5}});
            break;
        case Tool::line:
            addLine(o, {{2.5, 14.5}, {14.5, 2.5}});
            break;
        case Tool::arrow:
            addLine(o, {{3, 14}, {14, 3}});
            addLine(o, {{7, 3}, {14, 3}, {14, 10}});
            break;
        case Tool::rectangle:
            o.addRoundedRect(QRectF(1.5, 3.5, 14, 10), 2, 2);
            break;
        case Tool::ellipse:
            o.addEllipse(QPointF(8.5, 8.5), 7, 7);
            break;
        case Tool::highlighter:
            o.addRect(QRectF(5.5, 6.5, 6, 9.5));
            addClosed(o, {{5.5, 6.5}, {6.8, 3}, {10.2, 3}, {11.5, 6.5}});
            icon.fill.addRect(QRectF(7.2, 1.2, 3, 1.8));
            return leaning(icon);
        case Tool::text:
            addLine(o, {{1, 14}, {5.5, 3}, {10, 14}});
            addLine(o, {{2.8, 10}, {8.2, 10}});
            o.addEllipse(QPointF(12.8, 11.5), 2.3, 2.5);
            addLine(o, {{15.1, 8.5}, {15.1, 14}});
            break;
        case Tool::eraser:
            o.addRoundedRect(QRectF(5.5, 1.5, 6, 14), 1.5, 1.5);
            icon.fill.addRect(QRectF(5.5, 11, 6, 4.5));
            return leaning(icon);
        case Tool::select:
            addClosed(o, {{4.5, 1.5},
                          {4.5, 14.5},
                          {7.6, 11.6},
                          {9.7, 16},
                          {11.7, 15.1},
                          {9.6, 10.8},
                          {13.6, 10.6}});
            break;
    }
    return icon;
}

}  // namespace

const ToolIcon& toolIcon(Tool tool) {
    static const auto icons = [] {
        std::array<ToolIcon, core::caseCount<Tool>()> all;
        for (const Tool each : core::allCases<Tool>()) {
            all[static_cast<std::size_t>(each)] = makeIcon(each);
        }
        return all;
    }();
    return icons[static_cast<std::size_t>(tool)];
}

}  // namespace scrawlet::ink
