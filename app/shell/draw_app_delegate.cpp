#include "app/shell/draw_app_delegate.h"

#include <unistd.h>

#include <QAction>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <cmath>
#include <csignal>
#include <iostream>

#include "app/platform/display_identifier.h"
#include "app/platform/platform_services.h"
#include "app/settings/settings_store.h"
#include "app/shell/action_catalog_store.h"
#include "app/shell/frontmost_log.h"
#include "app/shell/run_summary.h"
#include "app/shortcuts/hotkey_reports.h"
#include "app/shortcuts/permissions.h"
#include "core/fiducials.h"
#include "core/number_format.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;
using core::Tool;

constexpr double kFinishRecheckSeconds = 0.05;
constexpr long long kBypassLevel = 1000;
constexpr std::uint64_t kCanJoinAllSpaces = 1;

std::string capitalised(std::string_view name) {
    std::string text(name);
    if (!text.empty()) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    }
    return text;
}

std::optional<ActionID> actionSelecting(Tool tool) {
    for (const ActionID id : core::allCases<ActionID>()) {
        if (core::selectedTool(id) == tool) {
            return id;
        }
    }
    return std::nullopt;
}

std::string describe(const ink::ToolController::Outcome& outcome) {
    using Kind = ink::ToolController::Outcome::Kind;
    switch (outcome.kind) {
        case Kind::changedTool:
            return "changedTool(" + std::string(core::rawValue(std::get<Tool>(outcome.value))) +
                   ")";
        case Kind::changedPalette:
            return "changedPalette(" + std::to_string(std::get<int>(outcome.value)) + ")";
        case Kind::changedWidth:
            return "changedWidth(" + std::to_string(std::get<int>(outcome.value)) + ")";
        case Kind::changedAutoErase:
            return "changedAutoErase(" +
                   std::string(core::rawValue(std::get<core::AutoEraseMode>(outcome.value))) + ")";
        case Kind::notImplemented:
            return "notImplemented(" + outcome.text() + ")";
        case Kind::needsPermission:
            return "needsPermission(" + outcome.text() + ")";
        case Kind::nothingToDo:
            return "nothingToDo(" + outcome.text() + ")";
        case Kind::handled:
            return "handled";
    }
    return "handled";
}

// X11 has no privacy settings to grant; the desktop's settings program is the nearest
// place, and a session choice at login is what the refusal text asks for.
bool openSystemSettings() {
    for (const char* program : {"gnome-control-center", "systemsettings", "xfce4-settings-manager",
                                "mate-control-center", "cinnamon-settings"}) {
        if (!QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty()) {
            return QProcess::startDetached(QString::fromLatin1(program), {});
        }
    }
    return false;
}

}  // namespace

DrawAppDelegate::DrawAppDelegate(DrawConfig config)
    : config_(std::move(config)), ignoresMouse_(config_.startsIgnoringMouseEvents) {
    timeLimit_.setSingleShot(true);
    connect(&timeLimit_, &QTimer::timeout, this, [this] { requestFinish("timeout"); });
}

