#include "app/diagnostics/text_input_spike_app_delegate.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QVariant>
#include <csignal>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "app/shortcuts/permissions.h"
#include "core/number_format.h"

namespace scrawlet::diagnostics {
namespace {

// Each route types the same keys, half a second after it starts so that its grab, focus or
// monitor is in force at the server before the first key.
// Five different keys: the toolkit takes a press of the key just released, in the same
// server millisecond, for auto-repeat, which a late timer tick could otherwise produce.
constexpr std::uint32_t kKeysyms[] = {0x61, 0x73, 0x64, 0x66, 0x67};  // "asdfg"
constexpr int kKeysPerRoute = 5;
constexpr int kTypeDelayMs = 500;
constexpr int kKeyIntervalMs = 40;
constexpr double kDeliverySeconds = 1.0;
constexpr int kDeliveryPollMs = 20;
constexpr double kRouteStartSeconds[] = {0.5, 3.0, 4.5, 6.0};
constexpr double kReportSeconds = 7.5;

void record(std::string_view event, const std::string& note) {
    log::FrontmostLog::shared().record(event, std::nullopt, note);
}

RouteResult routeStarted(bool ran, std::string_view whyNot) {
    RouteResult route;
    route.ran = ran;
    if (!ran) {
        route.skipped = whyNot;
    }
    return route;
}

std::string yes(bool value) {
    return value ? "true" : "false";
}

}  // namespace

KeyCapableSpikePanel::KeyCapableSpikePanel() {
    // Unlike every other panel of ours this one accepts the focus: route A2 gives it.
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setProperty("_q_showWithoutActivating", true);
    resize(360, 60);
}

void KeyCapableSpikePanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(QRect(QPoint(), size()), QColor(40, 40, 40));
    painter.setPen(Qt::white);
    painter.drawText(QRect(QPoint(), size()), Qt::AlignCenter,
                     QString("R1 text input: %1 keys").arg(keyCount));
}

void KeyCapableSpikePanel::keyPressEvent(QKeyEvent* event) {
    if (!event->isAutoRepeat()) {
        ++keyCount;
        update();
    }
}

TextInputSpikeAppDelegate::TextInputSpikeAppDelegate(TextInputSpikeConfig config)
    : config_(std::move(config)) {
    liveClock_.setTimerType(Qt::PreciseTimer);
    connect(&liveClock_, &QTimer::timeout, this, [this] { liveTick(); });
    typer_.setInterval(kKeyIntervalMs);
    connect(&typer_, &QTimer::timeout, this, [this] { typeNextKey(); });
}

TextInputSpikeAppDelegate::~TextInputSpikeAppDelegate() = default;

std::optional<shell::ConfigExit> TextInputSpikeAppDelegate::launch() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    frontmost_ = platform::createFrontmostAppProvider();
    if (frontmost_) {
        log::FrontmostLog::shared().setFrontmost(frontmost_->frontmostApp());
        frontmost_->setOnChange([](const platform::FrontmostApp& app) {
            log::FrontmostLog::shared().setFrontmost(app);
            log::FrontmostLog::shared().record("didActivateApplication", std::nullopt,
                                               app.bundleId);
        });
    }
    if (const auto started = log::FrontmostLog::shared().start(config_.logPath); !started) {
        return shell::ConfigExit{"textspike: log write failed: " + started.error(), 3};
    }
    accessibility_ = shortcuts::Permissions::isHeld(shortcuts::Permissions::Grant::accessibility);
    record("textInput", "R1 text input; accessibility=" + yes(accessibility_));
    frontmostBefore_ = frontmostNow();
    monitor_ = platform::createKeyMonitor();
    if (monitor_) {
        monitor_->setOnKeyPress([this](const platform::KeyPress&) { ++monitorHits_; });
    }
    tap_ = platform::createKeyboardTap();
    if (tap_) {
        tap_->setOnKeyPress([this] { ++tapHitsRouteC_; });
    }
    panel_ = std::make_unique<KeyCapableSpikePanel>();
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        panel_->setPosition(screen->geometry().topLeft() + QPoint(40, 40));
    }
    panel_->show();
    signals_.install(SIGUSR2, [this] { finish("SIGUSR2"); });
    signals_.install(SIGINT, [this] { finish("SIGINT"); });
    signals_.install(SIGTERM, [this] { finish("SIGTERM"); });
    signals_.install(SIGUSR1, [] {});
    signals_.install(SIGPWR, [] {});
    std::cerr << "scrawlet textspike: FrontmostLog at " << config_.logPath << "\n" << std::flush;
    if (config_.live) {
        runLive();
    } else {
        runScripted();
    }
    return std::nullopt;
}

