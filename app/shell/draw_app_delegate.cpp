#include "app/shell/draw_app_delegate.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>
#include <QSystemTrayIcon>
#include <cmath>
#include <csignal>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/atomic_file.h"
#include "app/platform/display_identifier.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/settings/settings_store.h"
#include "app/shell/run_summary.h"
#include "app/shortcuts/permissions.h"
#include "core/number_format.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;

constexpr std::uint64_t kCanJoinAllSpaces = 1;

}  // namespace

DrawAppDelegate::DrawAppDelegate(DrawConfig config)
    : config_(std::move(config)),
      ignoresMouse_(config_.startsIgnoringMouseEvents),
      finishDeferral_(
          [this] {
              return std::any_of(surfaces_.begin(), surfaces_.end(), [](const Surface& s) {
                  return s.view->isSelectingCaptureRegion();
              });
          },
          [this](const std::string& reason) { finish(reason); }) {
    timeLimit_.setSingleShot(true);
    // A coarse timer may fire up to 5 % early: a 5 s run would end at 4.75 s.
    timeLimit_.setTimerType(Qt::PreciseTimer);
    connect(&timeLimit_, &QTimer::timeout, this, [this] { requestFinish("timeout"); });
}

DrawAppDelegate::~DrawAppDelegate() = default;

std::vector<ink::InkView*> DrawAppDelegate::views() const {
    std::vector<ink::InkView*> result;
    for (const Surface& surface : surfaces_) {
        result.push_back(surface.view.get());
    }
    return result;
}

std::optional<ConfigExit> DrawAppDelegate::launch() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    frontmost_ = platform::createFrontmostAppProvider();
    if (frontmost_) {
        frontmost_->setOnChange([](const platform::FrontmostApp& app) {
            log::FrontmostLog::shared().setFrontmost(app);
        });
        log::FrontmostLog::shared().setFrontmost(frontmost_->frontmostApp());
    }
    if (const auto started = log::FrontmostLog::shared().start(config_.logPath); !started) {
        std::cerr << "draw: running without the event log: " << started.error() << "\n";
    }
    compositing_ = platform::compositingManagerRunning();
    if (!compositing_) {
        std::cerr << "draw: no compositing manager is running; the overlays will not be "
                     "transparent\n";
    }
    placer_ = platform::createWindowPlacer();
    input_ = platform::createSyntheticInput();
    observeWorkspaces();
    if (auto failure = choosePresentPath()) {
        return failure;
    }

    tools_ = std::make_unique<ink::ToolController>(config_.annotation);
    for (QScreen* screen : QGuiApplication::screens()) {
        if (auto failure = makeSurface(screen)) {
            return failure;
        }
    }
    wireToolController();
    toolOutcome_ = tools_->dispatch(config_.initialTool.value_or(ActionID::toolPen));
    const auto timeToLive = config_.annotation.autoErase.timeToLiveSeconds();
    for (ink::InkView* view : views()) {
        view->setTimeToLive(timeToLive);
    }
    startHotkeys();
    installStatusItem();
    installControlPanels();
    if (config_.an16Trials) {
        measureToggleRoundTrip(*config_.an16Trials);
    }
    scheduleScriptedActions();
    if (surfaces_.empty()) {
        return ConfigExit{"draw: no drawable screen", 2};
    }
    for (ink::InkView* view : views()) {
        view->prewarm();
    }
    if (config_.fiducials) {
        for (ink::InkView* view : views()) {
            view->installFiducials();
        }
        publishRegistration(false);
    }
    parkPointer();
    startedAt_ = platform::monotonicSeconds();
    startedWallClock_ = std::chrono::system_clock::now();
    // Handlers first: a harness that waits for the banner may signal at once.
    installSignalHandlers();
    printBanner();
    observeScreenChanges();
    startDriver();
    timeLimit_.start(static_cast<int>(std::max(0.0, config_.maxDurationSeconds) * 1000));
    return std::nullopt;
}