DrawAppDelegate::~DrawAppDelegate() {
    FrontmostLog::shared().setFrontmostProvider(nullptr);
}

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
    FrontmostLog::shared().setFrontmostProvider(frontmost_.get());
    FrontmostLog::shared().start(config_.logPath);
    compositing_ = platform::compositingManagerRunning();
    if (!compositing_) {
        std::cerr << "draw: no compositing manager is running; the overlays will not be "
                     "transparent\n";
    }
    placer_ = platform::createWindowPlacer();
    input_ = platform::createSyntheticInput();
    workspaces_ = platform::createWorkspaceWatcher();
    if (workspaces_) {
        connect(
            workspaces_.get(), &platform::WorkspaceWatcher::activeWorkspaceChanged, this, [this] {
                for (const Surface& surface : surfaces_) {
                    FrontmostLog::shared().record(
                        "activeSpaceDidChange", panelState(surface),
                        "screen=" + (surface.visible ? surface.screenName : std::string("nil")));
                }
            });
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
    startedAt_ = monotonicSeconds();
    startedWallClock_ = std::chrono::system_clock::now();
    // Handlers first: a harness that waits for the banner may signal at once.
    installSignalHandlers();
    printBanner();
    const auto reconcileSoon = [this] {
        // Qt reports a change as several signals; one reconciliation per event-loop turn.
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
    startDriver();
    timeLimit_.start(static_cast<int>(std::max(0.0, config_.maxDurationSeconds) * 1000));
    return std::nullopt;
}

void DrawAppDelegate::startHotkeys() {
    catalog_ = ActionCatalogStore::load();
    if (!catalog_) {
        std::cerr << "draw: no action catalogue; shortcuts are off\n";
        return;
    }
    auto grabber = platform::createKeyGrabber();
    if (!grabber) {
        std::cerr << "draw: no X display for global shortcuts; shortcuts are off\n";
        return;
    }
    hotkeys_ = std::make_unique<shortcuts::HotkeyCentre>(*catalog_, config_.shortcutOverrides,
                                                         std::move(grabber));
    shortcuts::reportCatalogueOverlaps(*catalog_, config_.shortcutOverrides, std::cerr);
    hotkeys_->setOnAction([this](ActionID action) { handleHotkey(action); });
    // One registration pass: a scope change registers by itself, and a second pass would
    // report every refused chord twice.
    const auto before = hotkeys_->liveScopes();
    refreshHotkeyScopes();
    if (hotkeys_->liveScopes() == before) {
        hotkeys_->reregister();
    }
    shortcuts::reportRefusedShortcuts(hotkeys_->conflicts(), std::cerr);
}

void DrawAppDelegate::installControlPanels() {
    if (!config_.controlPanel) {
        return;
    }
    panelOrigins_ = std::make_unique<ink::PreferencesOriginStore>();
    for (const Surface& surface : surfaces_) {
        QScreen* screen = nullptr;
        for (QScreen* candidate : QGuiApplication::screens()) {
            if (candidate->name().toStdString() == surface.screenName) {
                screen = candidate;
            }
        }
        if (!screen) {
            std::cerr << "draw: no screen for display " << surface.displayID << "\n";
            continue;
        }
        addControlPanel(surface, screen);
    }
}

void DrawAppDelegate::addControlPanel(const Surface& surface, QScreen* screen) {
    ink::ControlPanelView view(
        [this](Tool tool) {
            if (const auto action = actionSelecting(tool)) {
                tools_->dispatch(*action);
            }
        },
        [this](Tool tool) {
            if (!hotkeys_ || !catalog_) {
                return QString();
            }
            return QString::fromStdString(
                shortcuts::toolKeyLabel(*catalog_, config_.shortcutOverrides, tool));
        },
        config_.controlPanelSentinel);
    auto panel =
        std::make_unique<ink::ControlPanel>(surface.displayID, std::move(view), *panelOrigins_);
    panel->setActiveTool(tools_->tool());
    panel->setScreen(screen);
    panel->place(screen->geometry());
    if (placer_) {
        // At the overlay's level, placed after it, so the strip stays above the ink.
        const platform::WindowPlacement placement{
            windowLevel(config_.levelToken),
            (collectionBehavior(config_.behaviorTokens).bits & kCanJoinAllSpaces) != 0, true,
            false};
        if (const auto placed = placer_->place(*panel, placement); !placed) {
            std::cerr << "draw: control panel placement: " << placed.error() << "\n";
        }
    }
    panel->setVisible(panelsShown_ && annotating_);
    controlPanels_.push_back(std::move(panel));
}

bool DrawAppDelegate::anyControlPanelVisible() const {
    return std::any_of(controlPanels_.begin(), controlPanels_.end(),
                       [](const auto& panel) { return panel->isVisible(); });
}

void DrawAppDelegate::refreshHotkeyScopes() {
    if (!hotkeys_) {
        return;
    }
    std::set<core::ActionScope> scopes{core::ActionScope::global};
    if (annotating_) {
        scopes.insert(core::ActionScope::annotating);
    }
    hotkeys_->setLiveScopes(std::move(scopes));
}

void DrawAppDelegate::handleHotkey(ActionID action) {
    if (finished_) {
        return;
    }
    const auto outcome = tools_->dispatch(action);
    FrontmostLog::shared().record("hotkey", std::nullopt, std::string(core::rawValue(action)));
    using Kind = ink::ToolController::Outcome::Kind;
    if (outcome.kind == Kind::notImplemented || outcome.kind == Kind::nothingToDo) {
        announce(outcome.text(), false);
    } else if (outcome.kind == Kind::needsPermission) {
        announcePermission(outcome.text(), action);
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

void DrawAppDelegate::publishRegistration(bool republished) {
    for (const Surface& surface : surfaces_) {
        const ink::InkView& view = *surface.view;
        const core::DisplayTransform& transform = view.transform();
        const double scale = view.devicePixelRatio();
        RegistrationInput input;
        input.displayID = surface.displayID;
        input.republished = republished;
        input.screenName = surface.screenName;
        input.originX = transform.origin().x;
        input.originY = transform.origin().y;
        input.zoom = transform.zoom();
        input.pointWidth = view.width();
        input.pointHeight = view.height();
        input.pixelWidth = view.width() * scale;
        input.pixelHeight = view.height() * scale;
        input.backingScaleFactor = scale;
        input.strokeWidthContentUnits = view.canvas().style().widthContentUnits;
        input.fiducialRGB.assign(core::fiducials::kRGB.begin(), core::fiducials::kRGB.end());
        const QPoint topLeft = view.geometry().topLeft();
        for (const auto& mark : view.fiducials()) {
            const core::ViewportPoint local = transform.viewportPoint(mark.centre);
            input.marks.push_back({mark.name,
                                   {mark.centre.x, mark.centre.y},
                                   {topLeft.x() + local.x, topLeft.y() + local.y},
                                   core::fiducials::kSizePoints});
        }
        FrontmostLog::shared().recordLine(registrationRecord(input));
    }
}

void DrawAppDelegate::parkPointer() {
    if (config_.pointerPark.empty()) {
        return;
    }
    if (!input_) {
        std::cerr << "draw: pointer parking needs an X display\n";
        return;
    }
    // One step per event-loop turn, so each warp has reached the server before it is read back.
    for (std::size_t step = 0; step < config_.pointerPark.size(); ++step) {
        QTimer::singleShot(0, this, [this, step] {
            const GlobalPoint requested = config_.pointerPark[step];
            const QPoint point(static_cast<int>(std::lround(requested.x)),
                               static_cast<int>(std::lround(requested.y)));
            (void)input_->warpPointer(point);
            const auto landed = input_->pointerPosition();
            const GlobalPoint observed = landed ? GlobalPoint{static_cast<double>(landed->x()),
                                                              static_cast<double>(landed->y())}
                                                : GlobalPoint{std::nan(""), std::nan("")};
            FrontmostLog::shared().recordLine(pointerParkRecord(
                static_cast<std::int64_t>(step), monotonicSeconds(), requested, observed));
        });
    }
}

// Each trial starts from click-through, makes the overlay take input and measures until one
// of the probe clicks reaches it. The probe uses the middle button, which never draws.
void DrawAppDelegate::measureToggleRoundTrip(std::int64_t trials) {
    roundTrip_ = std::make_unique<RoundTrip>();
    roundTrip_->trials = trials;
    roundTrip_->clicks.setTimerType(Qt::PreciseTimer);
    connect(&roundTrip_->clicks, &QTimer::timeout, this, [this] {
        RoundTrip& trip = *roundTrip_;
        if (trip.clicksLeft <= 0) {
            trip.clicks.stop();
            // The last click had its chance to arrive.
            QTimer::singleShot(100, this, [this] {
                if (roundTrip_->trialRunning) {
                    endRoundTripTrial(std::nullopt);
                }
            });
            return;
        }
        --trip.clicksLeft;
        if (input_) {
            (void)input_->movePointer(trip.target);
            (void)input_->setButton(Qt::MiddleButton, true);
            (void)input_->setButton(Qt::MiddleButton, false);
        }
    });
    QTimer::singleShot(250, this, [this] { runRoundTripTrial(); });
}

void DrawAppDelegate::runRoundTripTrial() {
    if (finished_ || surfaces_.empty()) {
        return;
    }
    RoundTrip& trip = *roundTrip_;
    if (!ignoresMouse_) {
        toggleInteractive();
    }
    trip.target = surfaces_.front().view->geometry().center();
    trip.trialRunning = true;
    toggleInteractive();
    trip.trialStart = interactiveToggledAt_;
    postProbeClicks(40, 2);
}

void DrawAppDelegate::postProbeClicks(int count, int everyMs) {
    roundTrip_->clicksLeft = count;
    roundTrip_->clicks.start(everyMs);
}

void DrawAppDelegate::endRoundTripTrial(std::optional<double> milliseconds) {
    RoundTrip& trip = *roundTrip_;
    trip.trialRunning = false;
    trip.clicks.stop();
    ++trip.done;
    if (milliseconds) {
        trip.milliseconds.push_back(*milliseconds);
    } else {
        ++trip.lost;
        std::cerr << "draw: AN-16 trial " << trip.done << " saw no click at all\n";
    }
    if (trip.done < trip.trials) {
        QTimer::singleShot(250, this, [this] { runRoundTripTrial(); });
        return;
    }
    const An16Report report = an16Report(trip.milliseconds, trip.trials, trip.lost);
    std::cerr << report.text;
    FrontmostLog::shared().record("an16", std::nullopt, report.note);
    requestFinish("an16");
}

bool DrawAppDelegate::eventFilter(QObject* watched, QEvent* event) {
    const bool probing = roundTrip_ && (event->type() == QEvent::MouseButtonPress ||
                                        event->type() == QEvent::MouseButtonRelease);
    if (!probing || static_cast<QMouseEvent*>(event)->button() != Qt::MiddleButton) {
        return QObject::eventFilter(watched, event);
    }
    if (event->type() == QEvent::MouseButtonPress && roundTrip_->trialRunning) {
        endRoundTripTrial((monotonicSeconds() - roundTrip_->trialStart) * 1000);
    }
    return true;
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
    // The level's window-manager bypass must be in place before the native window exists.
    const long long level = windowLevel(config_.levelToken);
    options.flags =
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus |
        (level >= kBypassLevel ? Qt::BypassWindowManagerHint : Qt::WindowStaysOnTopHint);
    auto view = ink::InkView::create(screen, screen->geometry(), options);
    if (!view) {
        return ConfigExit{"draw: OpenGL 3.3 unavailable", 2};
    }
    view->setCursorEnabled(!ignoresMouse_);
    if (placer_) {
        const platform::WindowPlacement placement{
            level, (collectionBehavior(config_.behaviorTokens).bits & kCanJoinAllSpaces) != 0, true,
            ignoresMouse_};
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

void DrawAppDelegate::reconcileDisplays() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    const auto screenNamed = [&](const std::string& name) -> QScreen* {
        for (QScreen* screen : screens) {
            if (screen->name().toStdString() == name) {
                return screen;
            }
        }
        return nullptr;
    };
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
                    panel->setVisible(panelsShown_ && annotating_);
                }
            }
        } else if (surface.visible) {
            surface.view->hide();
            surface.visible = false;
            for (const auto& panel : controlPanels_) {
                if (panel->displayID() == surface.displayID) {
                    panel->hide();
                }
            }
            FrontmostLog::shared().record("displayDisappeared", panelState(surface),
                                          "displayID=" + std::to_string(surface.displayID) +
                                              " surface retained with its ink");
        }
    }
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
            FrontmostLog::shared().record(
                "displayAppeared", std::nullopt,
                "displayID=" + std::to_string(surfaces_.back().displayID) + " new surface");
        }
    }
    FrontmostLog::shared().record("screenParametersChanged",
                                  surfaces_.empty() ? std::nullopt : panelState(surfaces_.front()),
                                  "screens=" + std::to_string(screens.size()) +
                                      " surfaces=" + std::to_string(surfaces_.size()));
    if (config_.fiducials) {
        publishRegistration(true);
    }
}