void TextInputSpikeAppDelegate::runScripted() {
    input_ = platform::createSyntheticInput();
    if (!input_ || !input_->canInject()) {
        std::cerr << "textspike: the X server cannot type test keys (no XTEST); every route "
                     "will count 0\n";
    }
    scriptStartedAt_ = platform::monotonicSeconds();
    scheduleStep(0);
}

// Each step starts at its time after the start, but never before the previous route's keys
// have arrived or stopped coming: on a busy machine a late key would count for the next route.
void TextInputSpikeAppDelegate::scheduleStep(std::size_t step) {
    constexpr void (TextInputSpikeAppDelegate::*kSteps[])() = {
        &TextInputSpikeAppDelegate::routeA, &TextInputSpikeAppDelegate::routeA2,
        &TextInputSpikeAppDelegate::routeB, &TextInputSpikeAppDelegate::routeC,
        &TextInputSpikeAppDelegate::report};
    const double at =
        step < std::size(kRouteStartSeconds) ? kRouteStartSeconds[step] : kReportSeconds;
    const double wait = std::max(0.0, scriptStartedAt_ + at - platform::monotonicSeconds());
    QTimer::singleShot(static_cast<int>(wait * 1000), Qt::PreciseTimer, this,
                       [this, step, run = kSteps[step]] {
                           if (finished_) {
                               return;
                           }
                           step_ = step;
                           (this->*run)();
                       });
}

// Until every key typed for the route has reached what the route watches, or a second has
// passed since the last was typed; then the next step.
void TextInputSpikeAppDelegate::awaitDelivery() {
    const double lastTypedAt = platform::monotonicSeconds();
    delivery_.callOnTimeout(this, [this, lastTypedAt] {
        if (finished_) {
            delivery_.stop();
            return;
        }
        if (deliveredSoFar() < kKeysPerRoute &&
            platform::monotonicSeconds() - lastTypedAt < kDeliverySeconds) {
            return;
        }
        delivery_.stop();
        delivery_.disconnect();
        scheduleStep(step_ + 1);
    });
    delivery_.start(kDeliveryPollMs);
}

int TextInputSpikeAppDelegate::deliveredSoFar() const {
    switch (step_) {
        case 0:
            return panel_->keyCount;
        case 1:
            return panel_->keyCount - panelKeysBefore_;
        case 2:
            return monitorHits_;
        default:
            return std::min(tapHitsRouteC_, monitorHits_);
    }
}

bool TextInputSpikeAppDelegate::grabForPanel() {
    // Qt grabs the keyboard for the window and leaves the input focus where it was.
    panelBecameKey_ = panel_->setKeyboardGrabEnabled(true);
    return panelBecameKey_;
}

bool TextInputSpikeAppDelegate::startMonitor() {
    if (!monitor_) {
        return false;
    }
    if (const auto started = monitor_->start(); !started) {
        std::cerr << "textspike: no raw-key monitor: " << started.error() << "\n";
        return false;
    }
    return true;
}

void TextInputSpikeAppDelegate::routeA() {
    const bool grabbed = grabForPanel();
    record("routeA.madeKey", "grab=" + yes(grabbed) + " stoleFocus=" + yes(focusStolen()));
    report_.routeA = routeStarted(grabbed, "keyboard grab refused");
    report_.routeA.keysSent = typeKeys();
}

