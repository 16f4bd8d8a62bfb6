#include "app/diagnostics/probe_app_delegate.h"

#include <unistd.h>

#include <QGuiApplication>
#include <QScreen>
#include <csignal>
#include <filesystem>
#include <iostream>

#include "app/diagnostics/draw_surface_tap.h"
#include "app/diagnostics/occlusion_meter.h"
#include "app/diagnostics/probe_view.h"
#include "app/ink/ink_view.h"
#include "app/platform/atomic_file.h"
#include "app/platform/display_identifier.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/platform/presentation_timer.h"
#include "app/shell/run_summary.h"
#include "app/shell/synthetic_drag_driver.h"
#include "core/json_text.h"

namespace scrawlet::diagnostics {
namespace {

using shell::ConfigExit;

// Presented-time reports still on their way when capture stops.
constexpr int kPresentationGraceMs = 250;
// The ordinary window covers this much of its display, centred.
constexpr double kWindowShare = 0.75;
// The synthetic driver never lifts the button: one stroke for the whole run.
constexpr std::int64_t kOneStroke = std::numeric_limits<std::int64_t>::max();

// An overlay panel as draw mode makes them: above everything, outside the window manager's
// stacking, never taking the focus.
Qt::WindowFlags overlayFlags() {
    return platform::flagsForLevel(
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus,
        shell::windowLevel("screenSaver"));
}

QRect windowGeometry(const QRect& screen) {
    const QSize size(static_cast<int>(screen.width() * kWindowShare),
                     static_cast<int>(screen.height() * kWindowShare));
    return QRect(screen.center() - QPoint(size.width() / 2, size.height() / 2), size);
}

// "60", "59.951", "1.5": for the operator, not for reading back.
std::string plain(double value) {
    std::string text = core::fixedDecimal(value, 3);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

}  // namespace

std::expected<std::size_t, ConfigExit> selectScreen(const std::vector<std::string>& names,
                                                    std::size_t primary,
                                                    const std::optional<std::string>& selector) {
    if (names.empty()) {
        return std::unexpected(ConfigExit{"probe: no screen", 2});
    }
    if (!selector) {
        return std::min(primary, names.size() - 1);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == *selector) {
            return i;
        }
    }
    if (const auto index = shell::Environment::parseInteger(*selector);
        index && *index >= 0 && static_cast<std::size_t>(*index) < names.size()) {
        return static_cast<std::size_t>(*index);
    }
    std::string known;
    for (const auto& name : names) {
        known += (known.empty() ? "" : "|") + name;
    }
    return std::unexpected(ConfigExit{"probe: no screen matches SCRAWLET_PROBE_DISPLAY \"" +
                                          *selector + "\" (" + known + " or 0-" +
                                          std::to_string(names.size() - 1) + ")",
                                      64});
}

ProbeAppDelegate::ProbeAppDelegate(RunConfig config) : config_(std::move(config)) {
    runTimer_.setSingleShot(true);
    runTimer_.setTimerType(Qt::PreciseTimer);
    connect(&runTimer_, &QTimer::timeout, this, [this] { finish("timeout"); });
}

ProbeAppDelegate::~ProbeAppDelegate() {
    // The timer's thread reports into the probe until it is gone.
    presentation_.reset();
}

std::optional<ConfigExit> ProbeAppDelegate::launch() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (const auto why = platform::refusalToWrite(config_.outputPath)) {
        return ConfigExit{"probe: flush failed: " + *why, 3};
    }
    std::vector<std::string> names;
    const auto screens = QGuiApplication::screens();
    std::size_t primary = 0;
    for (QScreen* screen : screens) {
        if (screen == QGuiApplication::primaryScreen()) {
            primary = names.size();
        }
        names.push_back(screen->name().toStdString());
    }
    const auto chosen = selectScreen(names, primary, config_.displaySelector);
    if (!chosen) {
        return chosen.error();
    }
    QScreen& screen = *screens[static_cast<qsizetype>(*chosen)];
    readDisplay(screen);
    if (config_.transport == RunConfig::Transport::cgEventPost) {
        input_ = platform::createSyntheticInput();
        if (!input_ || !input_->canInject()) {
            return ConfigExit{
                "probe: the cgevent transport needs the XTEST extension of the X "
                "server.",
                2};
        }
    }
    devices_ = InputDevices::attachedPointingDevices();
    probe_ = std::make_unique<LatencyProbe>();
    presentation_ =
        platform::createPresentationTimer([probe = probe_.get()](std::int64_t frame, double time) {
            probe->framePresented(frame, time);
        });
    printBanner();
    if (auto refused = openSurface(screen)) {
        return refused;
    }
    signals_.install(SIGINT, [this] { finish("SIGINT"); });
    signals_.install(SIGTERM, [this] { finish("SIGTERM"); });
    signals_.install(SIGUSR2, [this] { finish("SIGUSR2"); });
    startedWallClock_ = std::chrono::system_clock::now();
    runTimer_.start(static_cast<int>(config_.maxSeconds * 1000));
    return std::nullopt;
}