std::optional<PanelState> DrawAppDelegate::panelState(const Surface& surface) const {
    const ink::InkView& view = *surface.view;
    return PanelState{view.isVisible(),
                      false,
                      false,
                      ignoresMouse_,
                      windowLevel(config_.levelToken),
                      static_cast<long long>(collectionBehavior(config_.behaviorTokens).bits),
                      view.isVisible(),
                      surface.screenName};
}

void DrawAppDelegate::wireToolController() {
    ink::ToolController& t = *tools_;
    t.permissionCheck = shortcuts::Permissions::refusal;
    t.onToolChange = [this](Tool tool) {
        for (ink::InkView* view : views()) {
            view->setTool(tool);
        }
        for (const auto& panel : controlPanels_) {
            panel->setActiveTool(tool);
        }
        for (const auto& [itemTool, item] : toolItems_) {
            item->setChecked(itemTool == tool);
        }
    };
    t.onPanelToggle = [this] {
        if (controlPanels_.empty()) {
            return false;
        }
        panelsShown_ = !panelsShown_;
        for (const auto& panel : controlPanels_) {
            const bool onScreen = std::any_of(
                surfaces_.begin(), surfaces_.end(),
                [&](const Surface& s) { return s.displayID == panel->displayID() && s.visible; });
            panel->setVisible(panelsShown_ && annotating_ && onScreen);
        }
        FrontmostLog::shared().record("panelToggle", std::nullopt,
                                      std::string("visible=") + (panelsShown_ ? "true" : "false"));
        return true;
    };
    t.onStyleChange = [this](const core::StrokeStyle& style) {
        for (ink::InkView* view : views()) {
            view->setStyle(style);
        }
    };
    t.onModeToggle = [this](ink::ToolController::ModeToggle toggle) {
        if (surfaces_.empty()) {
            return false;
        }
        if (toggle == ink::ToolController::ModeToggle::annotation) {
            toggleAnnotation();
        } else {
            toggleInteractive();
        }
        return true;
    };
    t.onSettingsChange = [this](const core::AnnotationSettings& settings) {
        for (ink::InkView* view : views()) {
            view->canvas().setBeautify(settings.beautify);
        }
        scheduleSettingsWrite(settings);
    };
    t.onAutoEraseChange = [this](std::optional<double> seconds) {
        for (ink::InkView* view : views()) {
            view->setTimeToLive(seconds);
        }
    };
    t.onEdit = [this](ink::ToolController::Edit edit) {
        ink::InkView* view = viewUnderPointer();
        if (!view) {
            return false;
        }
        switch (edit) {
            case ink::ToolController::Edit::undo:
                return view->undo();
            case ink::ToolController::Edit::redo:
                return view->redo();
            case ink::ToolController::Edit::clearAll:
                return view->canvas().clearAll();
            case ink::ToolController::Edit::deleteSelection:
                return view->canvas().deleteSelection();
        }
        return false;
    };
    t.onQuit = [this] { requestFinish("app.quit"); };
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

void DrawAppDelegate::announce(const std::string& text, bool sticky) {
    std::cerr << "draw: " << text << "\n";
    if (ink::InkView* view = viewUnderPointer()) {
        view->showHint(QString::fromStdString(text), sticky);
    }
}

void DrawAppDelegate::announcePermission(const std::string& text, ActionID action) {
    announce(text, true);
    const auto grant = shortcuts::Permissions::grant(action);
    if (!grant) {
        return;
    }
    const bool accessibility = *grant == shortcuts::Permissions::Grant::accessibility;
    const std::string name = accessibility ? "accessibility" : "screenRecording";
    if (!offeredGrants_.insert(name).second) {
        return;
    }
    QTimer::singleShot(0, this, [this, text, name, accessibility] {
        auto* alert =
            new QMessageBox(QMessageBox::Information,
                            accessibility ? QStringLiteral("Accessibility is needed for this")
                                          : QStringLiteral("Screen Recording is needed for this"),
                            accessibility ? QStringLiteral("Accessibility is needed for this")
                                          : QStringLiteral("Screen Recording is needed for this"));
        alert->setInformativeText(QString::fromStdString(text));
        QPushButton* open =
            alert->addButton(QStringLiteral("Open Settings"), QMessageBox::AcceptRole);
        alert->addButton(QStringLiteral("Not now"), QMessageBox::RejectRole);
        alert->setAttribute(Qt::WA_DeleteOnClose);
        connect(alert, &QMessageBox::finished, this, [this, alert, open, name] {
            const bool opened = alert->clickedButton() == open && openSystemSettings();
            FrontmostLog::shared().record(
                "permissionPrompt", std::nullopt,
                "grant=" + name + " opened=" + (opened ? "true" : "false"));
            for (ink::InkView* view : views()) {
                view->refreshCursor();
            }
        });
        alert->open();
    });
}

void DrawAppDelegate::toggleInteractive() {
    const bool previous = surfaces_.empty() ? true : ignoresMouse_;
    interactiveToggledAt_ = monotonicSeconds();
    applyInputTransparency(!previous);
    FrontmostLog::shared().record(
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
        for (const auto& panel : controlPanels_) {
            if (panel->displayID() == surface.displayID) {
                panel->setVisible(annotating_ && surface.visible && panelsShown_);
            }
        }
    }
    refreshHotkeyScopes();
    const std::string state = annotating_ ? "true" : "false";
    FrontmostLog::shared().record("annotationToggle",
                                  surfaces_.empty() ? std::nullopt : panelState(surfaces_.front()),
                                  "annotating=" + state + " scopedHotkeys=" + state);
    return annotating_;
}

void DrawAppDelegate::installStatusItem() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        std::cerr << "draw: no system tray on this desktop; the menu is unavailable\n";
    }
    statusMenu_ = std::make_unique<QMenu>();
    rebuildStatusMenu();
    statusItem_ = std::make_unique<QSystemTrayIcon>();
    statusItem_->setToolTip(QStringLiteral("Scrawlet"));
    // No icon theme ships a pen for us: draw the glyph.
    QPixmap glyph(32, 32);
    glyph.fill(Qt::transparent);
    {
        QPainter painter(&glyph);
        QFont font = painter.font();
        font.setPixelSize(26);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(glyph.rect(), Qt::AlignCenter, QStringLiteral("\u270E"));
    }
    statusItem_->setIcon(QIcon(glyph));
    statusItem_->setContextMenu(statusMenu_.get());
    statusItem_->show();
}

