#include "app/ink/control_panel_view.h"

#include "app/ink/control_panel_layout.h"

namespace scrawlet::ink {

ControlPanelView::ControlPanelView(SelectTool selectTool, KeyLabel keyLabel, bool showsSentinel)
    : selectTool_(std::move(selectTool)),
      keyLabel_(std::move(keyLabel)),
      showsSentinel_(showsSentinel) {
    buttons_.reserve(kControlPanelTools.size());
    for (const core::Tool tool : kControlPanelTools) {
        buttons_.emplace_back(tool);
    }
    refreshKeyLabels();
}

QSize ControlPanelView::size() const {
    return controlPanelSize(showsSentinel_);
}

void ControlPanelView::setActiveTool(core::Tool tool) {
    for (ControlPanelButton& button : buttons_) {
        button.setActive(button.tool() == tool);
    }
}

std::optional<core::Tool> ControlPanelView::activeTool() const {
    for (const ControlPanelButton& button : buttons_) {
        if (button.isActive()) {
            return button.tool();
        }
    }
    return std::nullopt;
}

void ControlPanelView::refreshKeyLabels() {
    for (ControlPanelButton& button : buttons_) {
        button.setKeyLabel(keyLabel_ ? keyLabel_(button.tool()) : QString());
    }
}

std::optional<std::size_t> ControlPanelView::buttonAt(QPointF point) const {
    return controlPanelButtonAt(point, showsSentinel_);
}

void ControlPanelView::setPressedButton(std::optional<std::size_t> index) {
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        buttons_[i].setPressed(index == i);
    }
}

void ControlPanelView::click(std::size_t index) const {
    if (selectTool_ && index < buttons_.size()) {
        selectTool_(buttons_[index].tool());
    }
}

void ControlPanelView::paint(QPainter& painter) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0.12f, 0.12f, 0.12f, 0.92f));
    painter.drawRoundedRect(QRectF(QPointF(0, 0), QSizeF(size())), kControlPanelCornerRadiusPoints,
                            kControlPanelCornerRadiusPoints);
    if (showsSentinel_) {
        painter.fillRect(kControlPanelSentinelRect, QColor::fromRgbF(1.0f, 0.0f, 0.6f));
    }
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        buttons_[i].paint(painter, controlPanelButtonRect(i, showsSentinel_));
    }
    painter.restore();
}

}  // namespace scrawlet::ink
