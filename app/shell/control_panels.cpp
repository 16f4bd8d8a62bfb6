#include "app/shell/control_panels.h"

#include <QCursor>
#include <QScreen>
#include <algorithm>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/shell/ink_surfaces.h"

namespace scrawlet::shell {

ControlPanels::ControlPanels(const DrawConfig& config, platform::WindowPlacer* placer,
                             core::Tool tool, PickTool pick, KeyLabel keyLabel)
    : config_(config),
      placer_(placer),
      tool_(tool),
      pick_(std::move(pick)),
      keyLabel_(std::move(keyLabel)),
      origins_(std::make_unique<ink::PreferencesOriginStore>()) {}

ControlPanels::~ControlPanels() {
    panels_.clear();
}

ControlPanels::Entry* ControlPanels::find(std::uint32_t displayID) {
    const auto found = std::find_if(panels_.begin(), panels_.end(), [&](const Entry& e) {
        return e.panel->display().id == displayID;
    });
    return found == panels_.end() ? nullptr : &*found;
}

bool ControlPanels::attach(const Display& display) {
    if (find(display.key.id)) {
        reanchor(display);
        return true;
    }
    ink::ControlPanelView view(pick_, keyLabel_, config_.controlPanelSentinel);
    auto panel = std::make_unique<ink::ControlPanel>(display.key, std::move(view), *origins_);
    panel->setActiveTool(tool_);
    panel->setScreen(display.screen);
    panel->place(display.screen->geometry());
    if (placer_) {
        // At the overlay's level, placed after it, so the strip stays above the ink.
        if (const auto placed = placer_->place(*panel, overlayPlacement(config_, false)); !placed) {
            std::cerr << "draw: control panel placement: " << placed.error() << "\n";
        }
    }
    panels_.push_back({std::move(panel), true});
    show();
    return true;
}

void ControlPanels::detach(const Display& display) {
    if (Entry* entry = find(display.key.id)) {
        entry->present = false;
        show();
    }
}

void ControlPanels::reanchor(const Display& display) {
    Entry* entry = find(display.key.id);
    if (!entry) {
        attach(display);
        return;
    }
    entry->present = true;
    entry->panel->setScreen(display.screen);
    entry->panel->place(display.screen->geometry());
    show();
}

void ControlPanels::toolChanged(core::Tool tool) {
    tool_ = tool;
    for (const Entry& entry : panels_) {
        entry.panel->setActiveTool(tool);
    }
}

bool ControlPanels::toggle() {
    if (panels_.empty()) {
        return false;
    }
    shown_ = !shown_;
    show();
    log::FrontmostLog::shared().record("panelToggle", std::nullopt,
                                       std::string("visible=") + (shown_ ? "true" : "false"));
    return true;
}

bool ControlPanels::reveal() {
    if (panels_.empty()) {
        return false;
    }
    shown_ = true;
    show();
    return true;
}

void ControlPanels::setAnnotating(bool annotating) {
    annotating_ = annotating;
    show();
}

void ControlPanels::setCompositing(bool compositing) {
    compositing_ = compositing;
    show();
}

bool ControlPanels::containsPointer() const {
    const QPoint pointer = QCursor::pos();
    return std::any_of(panels_.begin(), panels_.end(), [&](const Entry& e) {
        return e.panel->isVisible() && e.panel->geometry().contains(pointer);
    });
}

std::optional<QRect> ControlPanels::visibleWithin(const QRect& area) const {
    for (const Entry& entry : panels_) {
        if (entry.panel->isVisible() && area.intersects(entry.panel->geometry())) {
            return entry.panel->geometry();
        }
    }
    return std::nullopt;
}

std::optional<QRect> ControlPanels::firstPanelPixels() const {
    for (const Entry& entry : panels_) {
        if (const QScreen* screen = entry.panel->screen()) {
            const double s = screen->devicePixelRatio();
            const QRect panel = entry.panel->geometry();
            const QPoint offset = panel.topLeft() - screen->geometry().topLeft();
            return QRectF(offset.x() * s, offset.y() * s, panel.width() * s, panel.height() * s)
                .toAlignedRect();
        }
    }
    return std::nullopt;
}

void ControlPanels::show() {
    for (const Entry& entry : panels_) {
        entry.panel->setVisible(shown_ && annotating_ && compositing_ && entry.present);
    }
}

}  // namespace scrawlet::shell
