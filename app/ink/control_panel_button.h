// One tool button of the control panel: the tool's symbol with its shortcut text under it,
// highlighted while it is the active tool and shaded while pressed.
//
// A plain value that paints itself into the panel; the panel's window owns the pointer. Setting
// a key label measures text, so it needs the GUI application; everything else does not.
// Main thread only.
#pragma once

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QRectF>
#include <QString>
#include <optional>

#include "core/tool.h"

namespace scrawlet::ink {

class ControlPanelButton {
  public:
    struct Appearance {
        std::optional<QColor> background;
        QColor icon;
        QColor label;
    };
    // Active wins over pressed: the button of the tool in use stays blue while clicked again.
    static Appearance appearance(bool active, bool pressed);

    explicit ControlPanelButton(core::Tool tool) : tool_(tool) {}

    core::Tool tool() const { return tool_; }
    const QString& keyLabel() const { return keyLabel_; }
    // Shrinks the text's font, then elides, so that a long chord fits the button's width.
    void setKeyLabel(const QString& label);
    bool isActive() const { return active_; }
    void setActive(bool active) { active_ = active; }
    bool isPressed() const { return pressed_; }
    void setPressed(bool pressed) { pressed_ = pressed; }

    void paint(QPainter& painter, const QRectF& frame) const;

  private:
    core::Tool tool_;
    QString keyLabel_;
    QString shownLabel_;
    QFont labelFont_;
    bool active_ = false;
    bool pressed_ = false;
};

}  // namespace scrawlet::ink
