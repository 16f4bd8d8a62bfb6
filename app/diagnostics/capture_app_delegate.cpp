#include "app/diagnostics/capture_app_delegate.h"

#include <unistd.h>

#include <QGuiApplication>
#include <QScreen>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <iostream>

#include "app/diagnostics/frame_probe.h"
#include "app/log/frontmost_log.h"
#include "app/platform/atomic_file.h"
#include "app/platform/display_identifier.h"
#include "app/platform/monotonic_clock.h"
#include "app/shell/run_summary.h"
#include "app/shortcuts/permissions.h"
#include "core/json_text.h"
#include "core/number_format.h"

namespace scrawlet::diagnostics {
namespace {

constexpr double kSentinelInsetPoints = 40;
constexpr double kSentinelSizePoints = 24;
constexpr int kAnimationIntervalMs = 33;

QRgb rgb(const int (&c)[3]) {
    return qRgb(c[0], c[1], c[2]);
}

std::string rgbArray(const int (&c)[3]) {
    return "[" + std::to_string(c[0]) + "," + std::to_string(c[1]) + "," + std::to_string(c[2]) +
           "]";
}

std::string yes(bool value) {
    return value ? "true" : "false";
}

std::string fixed(double value, int digits) {
    return core::fixedDecimal(value, digits);
}

QRect toPixels(const QRectF& points, double scale) {
    return QRectF(points.x() * scale, points.y() * scale, points.width() * scale,
                  points.height() * scale)
        .toAlignedRect();
}

}  // namespace

CaptureAppDelegate::CaptureAppDelegate(CaptureConfig config) : config_(std::move(config)) {
    runTimer_.setSingleShot(true);
    runTimer_.setTimerType(Qt::PreciseTimer);
    connect(&runTimer_, &QTimer::timeout, this, [this] { requestStop("timeout"); });
    connect(&animationTimer_, &QTimer::timeout, this, [this] {
        if (panel_) {
            panel_->advanceAnimation();
        }
    });
}

CaptureAppDelegate::~CaptureAppDelegate() {
    // Before the tally the capture thread writes to.
    capture_.reset();
    service_.reset();
}

std::optional<shell::ConfigExit> CaptureAppDelegate::launch() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (const auto why = platform::refusalToWrite(config_.summaryPath)) {
        return shell::ConfigExit{"capture: summary write failed: " + *why, 3};
    }
    if (const auto started = log::FrontmostLog::shared().start(config_.logPath); !started) {
        return shell::ConfigExit{"capture: log write failed: " + started.error(), 3};
    }
    hadPermissionAtLaunch_ =
        shortcuts::Permissions::isHeld(shortcuts::Permissions::Grant::screenRecording);
    if (!hadPermissionAtLaunch_) {
        log::FrontmostLog::shared().finish("noPermission");
        return shell::ConfigExit{
            "capture: this session does not let Scrawlet read the screen. "
            "Grant it by logging in to an X11 session, then quit and "
            "reopen Scrawlet.",
            2};
    }
    const auto screens = QGuiApplication::screens();
    if (config_.displayIndex >= screens.size()) {
        log::FrontmostLog::shared().finish("badDisplayIndex");
        return shell::ConfigExit{"capture: display index " + std::to_string(config_.displayIndex) +
                                     " is out of range (" + std::to_string(screens.size()) +
                                     " displays)",
                                 64};
    }
    if (auto refused = showPanel(*screens[config_.displayIndex])) {
        log::FrontmostLog::shared().finish("noCapture");
        return refused;
    }
    std::string why;
    service_ = platform::createCaptureService(&why);
    if (!service_) {
        log::FrontmostLog::shared().finish("noCapture");
        return shell::ConfigExit{"capture: capture cannot start: " + why, 2};
    }
    capture_ = std::make_unique<capture::DisplayCapture>(*service_, capture::Loop::qt(this));
    capture_->excludeOurWindows = config_.excludeOverlay;
    capture_->recoveryEnabled = config_.recoverStream;
    capture_->maximumRebuilds = config_.maxRestarts;
    // One attempt a second, as the service is asked again every second while it refuses.
    capture_->maximumRetrySeconds = config_.maxRetryAttempts;
    capture_->onSample = [this](const capture::DisplayCapture::Sample& sample) { sampled(sample); };
    capture_->onStreamStart = [this](std::uint32_t, int generation, int width, int height) {
        streamStarted(generation, width, height);
    };
    // The check reads the whole display.
    if (const auto size = service_->displayPixelSize(displayID_)) {
        service_->setRegion(displayID_, QRect(0, 0, size->first, size->second));
    }
    signals_.install(SIGUSR1, [this] { mark(); });
    signals_.install(SIGUSR2, [this] { requestStop("SIGUSR2"); });
    signals_.install(SIGINT, [this] { requestStop("SIGINT"); });
    signals_.install(SIGTERM, [this] { requestStop("SIGTERM"); });
    signals_.install(SIGPWR, [] {});
    startedAt_ = platform::monotonicSeconds();
    startedWallClock_ = std::chrono::system_clock::now();
    capture_->start({displayID_}, config_.requestedFPS);
    if (config_.animateContent) {
        animationTimer_.start(kAnimationIntervalMs);
    }
    runTimer_.start(static_cast<int>(config_.seconds * 1000));
    printBanner();
    return std::nullopt;
}