// Chosen once for every surface: a software GL draws slower than our own CPU renderer, and
// of the GL paths the one that sends the X server only changed pixels wins.
std::optional<ConfigExit> DrawAppDelegate::choosePresentPath() {
    const auto offered = platform::probeGlPresentation();
    if (!offered) {
        return ConfigExit{"draw: OpenGL 3.3 unavailable", 2};
    }
    presentPath_ = platform::choosePresentPath(*offered);
    glRenderer_ = offered->renderer;
    const auto forced = config_.presentPath;
    if (!forced) {
        return std::nullopt;
    }
    const bool available =
        *forced == platform::PresentPath::software || *forced == platform::PresentPath::fullSwap ||
        (*forced == platform::PresentPath::copySubBuffer && offered->copySubBuffer) ||
        (*forced == platform::PresentPath::bufferAge && offered->bufferAge);
    if (!available) {
        std::cerr << "draw: SCRAWLET_DRAW_PRESENT=" << core::rawValue(*forced)
                  << " is not offered by this OpenGL; using " << core::rawValue(presentPath_)
                  << "\n";
        return std::nullopt;
    }
    presentPath_ = *forced;
    return std::nullopt;
}

// Qt reports one change as several signals: one reconciliation per event-loop turn.
void DrawAppDelegate::observeScreenChanges() {
    const auto reconcileSoon = [this] {
        if (!reconcileScheduled_) {
            reconcileScheduled_ = true;
            QTimer::singleShot(0, this, [this] {
                reconcileScheduled_ = false;
                reconcileDisplays();
            });
        }
    };
    const auto followGeometry = [this, reconcileSoon](QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, this, reconcileSoon);
    };
    for (QScreen* screen : QGuiApplication::screens()) {
        followGeometry(screen);
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this,
            [followGeometry, reconcileSoon](QScreen* screen) {
                followGeometry(screen);
                reconcileSoon();
            });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, reconcileSoon);
}

void DrawAppDelegate::observeWorkspaces() {
    workspaces_ = platform::createWorkspaceWatcher();
    if (workspaces_) {
        connect(
            workspaces_.get(), &platform::WorkspaceWatcher::activeWorkspaceChanged, this, [this] {
                for (const Surface& surface : surfaces_) {
                    log::FrontmostLog::shared().record(
                        "activeSpaceDidChange", panelState(surface),
                        "screen=" + (surface.visible ? surface.screenName : std::string("nil")));
                }
            });
    }
}

void DrawAppDelegate::startDriver() {
    if (config_.transport == DrawConfig::Transport::live || surfaces_.empty()) {
        return;
    }
    const double hz = std::max(config_.syntheticHz, 1.0);
    // DrawConfig refuses products that are not finite or too large for an integer.
    const auto steps = static_cast<std::int64_t>(config_.strokeSeconds * config_.syntheticHz);
    if (config_.transport == DrawConfig::Transport::cgEventPost &&
        (!input_ || !input_->canInject())) {
        std::cerr << "draw: the cgEventPost transport needs the XTEST extension of the X "
                     "server\n";
        return;
    }
    driver_ = std::make_unique<SyntheticDragDriver>(*surfaces_.front().view, config_.transport,
                                                    1.0 / hz, steps, input_.get());
    driver_->start();
}

platform::WindowPlacement DrawAppDelegate::overlayPlacement(bool transparentForInput) const {
    return {windowLevel(config_.levelToken),
            (collectionBehavior(config_.behaviorTokens).bits & kCanJoinAllSpaces) != 0, true,
            transparentForInput};
}

core::DisplayTransform DrawAppDelegate::transformFor(const QScreen* screen) const {
    const double zoom = config_.contentZoom.value_or(1.0);
    const double scale = screen->devicePixelRatio();
    // A non-positive zoom or scale would make a transform the scenes cannot use.
    return core::DisplayTransform(
        {config_.contentOriginX.value_or(0), config_.contentOriginY.value_or(0)},
        zoom > 0 ? zoom : 1.0, scale > 0 ? scale : 1.0);
}

