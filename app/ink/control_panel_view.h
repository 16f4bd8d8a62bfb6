// The control panel's content: a rounded strip of tool buttons, optionally led by the diagnostic
// sentinel (a solid marker that capture checks look for).
//
// Clicking a button only calls `selectTool`; the highlight moves when the caller answers with
// `setActiveTool`, so the tool controller stays the one owner of the current tool. Key labels
// come from `keyLabel` at construction and on `refreshKeyLabels`; an empty text shows none.
// Painting allocates nothing. Needs the GUI application (labels are measured). Main thread only.
#pragma once

#include <QPainter>
#include <QPointF>
#include <QSize>
#include <QString>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "app/ink/control_panel_button.h"
#include "core/tool.h"

namespace scrawlet::ink {

class ControlPanelView {
  public:
    using SelectTool = std::function<void(core::Tool)>;
    using KeyLabel = std::function<QString(core::Tool)>;

    // Either function may be empty: no clicks reported, no labels.
    ControlPanelView(SelectTool selectTool, KeyLabel keyLabel, bool showsSentinel);

    QSize size() const;
    bool showsSentinel() const { return showsSentinel_; }
    const std::vector<ControlPanelButton>& buttons() const { return buttons_; }

    // A tool without a button (the eraser) leaves no button highlighted.
    void setActiveTool(core::Tool tool);
    std::optional<core::Tool> activeTool() const;
    void refreshKeyLabels();

    std::optional<std::size_t> buttonAt(QPointF point) const;
    void setPressedButton(std::optional<std::size_t> index);
    void click(std::size_t index) const;

    void paint(QPainter& painter) const;

  private:
    SelectTool selectTool_;
    KeyLabel keyLabel_;
    bool showsSentinel_;
    std::vector<ControlPanelButton> buttons_;
};

}  // namespace scrawlet::ink