void TextInputSpikeAppDelegate::countRouteA() {
    keysRouteA_ = panel_->keyCount;
    frontmostWhileKey_ = frontmostNow();
    report_.routeA.panelKeys = keysRouteA_;
    report_.routeA.frontmost = frontmostWhileKey_;
    report_.routeA.stoleFocus = focusStolen();
    panel_->setKeyboardGrabEnabled(false);
    record("routeA.counted", "keys=" + std::to_string(keysRouteA_) +
                                 " frontmost=" + frontmostWhileKey_ +
                                 " stoleFocus=" + yes(report_.routeA.stoleFocus));
}

void TextInputSpikeAppDelegate::routeA2() {
    countRouteA();
    panelKeysBefore_ = panel_->keyCount;
    panel_->requestActivate();
    record("routeA2.activated", "requested the input focus for the panel");
    report_.routeA2 = routeStarted(true, "");
    report_.routeA2.keysSent = typeKeys();
}

void TextInputSpikeAppDelegate::countRouteA2() {
    keysRouteA2_ = panel_->keyCount - panelKeysBefore_;
    frontmostWhileActivated_ = frontmostNow();
    report_.routeA2.panelKeys = keysRouteA2_;
    report_.routeA2.frontmost = frontmostWhileActivated_;
    report_.routeA2.stoleFocus = focusStolen();
    record("routeA2.counted", "keysToPanel=" + std::to_string(keysRouteA2_) +
                                  " frontmost=" + frontmostWhileActivated_ +
                                  " stoleFocus=" + yes(report_.routeA2.stoleFocus));
    // Gone from the screen, the panel gives the focus back for the routes that follow.
    panel_->hide();
}

void TextInputSpikeAppDelegate::routeB() {
    countRouteA2();
    const bool started = startMonitor();
    record("routeB.installed", "monitor=" + yes(started));
    report_.routeB = routeStarted(started, "no raw-key monitor");
    monitorHits_ = 0;
    report_.routeB.keysSent = typeKeys();
}

void TextInputSpikeAppDelegate::countRouteB() {
    monitorHitsRouteB_ = monitorHits_;
    report_.routeB.monitorHits = monitorHitsRouteB_;
    report_.routeB.frontmost = frontmostNow();
    report_.routeB.stoleFocus = focusStolen();
    record("routeB.counted", "monitorHits=" + std::to_string(monitorHitsRouteB_));
}

void TextInputSpikeAppDelegate::routeC() {
    countRouteB();
    report_.routeC = {};
    if (!accessibility_) {
        report_.routeC.skipped = "Accessibility not granted";
        record("routeC.skipped", "Accessibility not granted");
        scheduleStep(step_ + 1);
        return;
    }
    const auto started =
        tap_ ? tap_->start()
             : std::expected<void, std::string>(std::unexpected(std::string("no X11 connection")));
    if (!started) {
        report_.routeC.skipped = "tap not created: " + started.error();
        record("routeC.tapCreateFailed", started.error());
        scheduleStep(step_ + 1);
        return;
    }
    report_.routeC.ran = true;
    tapHitsRouteC_ = 0;
    monitorHits_ = 0;
    report_.routeC.keysSent = typeKeys();
}

void TextInputSpikeAppDelegate::countRouteC() {
    if (!report_.routeC.ran) {
        return;
    }
    monitorHitsRouteC_ = monitorHits_;
    tap_->stop();
    report_.routeC.tapHits = tapHitsRouteC_;
    report_.routeC.monitorHits = monitorHitsRouteC_;
    report_.routeC.frontmost = frontmostNow();
    report_.routeC.stoleFocus = focusStolen();
    record("routeC.counted", "tapHits=" + std::to_string(tapHitsRouteC_) +
                                 " monitorHits=" + std::to_string(monitorHitsRouteC_));
}

void TextInputSpikeAppDelegate::report() {
    countRouteC();
    report_.accessibility = accessibility_;
    report_.frontmostBefore = frontmostBefore_;
    std::cerr << formatScriptedReport(report_) << std::flush;
    finish("complete");
}