std::optional<shell::ConfigExit> CaptureAppDelegate::showPanel(QScreen& screen) {
    displayID_ = platform::displayIdentifier(&screen);
    displayName_ = screen.name().toStdString();
    backingScaleFactor_ = screen.devicePixelRatio();
    pointSize_ = screen.geometry().size();
    OverlayPanel::Look look{kSentinelInsetPoints, kSentinelSizePoints, 0, config_.fiducialRect};
    const QRectF sentinel = sentinelRect(pointSize_, kSentinelInsetPoints, kSentinelSizePoints);
    marks_.sentinel = toPixels(sentinel, backingScaleFactor_);
    if (config_.fiducialRect) {
        marks_.fiducial = toPixels(*config_.fiducialRect, backingScaleFactor_);
    }
    panel_ = std::make_unique<OverlayPanel>(
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
            Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput,
        look);
    panel_->setScreen(&screen);
    panel_->setGeometry(screen.geometry());
    panel_->show();
    return std::nullopt;
}

void CaptureAppDelegate::sampled(const capture::DisplayCapture::Sample& sample) {
    SentinelProbe sentinel;
    FiducialProbe fiducial;
    if (!sample.image.isNull()) {
        sentinel = probeSentinel(sample.image, marks_.sentinel, rgb(kSentinelRGB));
        if (marks_.fiducial) {
            fiducial = probeFiducial(sample.image, *marks_.fiducial, rgb(kFiducialRGB));
        }
    }
    bool dump = false;
    std::uint64_t index = 0;
    {
        const std::lock_guard guard(lock_);
        index = tally_.frames++;
        tally_.complete += sample.status == 0 ? 1 : 0;
        tally_.idle += sample.status == 1 ? 1 : 0;
        tally_.selfCaptured += sentinel.present ? 1 : 0;
        tally_.generations = std::max(tally_.generations, sample.generation);
        if (config_.dumpFramePath && !tally_.dumpTried && !sample.image.isNull()) {
            tally_.dumpTried = dump = true;
        }
    }
    if (dump) {
        const bool saved = sample.image.save(QString::fromStdString(*config_.dumpFramePath), "PNG");
        if (!saved) {
            std::cerr << "capture: frame dump failed: " << *config_.dumpFramePath << "\n";
        }
        const std::lock_guard guard(lock_);
        tally_.dumped = saved;
    }
    const QRectF content = sample.contentRect;
    log::FrontmostLog::shared().recordLine(
        "{\"kind\":\"frame\",\"index\":" + std::to_string(index) + ",\"generation\":" +
        std::to_string(sample.generation) + ",\"arrival\":" + fixed(sample.arrival, 6) +
        ",\"presentation\":" + fixed(sample.presentation, 6) + ",\"status\":" +
        std::to_string(sample.status) + ",\"sentinelPresent\":" + yes(sentinel.present) +
        ",\"sentinelMatch\":" + fixed(sentinel.match, 4) +
        ",\"fiducialPresent\":" + yes(fiducial.present) + ",\"fiducialX\":" + fixed(fiducial.x, 2) +
        ",\"fiducialY\":" + fixed(fiducial.y, 2) + ",\"fiducialPixels\":" +
        std::to_string(fiducial.pixels) + ",\"width\":" + std::to_string(sample.width) +
        ",\"height\":" + std::to_string(sample.height) + ",\"contentX\":" + fixed(content.x(), 1) +
        ",\"contentY\":" + fixed(content.y(), 1) + ",\"contentWidth\":" +
        fixed(content.width(), 1) + ",\"contentHeight\":" + fixed(content.height(), 1) + "}");
}

