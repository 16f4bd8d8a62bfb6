#include "app/shell/draw_app_delegate.h"

#include <QGuiApplication>
#include <csignal>
#include <iostream>

#include "app/aids/cursor_highlight.h"
#include "app/aids/keystroke_display.h"
#include "app/aids/spotlight.h"
#include "app/capture/magnifier.h"
#include "app/log/frontmost_log.h"
#include "app/platform/atomic_file.h"
#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/settings/about_window.h"
#include "app/settings/onboarding_window.h"
#include "app/settings/settings_model.h"
#include "app/settings/settings_store.h"
#include "app/settings/settings_window.h"
#include "app/settings/update_checker.h"
#include "app/shell/compositing_notice.h"
#include "app/shell/control_panels.h"
#include "app/shell/draw_capture.h"
#include "app/shell/draw_measurements.h"
#include "app/shell/draw_shortcuts.h"
#include "app/shell/ink_surfaces.h"
#include "app/shell/run_summary.h"
#include "app/shell/screenshots.h"
#include "app/shell/status_menu.h"
#include "app/shortcuts/permissions.h"
#include "core/number_format.h"

namespace scrawlet::shell {

DrawAppDelegate::DrawAppDelegate(DrawConfig config)
    : config_(std::move(config)),
      finishDeferral_(
          [this] {
              return (surfaces_ && surfaces_->isSelectingCaptureRegion()) ||
                     (screenshots_ && screenshots_->pending() > 0);
          },
          [this](const std::string& reason) { finish(reason); }) {
    timeLimit_.setSingleShot(true);
    // A coarse timer may fire up to 5 % early: a 5 s run would end at 4.75 s.
    timeLimit_.setTimerType(Qt::PreciseTimer);
    connect(&timeLimit_, &QTimer::timeout, this, [this] { requestFinish("timeout"); });
}

DrawAppDelegate::~DrawAppDelegate() = default;

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
    watchCompositing();
    placer_ = platform::createWindowPlacer();
    observeWorkspaces();
    if (auto failure = choosePresentPath()) {
        return failure;
    }