std::optional<ConfigExit> DrawAppDelegate::makeSurface(QScreen* screen) {
    ink::InkView::Options options;
    options.transform = transformFor(screen);
    options.style = core::StrokeStyle::style(tools_->tool(), tools_->settings());
    options.capacities = {static_cast<int>(config_.limits.pointCapacity),
                          static_cast<int>(config_.limits.strokeCapacity),
                          config_.limits.minimumSeparation,
                          static_cast<int>(config_.limits.textCapacity)};
    options.tool = tools_->tool();
    options.presentPath = presentPath_;
    // The level's window-manager bypass must be in place before the native window exists.
    options.flags =
        platform::flagsForLevel(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus,
                                windowLevel(config_.levelToken));
    auto view = ink::InkView::create(screen, screen->geometry(), options);
    if (!view) {
        return ConfigExit{"draw: OpenGL 3.3 unavailable", 2};
    }
    view->setCursorEnabled(!ignoresMouse_);
    if (placer_) {
        // The taskbar and tray stay usable under the ink; control panels are not overlays.
        auto placement = overlayPlacement(ignoresMouse_);
        placement.yieldsToPanels = true;
        if (const auto placed = placer_->place(*view, placement); !placed) {
            std::cerr << "draw: overlay placement: " << placed.error() << "\n";
        }
    } else {
        view->setFlag(Qt::WindowTransparentForInput, ignoresMouse_);
    }
    view->installEventFilter(this);
    view->setPointerOverControlPanel([this] {
        const QPoint pointer = QCursor::pos();
        return std::any_of(controlPanels_.begin(), controlPanels_.end(), [&](const auto& panel) {
            return panel->isVisible() && panel->geometry().contains(pointer);
        });
    });
    view->setOnTypingChord([this](const core::Chord& chord) {
        if (!catalog_) {
            return false;
        }
        const core::Action* action =
            catalog_->typingScopeAction(chord, core::Platform::windows, config_.shortcutOverrides);
        const auto id = action ? core::fromRawValue<ActionID>(action->id) : std::nullopt;
        if (!id) {
            return false;
        }
        tools_->dispatch(*id);
        return true;
    });
    view->show();
    const std::string name = screen->name().toStdString();
    surfaces_.push_back({platform::displayIdentifier(screen), name, std::move(view), true});
    return std::nullopt;
}

// Qt recreates QScreen objects on changes; the monitor's name is what lasts.
QScreen* DrawAppDelegate::screenNamed(const std::string& name) {
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen->name().toStdString() == name) {
            return screen;
        }
    }
    return nullptr;
}

void DrawAppDelegate::reconcileDisplays() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (Surface& surface : surfaces_) {
        if (QScreen* screen = screenNamed(surface.screenName)) {
            surface.view->setScreen(screen);
            surface.view->setGeometry(screen->geometry());
            surface.view->reanchor(transformFor(screen));
            if (annotating_) {
                surface.view->show();
            }
            surface.visible = true;
            for (const auto& panel : controlPanels_) {
                if (panel->displayID() == surface.displayID) {
                    panel->setScreen(screen);
                    panel->place(screen->geometry());
                }
            }
        } else if (surface.visible) {
            surface.view->hide();
            surface.visible = false;
            log::FrontmostLog::shared().record("displayDisappeared", panelState(surface),
                                               "displayID=" + std::to_string(surface.displayID) +
                                                   " surface retained with its ink");
        }
    }
    showControlPanels();
    for (QScreen* screen : screens) {
        const std::string name = screen->name().toStdString();
        const bool known = std::any_of(surfaces_.begin(), surfaces_.end(),
                                       [&](const Surface& s) { return s.screenName == name; });
        if (!known && !makeSurface(screen)) {
            if (config_.fiducials) {
                surfaces_.back().view->installFiducials();
            }
            if (panelOrigins_) {
                addControlPanel(surfaces_.back(), screen);
            }
            log::FrontmostLog::shared().record(
                "displayAppeared", std::nullopt,
                "displayID=" + std::to_string(surfaces_.back().displayID) + " new surface");
        }
    }
    log::FrontmostLog::shared().record(
        "screenParametersChanged", surfaces_.empty() ? std::nullopt : panelState(surfaces_.front()),
        "screens=" + std::to_string(screens.size()) +
            " surfaces=" + std::to_string(surfaces_.size()));
    if (config_.fiducials) {
        publishRegistration(true);
    }
}

std::optional<log::PanelState> DrawAppDelegate::panelState(const Surface& surface) const {
    const ink::InkView& view = *surface.view;
    return log::PanelState{view.isVisible(),
                           false,
                           false,
                           ignoresMouse_,
                           windowLevel(config_.levelToken),
                           static_cast<long long>(collectionBehavior(config_.behaviorTokens).bits),
                           view.isVisible(),
                           surface.screenName};
}

ink::InkView* DrawAppDelegate::viewUnderPointer() const {
    const QPoint pointer = QCursor::pos();
    for (const Surface& surface : surfaces_) {
        if (surface.visible && surface.view->geometry().contains(pointer)) {
            return surface.view.get();
        }
    }
    return surfaces_.empty() ? nullptr : surfaces_.front().view.get();
}