void ProbeAppDelegate::readDisplay(const QScreen& screen) {
    display_.name = screen.name().toStdString();
    display_.id = platform::displayIdentifier(&screen);
    display_.refreshHz = screen.refreshRate();
    display_.scale = screen.devicePixelRatio();
    display_.sizePoints = screen.geometry().size();
}

std::optional<ConfigExit> ProbeAppDelegate::openSurface(QScreen& screen) {
    auto opened = config_.surface == RunConfig::Surface::draw ? openDrawSurface(screen)
                                                              : openProbeView(screen);
    if (!opened) {
        return opened.error();
    }
    QWindow& window = **opened;
    occlusion_ = std::make_unique<OcclusionMeter>(window);
    if (config_.surface != RunConfig::Surface::window && !platform::compositingManagerRunning()) {
        std::cerr << "probe: no compositing manager is running; the overlay shows opaque\n";
    }
    window.show();
    if (config_.surface == RunConfig::Surface::window) {
        window.requestActivate();
    }
    if (config_.synthetic()) {
        driver_ = std::make_unique<shell::SyntheticDragDriver>(
            window, config_.transport, 1.0 / config_.syntheticHz, kOneStroke, input_.get());
        driver_->messagePrefix = "probe: ";
        driver_->onPost = [probe = probe_.get()](double time, QPoint global) {
            probe->notePost(time, global.x(), global.y());
        };
        // Input posted through the server before the window is there would land on whatever
        // is below it, and a press there would keep the drag away from the window.
        occlusion_->onFirstExposure = [driver = driver_.get()] { driver->start(); };
    }
    return std::nullopt;
}

std::expected<QWindow*, ConfigExit> ProbeAppDelegate::openDrawSurface(QScreen& screen) {
    const auto offered = platform::probeGlPresentation();
    if (!offered) {
        return std::unexpected(ConfigExit{"probe: OpenGL 3.3 unavailable", 2});
    }
    ink::InkView::Options options;
    options.presentPath = platform::choosePresentPath(*offered);
    options.flags = overlayFlags();
    inkView_ = ink::InkView::create(&screen, screen.geometry(), options);
    if (!inkView_) {
        return std::unexpected(ConfigExit{"probe: the draw surface could not be made", 2});
    }
    tap_ = std::make_unique<DrawSurfaceTap>(*inkView_, *probe_, *presentation_,
                                            static_cast<std::size_t>(config_.targetSamples));
    tap_->onTargetReached = [this] { finish("target"); };
    tap_->onEscape = [this] { finish("escape"); };
    tap_->startCapturing();
    return inkView_.get();
}

std::expected<QWindow*, ConfigExit> ProbeAppDelegate::openProbeView(QScreen& screen) {
    ProbeView::Options options;
    options.opaque = config_.surface == RunConfig::Surface::window;
    options.presentsPerEvent = config_.presentMode == RunConfig::PresentMode::perEvent;
    options.presentsWithTransaction = config_.presentsWithTransaction;
    options.clearOnDown = config_.clearOnDown;
    options.flashOnDraw = config_.flashOnDraw;
    options.maximumDrawableCount = config_.maximumDrawableCount;
    options.targetSamples = static_cast<std::size_t>(config_.targetSamples);
    QRect geometry = windowGeometry(screen.geometry());
    if (!options.opaque) {
        options.flags = overlayFlags();
        geometry = screen.geometry();
    }
    std::string why;
    view_ = ProbeView::create(&screen, geometry, options, *probe_, *presentation_, &why);
    if (!view_) {
        return std::unexpected(ConfigExit{"probe: " + why, 2});
    }
    view_->setTitle("Scrawlet latency probe");
    view_->onTargetReached = [this] { finish("target"); };
    // A synthetic run's keys are not the operator's word.
    view_->onEscape = [this] {
        if (!config_.synthetic()) {
            finish("escape");
        }
    };
    view_->onClose = [this] { finish("closed"); };
    view_->startCapturing();
    return view_.get();
}

void ProbeAppDelegate::finish(const std::string& reason) {
    if (finishing_) {
        return;
    }
    finishing_ = true;
    reason_ = reason;
    runTimer_.stop();
    if (view_) {
        view_->stopCapturing();
    }
    if (tap_) {
        tap_->stopCapturing();
        // The ink view keeps its own clock.
        probe_->adoptClockCounts(inkView_->frames().tickCount(),
                                 inkView_->frames().deferredFrameCount());
    }
    if (driver_) {
        driver_->stop();
    }
    QTimer::singleShot(kPresentationGraceMs, this, [this] { flush(); });
}

