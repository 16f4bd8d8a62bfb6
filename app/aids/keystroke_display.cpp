#include "app/aids/keystroke_display.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "core/json_text.h"
#include "core/keystroke_pill.h"

namespace scrawlet::aids {
namespace {

// The level of the aid windows: above the overlays' default and every managed window.
constexpr long long kPillLevel = 1000;

}  // namespace

KeystrokeDisplay::KeystrokeDisplay(const core::KeystrokeDisplaySettings& settings,
                                   platform::WindowPlacer* placer, MonitorFactory monitors)
    : settings_(settings), placer_(placer), monitors_(std::move(monitors)) {
    clock_.setSingleShot(true);
    clock_.setTimerType(Qt::PreciseTimer);
    connect(&clock_, &QTimer::timeout, this, [this] { tick(); });
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, [this] { place(); });
    if (placer_) {
        const platform::WindowPlacement placement{.level = kPillLevel,
                                                  .joinsAllSpaces = true,
                                                  .skipsTaskbar = true,
                                                  .transparentForInput = true};
        if (const auto placed = placer_->place(panel_, placement); !placed)
            qWarning("keystroke display: %s", placed.error().c_str());
    }
    panel_.setSizePoints(settings_.sizePoints);
    place();
}

KeystrokeDisplay::~KeystrokeDisplay() = default;

void KeystrokeDisplay::apply(const core::KeystrokeDisplaySettings& settings) {
    settings_ = settings;
    panel_.setSizePoints(settings_.sizePoints);
    place();
}

std::expected<void, std::string> KeystrokeDisplay::setActive(bool active) {
    if (active == isActive())
        return {};
    if (active) {
        auto monitor = monitors_ ? monitors_() : nullptr;
        if (!monitor)
            return std::unexpected(std::string("keys cannot be observed without an X11 display"));
        monitor->setOnKeyPress([this](const platform::KeyPress& press) { handle(press); });
        if (auto started = monitor->start(); !started)
            return started;
        monitor_ = std::move(monitor);
    } else {
        monitor_.reset();
        clock_.stop();
        panel_.hide();
    }
    log::FrontmostLog::shared().record(
        "keystrokeDisplayToggle", std::nullopt,
        std::string("active=") + (active ? "true" : "false") +
            " position=" + std::string(core::rawValue(settings_.position)));
    return {};
}

void KeystrokeDisplay::handle(const platform::KeyPress& press) {
    if (!isActive())
        return;
    const auto caption = core::keystrokeCaption(press.key, press.modifiers);
    if (!caption)
        return;
    ++shownCount_;
    panel_.setText(QString::fromStdString(*caption));
    panel_.setFadeAlpha(1);
    // The pill widens for long captions, so its frame follows the text.
    place();
    if (screen_ && !panel_.isVisible())
        panel_.show();
    shownAt_ = platform::monotonicSeconds();
    std::string record = R"({"kind":"keystrokeDisplay","seq":)" + std::to_string(shownCount_) +
                         R"(,"text":)" + core::jsonString(*caption) + "}";
    log::FrontmostLog::shared().recordLine(record);
    startClock(0);
}

void KeystrokeDisplay::startClock(double ageSeconds) {
    const auto delay = core::KeystrokePill::nextTickDelay(
        ageSeconds, settings_.fade.timeToLiveSeconds(), refreshInterval(screen_).count());
    if (!delay) {
        clock_.stop();
        return;
    }
    clock_.start(static_cast<int>(std::ceil(*delay * 1000)));
}

void KeystrokeDisplay::tick() {
    const double age = platform::monotonicSeconds() - shownAt_;
    const double alpha = core::AutoErase::alpha(age, settings_.fade.timeToLiveSeconds());
    if (alpha <= 0) {
        panel_.hide();
        panel_.setFadeAlpha(0);
        return;
    }
    panel_.setFadeAlpha(alpha);
    startClock(age);
}

void KeystrokeDisplay::place() {
    followScreen(QGuiApplication::primaryScreen());
    if (!screen_)
        return;
    const QRect area = screen_->availableGeometry();
    const core::PillFrame frame = core::KeystrokePill::frame(
        {static_cast<double>(area.x()), static_cast<double>(area.y()),
         static_cast<double>(area.width()), static_cast<double>(area.height())},
        settings_.position, settings_.sizePoints, panel_.captionWidth(panel_.text()));
    const QRect geometry(
        static_cast<int>(std::lround(frame.x)), static_cast<int>(std::lround(frame.y)),
        static_cast<int>(std::lround(frame.width)), static_cast<int>(std::lround(frame.height)));
    if (panel_.geometry() != geometry)
        panel_.setGeometry(geometry);
}

// Qt reads the work area from _NET_WORKAREA, and reports its changes on the screen.
void KeystrokeDisplay::followScreen(QScreen* screen) {
    if (screen == screen_)
        return;
    if (screen_)
        disconnect(screen_, nullptr, this, nullptr);
    screen_ = screen;
    if (screen_) {
        connect(screen_, &QScreen::availableGeometryChanged, this, [this] { place(); });
        if (panel_.screen() != screen_)
            panel_.setScreen(screen_);
    }
}

bool KeystrokeDisplay::attach(const platform::Display&) {
    place();
    return true;
}

void KeystrokeDisplay::detach(const platform::Display&) {
    place();
}

void KeystrokeDisplay::reanchor(const platform::Display&) {
    place();
}

}  // namespace scrawlet::aids