    tools_ = std::make_unique<ink::ToolController>(config_.annotation);
    tools_->route(router_);
    tools_->addObserver(*this);
    router_.setPermissionCheck(shortcuts::Permissions::refusal);
    surfaces_ = std::make_unique<InkSurfaces>(config_, *tools_, placer_.get(), presentPath_);
    surfaces_->setOnTypingChord(
        [this](const core::Chord& chord) { return shortcuts_ && shortcuts_->typingChord(chord); });
    surfaces_->setPointerOverPanel([this] { return panels_ && panels_->containsPointer(); });
    surfaces_->setHintKeepClear([this](const QRect& view) -> std::optional<QRect> {
        return panels_ ? panels_->visibleWithin(view) : std::nullopt;
    });
    tools_->addObserver(*surfaces_);
    surfaces_->setCompositing(compositing_);
    displays_.addFeature(*surfaces_);
    if (!displays_.start()) {
        return ConfigExit{"draw: OpenGL 3.3 unavailable", 2};
    }
    measurements_ = std::make_unique<DrawMeasurements>(
        config_, *surfaces_, router_,
        DrawMeasurements::Host{[this] { toggleInteractive(); },
                               [this] { return interactiveToggledAt_; },
                               [this](const std::string& reason) { requestFinish(reason); },
                               [this] { return finished_; }});
    routeActions();
    const auto initial = router_.dispatch(config_.initialTool.value_or(core::ActionID::toolPen));
    (void)initial;
    shortcuts_ = std::make_unique<DrawShortcuts>(config_, router_, *surfaces_);
    shortcuts_->start();
    startUpdater();
    statusMenu_ = std::make_unique<StatusMenu>(
        tools_->tool(), [this](core::Tool tool) { pickTool(tool); },
        [this] { requestFinish("menu"); });
    statusMenu_->setAppItems([this] { (void)showAboutWindow(); }, [this] { updater_->checkNow(); });
    statusMenu_->setSettingsItem([this] { (void)showSettingsWindow(); });
    tools_->addObserver(*statusMenu_);
    statusMenu_->setRefusedShortcutCount(shortcuts_->refusedCount());
    statusMenu_->show();
    if (config_.controlPanel) {
        panels_ = std::make_unique<ControlPanels>(
            config_, placer_.get(), tools_->tool(), [this](core::Tool tool) { pickTool(tool); },
            [this](core::Tool tool) { return shortcuts_->toolKeyLabel(tool); });
        tools_->addObserver(*panels_);
        panels_->setCompositing(compositing_);
        displays_.addFeature(*panels_);
    }
    screenshots_ = std::make_unique<Screenshots>(
        config_, *surfaces_, *statusMenu_, placer_.get(),
        Screenshots::Host{[this](core::ActionID id) { return shortcuts_->actionKeyLabel(id); },
                          [this](const std::string& reason) { requestFinish(reason); }});
    buildPointerAids();
    buildKeystrokeDisplay();
    showOnboardingIfFirstLaunch();
    watchOrdinaryWindows();
    if (config_.aboutWindow) {
        (void)showAboutWindow();
    }
    if (config_.settingsWindow) {
        if (const auto shown = showSettingsWindow(); !shown.text().empty()) {
            std::cerr << "draw: " << shown.text() << "\n";
        }
    }
    if (!config_.runSettingsFile) {
        // A settings file edited while Scrawlet was away, or a copy that moved, takes effect.
        applyLaunchAtLogin(config_.currentSettings().system.launchAtLogin);
    }
    capture_ =
        DrawCapture::startIfAsked(config_, surfaces_->displayIDs(),
                                  panels_ ? panels_->firstPanelPixels() : std::nullopt, this);
    if (config_.lens) {
        (void)toggleLens();
    }
    if (config_.fullScreenZoom) {
        (void)toggleFullScreenZoom();
    }
    measurements_->schedule();
    if (surfaces_->empty()) {
        return ConfigExit{"draw: no drawable screen", 2};
    }
    for (ink::InkView* view : surfaces_->views()) {
        view->prewarm();
    }
    measurements_->publishAtLaunch();
    startedAt_ = platform::monotonicSeconds();
    startedWallClock_ = std::chrono::system_clock::now();
    // Handlers first: a harness that waits for the banner may signal at once.
    installSignalHandlers();
    printBanner();
    if (!compositing_) {
        compositingNotice_->present();
    }
    if (compositingWatcher_) {
        connect(compositingWatcher_.get(), &platform::CompositingWatcher::runningChanged, this,
                [this](bool running) { compositingChanged(running); });
        // A manager that came or went while the run was starting.
        compositingChanged(compositingWatcher_->running());
    }
    displays_.setOnReconciled([this](std::size_t screens) { displaysReconciled(screens); });
    if (config_.captureHistoryTrials) {
        screenshots_->runTrials(*config_.captureHistoryTrials);
    }
    measurements_->startDriver();
    if (config_.maxDurationSeconds) {
        timeLimit_.start(static_cast<int>(std::max(0.0, *config_.maxDurationSeconds) * 1000));
    }
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

void DrawAppDelegate::displaysReconciled(std::size_t screenCount) {
    log::FrontmostLog::shared().record("screenParametersChanged", surfaces_->firstPanelState(),
                                       "screens=" + std::to_string(screenCount) + " surfaces=" +
                                           std::to_string(surfaces_->surfaces().size()));
    if (config_.fiducials) {
        measurements_->publishRegistration(true);
    }
}

void DrawAppDelegate::observeWorkspaces() {
    workspaces_ = platform::createWorkspaceWatcher();
    if (!workspaces_) {
        return;
    }
    connect(workspaces_.get(), &platform::WorkspaceWatcher::activeWorkspaceChanged, this, [this] {
        if (!surfaces_) {
            return;
        }
        for (const InkSurfaces::Surface& surface : surfaces_->surfaces()) {
            log::FrontmostLog::shared().record(
                "activeSpaceDidChange", surfaces_->panelState(surface),
                "screen=" + (surface.visible ? surface.display.name : std::string("nil")));
        }
    });
}

// Without a compositing manager the overlays stay unmapped rather than black out the desktop;
// a manager that starts later, or comes back after going away, brings them back with their ink.
void DrawAppDelegate::watchCompositing() {
    compositingWatcher_ = platform::createCompositingWatcher();
    compositing_ = compositingWatcher_ ? compositingWatcher_->running()
                                       : platform::compositingManagerRunning();
    compositingNotice_ = std::make_unique<CompositingNotice>([this] { requestFinish("menu"); });
    if (!compositing_) {
        std::cerr << "draw: no compositing manager is running; the overlays stay hidden until "
                     "one starts\n";
    }
}

void DrawAppDelegate::compositingChanged(bool running) {
    if (finished_ || running == compositing_) {
        return;
    }
    compositing_ = running;
    std::cerr << (running ? "draw: a compositing manager is running; the overlays are back\n"
                          : "draw: the compositing manager went away; the overlays are hidden, "
                            "with their ink, until one runs again\n");
    surfaces_->setCompositing(running);
    if (panels_) {
        panels_->setCompositing(running);
    }
    if (spotlight_) {
        spotlight_->setCompositing(running);
    }
    if (cursorHighlight_) {
        cursorHighlight_->setCompositing(running);
    }
    shortcuts_->refreshScopes();
    if (running) {
        compositingNotice_->hide();
    } else {
        compositingNotice_->present();
    }
    log::FrontmostLog::shared().record("compositingChanged", surfaces_->firstPanelState(),
                                       std::string("running=") + (running ? "true" : "false"));
}

void DrawAppDelegate::showToUser() {
    if (finished_) {
        return;
    }
    log::FrontmostLog::shared().record("showRequested", surfaces_->firstPanelState(),
                                       "by another launch");
    if (!compositing_) {
        compositingNotice_->present();
        return;
    }
    if (!surfaces_->annotating()) {
        toggleAnnotation();
    }
    if (panels_) {
        panels_->reveal();
    }
    if (ink::InkView* view = surfaces_->viewUnderPointer()) {
        view->showHint(QStringLiteral("Scrawlet is already running"), false);
    }
}

void DrawAppDelegate::toggleInteractive() {
    const bool previous = surfaces_->empty() ? true : surfaces_->ignoresMouse();
    interactiveToggledAt_ = platform::monotonicSeconds();
    surfaces_->setIgnoresMouse(!previous);
    if (shortcuts_) {
        shortcuts_->refreshScopes();
    }
    log::FrontmostLog::shared().record("modeToggle", surfaces_->firstPanelState(),
                                       std::string("ignoresMouseEvents=") +
                                           (previous ? "false" : "true") +
                                           " t=" + core::shortestDecimal(interactiveToggledAt_));
}

void DrawAppDelegate::toggleAnnotation() {
    const bool annotating = !surfaces_->annotating();
    surfaces_->setAnnotating(annotating);
    if (panels_) {
        panels_->setAnnotating(annotating);
    }
    shortcuts_->refreshScopes();
    const std::string state = annotating ? "true" : "false";
    log::FrontmostLog::shared().record("annotationToggle", surfaces_->firstPanelState(),
                                       "annotating=" + state + " scopedHotkeys=" + state);
}

void DrawAppDelegate::installSignalHandlers() {
    signals_ = std::make_unique<SignalRelay>();
    signals_->install(SIGUSR1, [this] { toggleInteractive(); });
    signals_->install(SIGUSR2, [this] { requestFinish("SIGUSR2"); });
    signals_->install(SIGINT, [this] { requestFinish("signal"); });
    signals_->install(SIGTERM, [this] { requestFinish("signal"); });
    // Linux has no SIGINFO; the power-failure signal is otherwise unused by desktops.
    signals_->install(SIGPWR, [this] { std::cerr << surfaces_->progressLine() << "\n"; });
}

void DrawAppDelegate::settingsChanged(const core::AnnotationSettings& settings) {
    // A colour, width or fade chosen by shortcut shows in an open settings window, whose next
    // edit would otherwise save the old one back.
    if (settingsModel_) {
        core::Settings shown = settingsModel_->settings();
        shown.annotation =
            persistableAnnotation(settings, shown.annotation, config_.annotationRunOnly);
        settingsModel_->setSettings(std::move(shown));
    }
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
    if (measurements_) {
        measurements_->stop();
    }
    // Other programs get their keys back as soon as the run is over.
    if (shortcuts_) {
        shortcuts_->stop();
    }
    if (surfaces_) {
        surfaces_->stop();
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