void ProbeAppDelegate::flush() {
    const std::string text = probe_->flushText(metadata());
    const auto written = platform::writeFileAtomically(config_.outputPath, text,
                                                       {.permissions = 0600, .onlyOwnFile = true});
    if (!written) {
        std::cerr << "probe: flush failed: " << written.error() << "\n";
        keepElsewhere(text);
        emit finished(3);
        return;
    }
    std::cout << "probe: wrote " << probe_->eventCount() << " events / "
              << probe_->frameCommitCount() << " frames committed / " << probe_->framePresentCount()
              << " presented / " << probe_->deferredFrameCount() << " deferred "
              << config_.outputPath << " (" << reason_ << ")\n"
              << std::flush;
    emit finished(0);
}

// A run can take minutes of someone's dragging: when its file cannot be written, the samples
// go to the temporary folder, or failing that to standard output, rather than nowhere.
void ProbeAppDelegate::keepElsewhere(const std::string& text) const {
    std::error_code error;
    auto folder = std::filesystem::temp_directory_path(error);
    const auto kept = (error ? std::filesystem::path("/tmp") : folder) /
                      ("scrawlet-latency-" + std::to_string(::getpid()) + ".jsonl");
    if (platform::writeFileAtomically(kept, text, {.permissions = 0600, .onlyOwnFile = true})) {
        std::cerr << "probe: the run was kept in " << kept.string() << "\n";
        return;
    }
    std::cerr << "probe: the run follows on standard output\n";
    std::cout << text << std::flush;
}

RunMetadata ProbeAppDelegate::metadata() const {
    RunMetadata m;
    m.buildConfiguration = shell::buildConfiguration();
    m.inputDeviceLabel = config_.deviceLabel;
    m.displayID = display_.id;
    m.nominalRefreshHz = display_.refreshHz;
    m.backingScaleFactor = display_.scale;
    m.screenPointWidth = display_.sizePoints.width();
    m.screenPointHeight = display_.sizePoints.height();
    m.opaqueWindow = config_.surface == RunConfig::Surface::window;
    m.surface = core::rawValue(config_.surface);
    m.clearOnDown = config_.clearOnDown;
    m.flashOnDraw = config_.flashOnDraw;
    m.presentMode = core::rawValue(config_.presentMode);
    m.presentsWithTransaction = config_.presentsWithTransaction;
    m.maximumDrawableCount = config_.maximumDrawableCount;
    m.inputTransport = core::rawValue(config_.transport);
    m.synthetic = config_.synthetic();
    m.inputDevicesJSON = InputDevices::json(devices_);
    m.inputDeviceCount = devices_.size();
    m.osVersion = shell::currentOsVersion();
    m.hardwareModel = shell::currentHardwareModel();
    m.startedAt = shell::startedAtText(startedWallClock_);
    m.occludedSeconds = occlusion_ ? occlusion_->occludedSeconds() : 0;
    return m;
}

void ProbeAppDelegate::printBanner() const {
    const bool synthetic = config_.synthetic();
    std::string text = "scrawlet latency probe (M0 T3)\n";
    text += "  build      : " + shell::buildConfiguration() + "\n";
    text += "  display    : " + display_.name + " (id " + std::to_string(display_.id) + "), " +
            plain(display_.refreshHz) + "Hz nominal, scale " + plain(display_.scale) + "\n";
    text += "  label      : " + config_.deviceLabel + "   (operator-typed; not evidence)\n";
    text += "  devices    : " + InputDevices::summary(devices_) + "\n";
    text += "  surface    : " + std::string(core::rawValue(config_.surface));
    if (config_.surface == RunConfig::Surface::draw) {
        text += "  — THE SHIPPING PATH: OverlayPanel + InkView + StrokeRenderer";
    }
    text += "\n  present    : " + std::string(core::rawValue(config_.presentMode));
    if (config_.presentMode == RunConfig::PresentMode::perEvent) {
        text += "  — pre-ADR-0004 structure, for comparison only";
    }
    text += "\n  transport  : " + std::string(core::rawValue(config_.transport));
    if (synthetic) {
        text += "  — SYNTHETIC, not gate-eligible";
    }
    text += "\n  target     : " + std::to_string(config_.targetSamples) + " samples, max " +
            plain(config_.maxSeconds) + "s\n";
    text += "  output     : " + config_.outputPath + "\n\n";
    text += synthetic ? "Synthetic driver running; no interaction needed.\n"
                      : "Drag the pointer continuously, holding the button down.\n";
    text += synthetic ? "Ctrl-C to stop early.\n" : "Esc or Ctrl-C to stop early.\n";
    std::cout << text << std::flush;
}

}  // namespace scrawlet::diagnostics