void DrawAppDelegate::rebuildStatusMenu() {
    statusMenu_->clear();
    toolItems_.clear();
    for (const Tool tool : core::allCases<Tool>()) {
        QAction* item =
            statusMenu_->addAction(QString::fromStdString(capitalised(core::rawValue(tool))));
        item->setCheckable(true);
        item->setChecked(tool == tools_->tool());
        if (const auto reason = core::unavailableReason(tool)) {
            item->setEnabled(false);
            item->setToolTip(QString::fromStdString(std::string(*reason)));
        }
        connect(item, &QAction::triggered, this, [this, tool] { pickTool(tool); });
        toolItems_.emplace_back(tool, item);
    }
    statusMenu_->setToolTipsVisible(true);
    statusMenu_->addSeparator();
    if (hotkeys_ && !hotkeys_->conflicts().empty()) {
        statusMenu_
            ->addAction(QString::number(hotkeys_->conflicts().size()) +
                        QStringLiteral(" shortcut(s) taken by other apps"))
            ->setEnabled(false);
    }
    connect(statusMenu_->addAction(QStringLiteral("Quit")), &QAction::triggered, this,
            [this] { requestFinish("menu"); });
}

void DrawAppDelegate::pickTool(Tool tool) {
    const auto action = actionSelecting(tool);
    if (!action) {
        return;
    }
    tools_->dispatch(*action);
    for (const auto& [itemTool, item] : toolItems_) {
        item->setChecked(itemTool == tool);
    }
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

std::string DrawAppDelegate::progressLine() const {
    std::uint64_t events = 0;
    std::uint64_t strokes = 0;
    std::uint64_t frames = 0;
    for (const ink::InkView* view : views()) {
        events += view->canvas().eventCount();
        strokes += view->canvas().strokeCount();
        frames += view->frames().frameCount();
    }
    return shell::progressLine(events, strokes, frames);
}

void DrawAppDelegate::scheduleScriptedActions() {
    if (config_.scriptedActions.empty()) {
        return;
    }
    const double delay = std::max(config_.maxDurationSeconds - 0.5, 0.2);
    QTimer::singleShot(static_cast<int>(delay * 1000), this, [this] {
        if (driver_) {
            driver_->stop();
        }
        for (const ActionID action : config_.scriptedActions) {
            const auto outcome = tools_->dispatch(action);
            std::cerr << "draw: scripted " << core::rawValue(action) << " -> " << describe(outcome)
                      << "\n";
        }
        requestFinish("scriptedActions");
    });
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
    settings::SettingsStore::save(
        settings::SettingsStore::settingsFile(),
        [&](core::Settings& document) { document.annotation = pending; }, "draw: ");
}

void DrawAppDelegate::requestFinish(const std::string& reason) {
    const bool capturePending =
        std::any_of(surfaces_.begin(), surfaces_.end(),
                    [](const Surface& s) { return s.view->isSelectingCaptureRegion(); });
    if (capturePending) {
        QTimer::singleShot(static_cast<int>(kFinishRecheckSeconds * 1000), this,
                           [this, reason] { requestFinish(reason); });
        return;
    }
    finish(reason);
}

void DrawAppDelegate::finish(const std::string& reason) {
    flushSettings();
    if (finished_) {
        return;
    }
    finished_ = true;
    const double duration = monotonicSeconds() - startedAt_;
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
    const auto written = writeFileAtomically(config_.summaryPath, summary);
    if (!written) {
        std::cerr << "draw: summary write failed: " << written.error() << "\n";
        FrontmostLog::shared().finish(reason);
        emit finished(3);
        return;
    }
    std::cerr << "draw: wrote " << config_.summaryPath << "\n";
    FrontmostLog::shared().finish(reason);
    emit finished(0);
}

void DrawAppDelegate::printBanner() const {
    const auto line = [](std::string_view label, const std::string& value) {
        std::string text = "  " + std::string(label) + ":";
        text.resize(std::max<std::size_t>(text.size() + 1, 22), ' ');
        return text + value + "\n";
    };
    const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
    const core::StrokeStyle pen = core::StrokeStyle::style(tools_->tool(), tools_->settings());
    std::string text = "scrawlet draw (M0 T5)\n";
    text += line("pid", std::to_string(::getpid()));
#ifdef NDEBUG
    text += line("build", "Release");
#else
    text += line("build", "Debug");
#endif
    text += line("panels", std::to_string(surfaces_.size()) + " (one per screen)");
    text += line("level",
                 config_.levelToken + " (" + std::to_string(windowLevel(config_.levelToken)) + ")");
    text += line("click-through", onOff(ignoresMouse_));
    text += line("tool", std::string(core::rawValue(tools_->tool())));
    text += shortcuts::Permissions::banner() + "\n";
    text += line("stroke", pen.colour.hexString() + " at " +
                               core::shortestDecimal(pen.widthContentUnits) + "pt");
    text += line("capacity", std::to_string(config_.limits.pointCapacity) + " points, " +
                                 std::to_string(config_.limits.strokeCapacity) + " strokes");
    text += line("transport", std::string(core::rawValue(config_.transport)));
    text +=
        line("allocation audit", "not compiled in (build with -DSCRAWLET_ALLOC_AUDIT=ON to count)");
    text += line("lens", onOff(false));
    text += line("full-screen zoom", onOff(false));
    text += line("spotlight", onOff(false));
    text += line("cursor highlight", onOff(false));
    text += line("keystroke display", onOff(false));
    text += line("summary", config_.summaryPath);
    if (!compositing_) {
        // Without a compositing manager the overlay is an opaque sheet over the desktop.
        text +=
            "   ** does not draw yet: no compositing manager is running; start one (for "
            "example xcompmgr) and run scrawlet again\n";
    }
    text +=
        "Draw with the left button. Right-click clears. SIGUSR1 toggles click-through, SIGPWR "
        "prints totals, SIGUSR2 (or Ctrl-C) finishes.\n";
    std::cerr << text;
}

std::string DrawAppDelegate::summaryText(const std::string& reason, double durationSeconds) const {
    RunSummaryInput input = RunSummaryInput::fromConfig(config_);
    input.reason = reason;
    input.durationSeconds = durationSeconds;
#ifdef NDEBUG
    input.buildConfiguration = "Release";
#else
    input.buildConfiguration = "Debug";
#endif
    input.panels = surfaces_.size();
    for (const ink::InkView* view : views()) {
        const ink::InkCanvas& canvas = view->canvas();
        InkTotals& ink = input.ink;
        ink.eventCount += canvas.eventCount();
        ink.draggedEventCount += canvas.draggedEventCount();
        ink.strokeCount += canvas.strokeCount();
        ink.visibleSpanCount += static_cast<std::uint64_t>(canvas.scene().visibleSpanCount());
        ink.reclaimablePointCount +=
            static_cast<std::uint64_t>(canvas.scene().reclaimablePointCount());
        ink.visibleTextCount += static_cast<std::uint64_t>(canvas.textScene().visibleCount());
        ink.droppedTextCount += static_cast<std::uint64_t>(canvas.textScene().droppedCount());
        ink.frameCount += view->frames().frameCount();
        ink.deferredFrameCount += view->frames().deferredFrameCount();
        ink.tickCount += view->frames().tickCount();
        ink.idleTickCount += view->frames().idleTickCount();
        ink.instanceCount += static_cast<std::uint64_t>(view->instances().instanceCount());
        ink.droppedPointCount += static_cast<std::uint64_t>(canvas.scene().droppedPointCount());
        ink.droppedStrokeCount += static_cast<std::uint64_t>(canvas.scene().droppedStrokeCount());
        ink.droppedInstanceCount += view->instances().droppedInstanceCount();
    }
    const core::AnnotationSettings& settings = tools_->settings();
    const core::StrokeStyle pen = core::StrokeStyle::style(core::Tool::pen, settings);
    input.penColour = pen.colour;
    input.penWidthPoints = pen.widthContentUnits;
    input.penOpacity = pen.opacity;
    if (!surfaces_.empty()) {
        input.backingScaleFactor = surfaces_.front().view->devicePixelRatio();
        input.nominalRefreshHz = 1.0 / surfaces_.front().view->frames().refreshInterval();
    }
    input.osVersion = currentOsVersion();
    input.startedAt = startedAtText(startedWallClock_);
    return summaryJson(input);
}

}  // namespace scrawlet::shell
