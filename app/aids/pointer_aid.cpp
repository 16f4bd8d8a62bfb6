#include "app/aids/pointer_aid.h"

#include <QScreen>
#include <algorithm>
#include <optional>

#include "app/aids/aid_window.h"
#include "app/log/frontmost_log.h"

namespace scrawlet::aids {

// Qt keeps a screen's top-left corner in device pixels and scales only its size.
bool PointerAid::attach(const platform::Display& display) {
    const QRect g = display.screen->geometry();
    const double scale = display.screen->devicePixelRatio();
    const Frame frame{display.key.id, QRect(g.topLeft(), (QSizeF(g.size()) * scale).toSize()),
                      scale};
    const auto found = std::find_if(frames_.begin(), frames_.end(),
                                    [&](const Frame& f) { return f.displayID == display.key.id; });
    if (found == frames_.end()) {
        frames_.push_back(frame);
    } else {
        *found = frame;
    }
    refresh();
    return true;
}

void PointerAid::detach(const platform::Display& display) {
    std::erase_if(frames_, [&](const Frame& f) { return f.displayID == display.key.id; });
    refresh();
}

void PointerAid::reanchor(const platform::Display& display) {
    attach(display);
}

void PointerAid::setActive(bool active) {
    if (active == active_) {
        return;
    }
    const bool was = shown();
    active_ = active;
    if (shown() != was) {
        active ? present() : hide();
    }
    log::FrontmostLog::shared().record(
        toggleRecord(), std::nullopt,
        std::string("active=") + (active ? "true" : "false") + " " + toggleNote());
}

void PointerAid::setCompositing(bool compositing) {
    const bool was = shown();
    compositing_ = compositing;
    if (shown() != was) {
        compositing ? present() : hide();
    }
}

void PointerAid::present() {
    stage_->setFrameInterval(refreshMilliseconds());
    show();
}

void PointerAid::refresh() {
    if (shown()) {
        present();
    }
}

}  // namespace scrawlet::aids