int TextInputSpikeAppDelegate::typeKeys() {
    if (!input_ || !input_->canInject()) {
        scheduleStep(step_ + 1);
        return 0;
    }
    keysLeft_ = kKeysPerRoute;
    QTimer::singleShot(kTypeDelayMs, Qt::PreciseTimer, this, [this] { typer_.start(); });
    return kKeysPerRoute;
}

void TextInputSpikeAppDelegate::typeNextKey() {
    if (finished_) {
        typer_.stop();
        return;
    }
    --keysLeft_;
    const std::uint32_t keysym = kKeysyms[keysLeft_];
    if (!input_->setKey(keysym, true) || !input_->setKey(keysym, false)) {
        std::cerr << "textspike: the X server refused a test key\n";
        keysLeft_ = 0;
    }
    if (keysLeft_ <= 0) {
        typer_.stop();
        awaitDelivery();
    }
}

void TextInputSpikeAppDelegate::runLive() {
    if (!accessibility_) {
        std::cerr << "  WARNING: no Accessibility grant, so keys typed elsewhere cannot be "
                     "counted.\n";
    } else if (!startMonitor()) {
        std::cerr << "  WARNING: no raw-key monitor, so keys typed elsewhere cannot be counted.\n";
    }
    if (!grabForPanel()) {
        std::cerr << "textspike: the keyboard grab for the panel was refused; the panel will "
                     "see nothing\n";
    }
    record("live.start", "seconds=" + core::shortestDecimal(config_.liveSeconds) +
                             " grab=" + yes(panelBecameKey_));
    std::cerr << "Type into another application for " << core::shortestDecimal(config_.liveSeconds)
              << " s.\n"
              << std::flush;
    liveClock_.start(1000);
}

void TextInputSpikeAppDelegate::liveTick() {
    ++liveSecond_;
    const std::string frontmost = frontmostNow();
    liveSamples_.push_back(frontmost);
    liveFocusMoved_ = liveFocusMoved_ || focusStolen();
    std::cerr << formatLiveTick(liveSecond_, panel_->keyCount, monitorHits_, frontmost) << "\n"
              << std::flush;
    if (liveSecond_ < config_.liveSeconds) {
        return;
    }
    liveClock_.stop();
    panel_->setKeyboardGrabEnabled(false);
    std::string samples;
    for (const auto& sample : liveSamples_) {
        samples += (samples.empty() ? "" : ", ") + sample;
    }
    std::cerr << "  keys the panel saw: " << panel_->keyCount << "\n"
              << "  keys typed (raw-key monitor, the control): " << monitorHits_ << "\n"
              << "  frontmost samples: " << samples << "\n"
              << liveVerdict(panel_->keyCount, liveFocusMoved_) << "\n"
              << "R1 live check complete\n"
              << std::flush;
    record("live.counted", "panel=" + std::to_string(panel_->keyCount) +
                               " typed=" + std::to_string(monitorHits_) +
                               " focusMoved=" + yes(liveFocusMoved_));
    finish("complete");
}

bool TextInputSpikeAppDelegate::focusStolen() const {
    const bool frontmostOurs = frontmost_ && frontmost_->frontmostApp().isOurs;
    return frontmostOurs || platform::ownWindowHasInputFocus();
}

std::string TextInputSpikeAppDelegate::frontmostNow() const {
    if (!frontmost_) {
        return "(none)";
    }
    const platform::FrontmostApp app = frontmost_->frontmostApp();
    return frontmostLabel(app.name, app.bundleId);
}

void TextInputSpikeAppDelegate::finish(const std::string& reason) {
    if (finished_) {
        return;
    }
    finished_ = true;
    liveClock_.stop();
    if (panel_) {
        panel_->setKeyboardGrabEnabled(false);
    }
    if (tap_) {
        tap_->stop();
    }
    if (monitor_) {
        monitor_->stop();
    }
    if (reason != "complete") {
        std::cerr << "textspike: stopped by " << reason << " before the report; the log has "
                  << "what was counted\n";
    }
    log::FrontmostLog::shared().finish(reason);
    emit finished(0);
}

}  // namespace scrawlet::diagnostics