void CaptureAppDelegate::streamStarted(int generation, int width, int height) {
    streamStarted_ = true;
    const auto centre = [](const std::optional<QRect>& rect, bool x) {
        if (!rect) {
            return std::string("null");
        }
        const QPointF middle = QRectF(*rect).center();
        return core::shortestDecimal(x ? middle.x() : middle.y());
    };
    log::FrontmostLog::shared().recordLine(
        "{\"kind\":\"captureGeometry\",\"generation\":" + std::to_string(generation) + ",\"at\":" +
        fixed(platform::monotonicSeconds(), 6) + ",\"displayID\":" + std::to_string(displayID_) +
        ",\"backingScaleFactor\":" + core::shortestDecimal(backingScaleFactor_) +
        ",\"pointWidth\":" + std::to_string(pointSize_.width()) +
        ",\"pointHeight\":" + std::to_string(pointSize_.height()) +
        ",\"pixelWidth\":" + std::to_string(width) + ",\"pixelHeight\":" + std::to_string(height) +
        ",\"sentinelPixelX\":" + centre(marks_.sentinel, true) + ",\"sentinelPixelY\":" +
        centre(marks_.sentinel, false) + ",\"fiducialPixelX\":" + centre(marks_.fiducial, true) +
        ",\"fiducialPixelY\":" + centre(marks_.fiducial, false) + ",\"sentinelRGB\":" +
        rgbArray(kSentinelRGB) + ",\"fiducialRGB\":" + rgbArray(kFiducialRGB) + "}");
}

void CaptureAppDelegate::mark() {
    const std::string label = "mark-" + std::to_string(operatorMarks_.size() + 1);
    operatorMarks_.push_back(label);
    std::string line = "{\"kind\":\"mark\",\"label\":";
    core::appendJsonString(line, label);
    line += ",\"at\":" + fixed(platform::monotonicSeconds(), 6) + ",\"note\":\"SIGUSR1\"}";
    log::FrontmostLog::shared().recordLine(line);
    std::cerr << "capture: " << label << "\n";
}

void CaptureAppDelegate::requestStop(const std::string& reason) {
    if (stopping_) {
        return;
    }
    stopping_ = true;
    reason_ = reason;
    runTimer_.stop();
    animationTimer_.stop();
    stopRequestedAt_ = platform::monotonicSeconds();
    capture_->stop([this] { stopped(); });
}

void CaptureAppDelegate::stopped() {
    stopLatencyMs_ = (platform::monotonicSeconds() - stopRequestedAt_) * 1000;
    const int lingerMs = static_cast<int>(config_.lingerSeconds * 1000);
    // Frames that still come while the run lingers are counted as after the stop request.
    QTimer::singleShot(lingerMs, this, [this] { writeSummary(); });
}

void CaptureAppDelegate::writeSummary() {
    finalCounters_ = capture_->counters();
    if (finalCounters_.lastError) {
        streamErrors_.push_back(*finalCounters_.lastError);
    }
    const std::string summary = summaryText();
    const auto written = platform::writeFileAtomically(config_.summaryPath, summary,
                                                       {.permissions = 0600, .onlyOwnFile = true});
    int status = 0;
    if (!written) {
        // The run's result goes to the operator instead of nowhere.
        std::cerr << "capture: summary write failed: " << written.error() << "\n"
                  << summary << "\n";
        status = 3;
    } else {
        std::cerr << "capture: wrote " << config_.summaryPath << "\n";
    }
    log::FrontmostLog::shared().finish(reason_);
    emit finished(status);
}