void DrawAppDelegate::toggleInteractive() {
    const bool previous = surfaces_.empty() ? true : ignoresMouse_;
    interactiveToggledAt_ = platform::monotonicSeconds();
    applyInputTransparency(!previous);
    refreshHotkeyScopes();
    log::FrontmostLog::shared().record(
        "modeToggle", surfaces_.empty() ? std::nullopt : panelState(surfaces_.front()),
        std::string("ignoresMouseEvents=") + (previous ? "false" : "true") +
            " t=" + core::shortestDecimal(interactiveToggledAt_));
}

void DrawAppDelegate::applyInputTransparency(bool ignoresMouse) {
    ignoresMouse_ = ignoresMouse;
    for (ink::InkView* view : views()) {
        if (placer_) {
            if (const auto set = placer_->setTransparentForInput(*view, ignoresMouse); !set) {
                std::cerr << "draw: click-through: " << set.error() << "\n";
            }
        } else {
            view->setFlag(Qt::WindowTransparentForInput, ignoresMouse);
        }
        view->setCursorEnabled(!ignoresMouse);
    }
}

bool DrawAppDelegate::toggleAnnotation() {
    annotating_ = !annotating_;
    for (Surface& surface : surfaces_) {
        if (annotating_ && surface.visible) {
            surface.view->show();
        } else {
            surface.view->hide();
        }
    }
    showControlPanels();
    refreshHotkeyScopes();
    const std::string state = annotating_ ? "true" : "false";
    log::FrontmostLog::shared().record(
        "annotationToggle", surfaces_.empty() ? std::nullopt : panelState(surfaces_.front()),
        "annotating=" + state + " scopedHotkeys=" + state);
    return annotating_;
}

void DrawAppDelegate::installSignalHandlers() {
    signals_ = std::make_unique<SignalRelay>();
    signals_->install(SIGUSR1, [this] { toggleInteractive(); });
    signals_->install(SIGUSR2, [this] { requestFinish("SIGUSR2"); });
    signals_->install(SIGINT, [this] { requestFinish("signal"); });
    signals_->install(SIGTERM, [this] { requestFinish("signal"); });
    // Linux has no SIGINFO; the power-failure signal is otherwise unused by desktops.
    signals_->install(SIGPWR, [this] { std::cerr << progressLine() << "\n"; });
}

void DrawAppDelegate::scheduleSettingsWrite(const core::AnnotationSettings& settings) {
    pendingSettings_ = settings;
    if (!settingsWriteScheduled_) {
        settingsWriteScheduled_ = true;
        QTimer::singleShot(0, this, [this] {
            settingsWriteScheduled_ = false;
            flushSettings();
        });
    }
}

void DrawAppDelegate::flushSettings() {
    if (!pendingSettings_) {
        return;
    }
    const core::AnnotationSettings pending = std::move(*pendingSettings_);
    pendingSettings_.reset();
    if (config_.runSettingsFile) {
        return;
    }
    settings::SettingsStore::save(
        settings::SettingsStore::settingsFile(),
        [&](core::Settings& document) {
            document.annotation =
                persistableAnnotation(pending, document.annotation, config_.annotationRunOnly);
        },
        "draw: ");
}

void DrawAppDelegate::requestFinish(const std::string& reason) {
    finishDeferral_.request(reason);
}

void DrawAppDelegate::finish(const std::string& reason) {
    flushSettings();
    if (finished_) {
        return;
    }
    finished_ = true;
    const double duration = platform::monotonicSeconds() - startedAt_;
    timeLimit_.stop();
    if (driver_) {
        driver_->stop();
    }
    // Other programs get their keys back as soon as the run is over.
    hotkeys_.reset();
    for (ink::InkView* view : views()) {
        view->stop();
    }
    const std::string summary = summaryText(reason, duration);
    const auto written = platform::writeFileAtomically(config_.summaryPath, summary,
                                                       {.permissions = 0600, .onlyOwnFile = true});
    if (!written) {
        std::cerr << "draw: summary write failed: " << written.error() << "\n";
        log::FrontmostLog::shared().finish(reason);
        exitStatus_ = 3;
        emit finished(exitStatus_);
        return;
    }
    std::cerr << "draw: wrote " << config_.summaryPath << "\n";
    log::FrontmostLog::shared().finish(reason);
    emit finished(exitStatus_);
}

}  // namespace scrawlet::shell
