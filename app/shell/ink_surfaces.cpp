#include "app/shell/ink_surfaces.h"

#include <QCursor>
#include <QScreen>
#include <algorithm>
#include <iostream>

namespace scrawlet::shell {
namespace {

constexpr std::uint64_t kCanJoinAllSpaces = 1;

}  // namespace

platform::WindowPlacement overlayPlacement(const DrawConfig& config, bool transparentForInput) {
    return {windowLevel(config.levelToken),
            (collectionBehavior(config.behaviorTokens).bits & kCanJoinAllSpaces) != 0, true,
            transparentForInput};
}

InkSurfaces::InkSurfaces(const DrawConfig& config, const ink::ToolController& tools,
                         platform::WindowPlacer* placer, platform::PresentPath presentPath)
    : config_(config),
      tools_(tools),
      placer_(placer),
      presentPath_(presentPath),
      timeToLive_(tools.settings().autoErase.timeToLiveSeconds()),
      ignoresMouse_(config.startsIgnoringMouseEvents) {}

platform::WindowPlacement InkSurfaces::placement(bool transparentForInput) const {
    return overlayPlacement(config_, transparentForInput);
}

core::DisplayTransform InkSurfaces::transformFor(const QScreen* screen) const {
    const double zoom = config_.contentZoom.value_or(1.0);
    const double scale = screen->devicePixelRatio();
    // A non-positive zoom or scale would make a transform the scenes cannot use.
    return core::DisplayTransform(
        {config_.contentOriginX.value_or(0), config_.contentOriginY.value_or(0)},
        zoom > 0 ? zoom : 1.0, scale > 0 ? scale : 1.0);
}

InkSurfaces::Surface* InkSurfaces::find(std::uint32_t displayID) {
    const auto found = std::find_if(surfaces_.begin(), surfaces_.end(),
                                    [&](const Surface& s) { return s.display.id == displayID; });
    return found == surfaces_.end() ? nullptr : &*found;
}

bool InkSurfaces::attach(const Display& display) {
    if (find(display.key.id)) {
        reanchor(display);
        return true;
    }
    QScreen* screen = display.screen;
    ink::InkView::Options options;
    options.transform = transformFor(screen);
    options.style = tools_.currentStyle();
    options.capacities = {static_cast<int>(config_.limits.pointCapacity),
                          static_cast<int>(config_.limits.strokeCapacity),
                          config_.limits.minimumSeparation,
                          static_cast<int>(config_.limits.textCapacity)};
    options.tool = tools_.tool();
    options.presentPath = presentPath_;
    // The level's window-manager bypass must be in place before the native window exists.
    options.flags =
        platform::flagsForLevel(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus,
                                windowLevel(config_.levelToken));
    auto view = ink::InkView::create(screen, screen->geometry(), options);
    if (!view) {
        return false;
    }
    view->setCursorEnabled(!ignoresMouse_);
    view->setTimeToLive(timeToLive_);
    view->canvas().setBeautify(tools_.settings().beautify);
    if (placer_) {
        // The taskbar and tray stay usable under the ink; control panels are not overlays.
        auto overlay = placement(ignoresMouse_);
        overlay.yieldsToPanels = true;
        if (const auto placed = placer_->place(*view, overlay); !placed) {
            std::cerr << "draw: overlay placement: " << placed.error() << "\n";
        }
    } else {
        view->setFlag(Qt::WindowTransparentForInput, ignoresMouse_);
    }
    view->setPointerOverControlPanel([this] { return overPanel_ && overPanel_(); });
    view->setHintKeepClear([this, raw = view.get()]() -> std::optional<QRect> {
        return hintKeepClear_ ? hintKeepClear_(raw->geometry()) : std::nullopt;
    });
    view->setOnTypingChord(
        [this](const core::Chord& chord) { return onTypingChord_ && onTypingChord_(chord); });
    if (config_.fiducials) {
        view->installFiducials();
    }
    surfaces_.push_back({display.key, std::move(view), true});
    showOrHide(surfaces_.back());
    if (display.arrived) {
        log::FrontmostLog::shared().record(
            "displayAppeared", std::nullopt,
            "displayID=" + std::to_string(display.key.id) + " new surface");
    }
    return true;
}

void InkSurfaces::detach(const Display& display) {
    Surface* surface = find(display.key.id);
    if (!surface || !surface->visible) {
        return;
    }
    surface->view->hide();
    surface->visible = false;
    log::FrontmostLog::shared().record(
        "displayDisappeared", panelState(*surface),
        "displayID=" + std::to_string(display.key.id) + " surface retained with its ink");
}

void InkSurfaces::reanchor(const Display& display) {
    Surface* surface = find(display.key.id);
    if (!surface) {
        attach(display);
        return;
    }
    QScreen* screen = display.screen;
    surface->view->setScreen(screen);
    surface->view->setGeometry(screen->geometry());
    surface->view->reanchor(transformFor(screen));
    surface->visible = true;
    showOrHide(*surface);
}

void InkSurfaces::toolChanged(core::Tool tool) {
    for (const Surface& surface : surfaces_) {
        surface.view->setTool(tool);
    }
}

void InkSurfaces::styleChanged(const core::StrokeStyle& style) {
    for (const Surface& surface : surfaces_) {
        surface.view->setStyle(style);
    }
}

void InkSurfaces::timeToLiveChanged(std::optional<double> seconds) {
    timeToLive_ = seconds;
    for (const Surface& surface : surfaces_) {
        surface.view->setTimeToLive(seconds);
    }
}

void InkSurfaces::settingsChanged(const core::AnnotationSettings& settings) {
    for (const Surface& surface : surfaces_) {
        surface.view->canvas().setBeautify(settings.beautify);
    }
}

std::vector<std::uint32_t> InkSurfaces::displayIDs() const {
    std::vector<std::uint32_t> ids;
    for (const Surface& surface : surfaces_) {
        ids.push_back(surface.display.id);
    }
    return ids;
}

std::vector<ink::InkView*> InkSurfaces::views() const {
    std::vector<ink::InkView*> result;
    result.reserve(surfaces_.size());
    for (const Surface& surface : surfaces_) {
        result.push_back(surface.view.get());
    }
    return result;
}

ink::InkView* InkSurfaces::viewUnderPointer() const {
    const QPoint pointer = QCursor::pos();
    for (const Surface& surface : surfaces_) {
        if (surface.visible && surface.view->geometry().contains(pointer)) {
            return surface.view.get();
        }
    }
    return surfaces_.empty() ? nullptr : surfaces_.front().view.get();
}

bool InkSurfaces::isSelectingCaptureRegion() const {
    return std::any_of(surfaces_.begin(), surfaces_.end(),
                       [](const Surface& s) { return s.view->isSelectingCaptureRegion(); });
}

void InkSurfaces::setAnnotating(bool annotating) {
    annotating_ = annotating;
    for (const Surface& surface : surfaces_) {
        showOrHide(surface);
    }
}

void InkSurfaces::setCompositing(bool compositing) {
    compositing_ = compositing;
    for (const Surface& surface : surfaces_) {
        showOrHide(surface);
    }
}

void InkSurfaces::showOrHide(const Surface& surface) const {
    surface.view->setVisible(onScreen() && surface.visible);
}

void InkSurfaces::setIgnoresMouse(bool ignoresMouse) {
    ignoresMouse_ = ignoresMouse;
    for (const Surface& surface : surfaces_) {
        ink::InkView& view = *surface.view;
        if (placer_) {
            if (const auto set = placer_->setTransparentForInput(view, ignoresMouse); !set) {
                std::cerr << "draw: click-through: " << set.error() << "\n";
            }
        } else {
            view.setFlag(Qt::WindowTransparentForInput, ignoresMouse);
        }
        view.setCursorEnabled(!ignoresMouse);
    }
}

std::optional<log::PanelState> InkSurfaces::firstPanelState() const {
    return surfaces_.empty() ? std::nullopt : panelState(surfaces_.front());
}

std::optional<log::PanelState> InkSurfaces::panelState(const Surface& surface) const {
    const ink::InkView& view = *surface.view;
    return log::PanelState{view.isVisible(),
                           false,
                           false,
                           ignoresMouse_,
                           windowLevel(config_.levelToken),
                           static_cast<long long>(collectionBehavior(config_.behaviorTokens).bits),
                           view.isVisible(),
                           surface.display.name};
}

std::string InkSurfaces::progressLine() const {
    std::uint64_t events = 0;
    std::uint64_t strokes = 0;
    std::uint64_t frames = 0;
    for (const Surface& surface : surfaces_) {
        events += surface.view->canvas().eventCount();
        strokes += surface.view->canvas().strokeCount();
        frames += surface.view->frames().frameCount();
    }
    return shell::progressLine(events, strokes, frames);
}

void InkSurfaces::contribute(RunSummaryInput& input) const {
    input.panels = surfaces_.size();
    for (const Surface& surface : surfaces_) {
        const ink::InkView& view = *surface.view;
        const ink::InkCanvas& canvas = view.canvas();
        InkTotals& ink = input.ink;
        ink.eventCount += canvas.eventCount();
        ink.draggedEventCount += canvas.draggedEventCount();
        ink.strokeCount += canvas.strokeCount();
        ink.visibleSpanCount += static_cast<std::uint64_t>(canvas.scene().visibleSpanCount());
        ink.reclaimablePointCount +=
            static_cast<std::uint64_t>(canvas.scene().reclaimablePointCount());
        ink.visibleTextCount += static_cast<std::uint64_t>(canvas.textScene().visibleCount());
        ink.droppedTextCount += static_cast<std::uint64_t>(canvas.textScene().droppedCount());
        ink.frameCount += view.frames().frameCount();
        ink.deferredFrameCount += view.frames().deferredFrameCount();
        ink.tickCount += view.frames().tickCount();
        ink.idleTickCount += view.frames().idleTickCount();
        ink.instanceCount += static_cast<std::uint64_t>(view.instances().instanceCount());
        ink.droppedPointCount += static_cast<std::uint64_t>(canvas.scene().droppedPointCount());
        ink.droppedStrokeCount += static_cast<std::uint64_t>(canvas.scene().droppedStrokeCount());
        ink.droppedInstanceCount += view.instances().droppedInstanceCount();
    }
    if (!surfaces_.empty()) {
        const ink::InkView& first = *surfaces_.front().view;
        input.backingScaleFactor = first.devicePixelRatio();
        input.nominalRefreshHz = 1.0 / first.frames().refreshInterval();
    }
}

void InkSurfaces::stop() {
    for (const Surface& surface : surfaces_) {
        surface.view->stop();
    }
}

}  // namespace scrawlet::shell