// After the four fixed keys: the run's times, the display, the requested settings, then what
// the stream did (start, exclusions, generations, restarts), the frame counts, the stop, the
// operator's marks, the errors, the dump, and last where and when it ran, which is the order
// in which an operator reads a run.
std::string CaptureAppDelegate::summaryText() const {
    Tally tally;
    {
        const std::lock_guard guard(lock_);
        tally = tally_;
    }
    const double duration = stopRequestedAt_ - startedAt_;
    std::string s = "{\"kind\":\"captureSummary\",\"reason\":" + core::jsonString(reason_) +
                    ",\"component\":\"DisplayCapture\",\"buildConfiguration\":" +
                    core::jsonString(shell::buildConfiguration());
    s += ",\"durationSeconds\":" + fixed(duration, 3);
    s += ",\"requestedSeconds\":" + core::shortestDecimal(config_.seconds);
    s += ",\"lingerSeconds\":" + core::shortestDecimal(config_.lingerSeconds);
    s += ",\"displayID\":" + std::to_string(displayID_);
    s += ",\"displayName\":" + core::jsonString(displayName_);
    s += ",\"requestedFPS\":" + std::to_string(config_.requestedFPS);
    s += ",\"excludeOverlay\":" + yes(config_.excludeOverlay);
    s += ",\"animateContent\":" + yes(config_.animateContent);
    s += ",\"recoverStream\":" + yes(config_.recoverStream);
    s += ",\"hadPermissionAtLaunch\":" + yes(hadPermissionAtLaunch_);
    s += ",\"streamStarted\":" + yes(streamStarted_);
    s += ",\"requestedExclusions\":" + std::to_string(config_.excludeOverlay ? 1 : 0);
    s += ",\"foundExclusions\":" + std::to_string(finalCounters_.foundExclusions);
    s += ",\"generations\":" + std::to_string(tally.generations);
    s += ",\"restarts\":" + std::to_string(finalCounters_.rebuilds);
    s += ",\"frameCount\":" + std::to_string(tally.frames);
    s += ",\"completeFrameCount\":" + std::to_string(tally.complete);
    s += ",\"idleFrameCount\":" + std::to_string(tally.idle);
    s += ",\"selfCapturedFrameCount\":" + std::to_string(tally.selfCaptured);
    s += ",\"framesAfterStopRequest\":" + std::to_string(finalCounters_.afterStop);
    s += ",\"stopLatencyMs\":" + (stopLatencyMs_ ? fixed(*stopLatencyMs_, 3) : "null");
    s += ",\"operatorMarks\":[";
    for (std::size_t i = 0; i < operatorMarks_.size(); ++i) {
        s += (i ? "," : "") + core::jsonString(operatorMarks_[i]);
    }
    s += "],\"markCount\":" + std::to_string(operatorMarks_.size());
    s += ",\"streamErrors\":[";
    for (std::size_t i = 0; i < streamErrors_.size(); ++i) {
        s += (i ? "," : "") + core::jsonString(streamErrors_[i]);
    }
    s += "],\"dumpedFrame\":" + yes(tally.dumped);
    s += ",\"backingScaleFactor\":" + core::shortestDecimal(backingScaleFactor_);
    s += ",\"osVersion\":" + core::jsonString(shell::currentOsVersion());
    s += ",\"startedAt\":" + core::jsonString(shell::startedAtText(startedWallClock_)) + "}";
    return s;
}

void CaptureAppDelegate::printBanner() const {
    const auto line = [](std::string_view label, const std::string& value) {
        std::string text = "  " + std::string(label);
        text.resize(std::max<std::size_t>(text.size(), 18), ' ');
        return text + ": " + value + "\n";
    };
    std::string text = "scrawlet capture (M0 T8 gate, driving DisplayCapture)\n";
    text += line("pid", std::to_string(::getpid()));
    text += line("component", "DisplayCapture (the one ZM-01 reads)");
    text +=
        line("display", std::to_string(config_.displayIndex) + ": " + displayName_ + " (id " +
                            std::to_string(displayID_) + ", " + std::to_string(pointSize_.width()) +
                            "x" + std::to_string(pointSize_.height()) + " pt, scale " +
                            core::shortestDecimal(backingScaleFactor_) + ")");
    text += line("requested fps", std::to_string(config_.requestedFPS));
    text += line("seconds", core::shortestDecimal(config_.seconds) + " (linger " +
                                core::shortestDecimal(config_.lingerSeconds) + ")");
    text += line("exclude overlay", config_.excludeOverlay ? "on" : "off");
    text += line("animate", config_.animateContent ? "on" : "off");
    text += line("recover", config_.recoverStream
                                ? "on (" + std::to_string(config_.maxRestarts) + " restarts, " +
                                      std::to_string(config_.maxRetryAttempts) + " retries)"
                                : std::string("off"));
    const auto fiducial = config_.fiducialRect;
    text += line("fiducial", fiducial ? core::shortestDecimal(fiducial->x()) + "," +
                                            core::shortestDecimal(fiducial->y()) + " " +
                                            core::shortestDecimal(fiducial->width()) + "x" +
                                            core::shortestDecimal(fiducial->height()) + " pt"
                                      : std::string("none"));
    text += line("log", config_.logPath);
    text += line("summary", config_.summaryPath);
    text += line("dump frame", config_.dumpFramePath.value_or("none"));
    text += "SIGUSR1 marks, SIGUSR2 stops early.\n";
    std::cerr << text << std::flush;
}

}  // namespace scrawlet::diagnostics
