#include "app/diagnostics/overlay_app_delegate.h"

#include <unistd.h>

#include <QGuiApplication>
#include <QScreen>
#include <csignal>
#include <iostream>

#include "app/platform/display_identifier.h"
#include "app/shortcuts/permissions.h"
#include "core/json_text.h"
#include "core/number_format.h"

namespace scrawlet::diagnostics {
namespace {

constexpr long long kCanJoinAllSpaces = 1;

std::string banner(std::string_view label, const std::string& value) {
    std::string text = "  " + std::string(label);
    text.resize(std::max<std::size_t>(text.size(), 21), ' ');
    return text + ": " + value + "\n";
}

std::string decimal(double value) {
    return core::fixedDecimal(value, 1);
}

}  // namespace

OverlayAppDelegate::OverlayAppDelegate(OverlayConfig config)
    : config_(std::move(config)), ignoresMouse_(config_.startsIgnoringMouseEvents) {
    timeLimit_.setSingleShot(true);
    timeLimit_.setTimerType(Qt::PreciseTimer);
    connect(&timeLimit_, &QTimer::timeout, this, [this] { finish("timeout"); });
}

OverlayAppDelegate::~OverlayAppDelegate() = default;

std::optional<shell::ConfigExit> OverlayAppDelegate::launch() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
    frontmost_ = platform::createFrontmostAppProvider();
    if (frontmost_) {
        log::FrontmostLog::shared().setFrontmost(frontmost_->frontmostApp());
        frontmost_->setOnChange([this](const platform::FrontmostApp&) { followFrontmost(); });
    }
    // The log is all this mode leaves behind: a run without it would measure nothing.
    if (const auto started = log::FrontmostLog::shared().start(config_.logPath); !started) {
        return shell::ConfigExit{"overlay: log write failed: " + started.error(), 3};
    }
    watchClicks();
    if (!platform::compositingManagerRunning()) {
        std::cerr << "overlay: no compositing manager is running; the panels show opaque\n";
    }
    placer_ = platform::createWindowPlacer();
    workspaces_ = platform::createWorkspaceWatcher();
    if (workspaces_) {
        connect(workspaces_.get(), &platform::WorkspaceWatcher::activeWorkspaceChanged, this,
                [this](std::uint32_t index) {
                    workspace_ = index;
                    for (const Panel& panel : panels_) {
                        log::FrontmostLog::shared().record("activeSpaceDidChange",
                                                           panelState(panel),
                                                           "workspace=" + std::to_string(index));
                    }
                });
    }
    displays_.addFeature(*this);
    displays_.start();
    if (panels_.empty()) {
        log::FrontmostLog::shared().finish("noScreen");
        return shell::ConfigExit{"overlay: no drawable screen", 2};
    }
    displays_.setOnReconciled([this](std::size_t screens) {
        log::FrontmostLog::shared().record(
            "screenParametersChanged",
            panels_.empty() ? std::nullopt : std::optional(panelState(panels_.front())),
            "screens=" + std::to_string(screens) + " panels=" + std::to_string(panels_.size()));
    });
    // Handlers before the banner: a harness that waits for it may signal at once.
    signals_.install(SIGUSR1, [this] { toggleClickThrough(); });
    signals_.install(SIGUSR2, [this] { finish("SIGUSR2"); });
    signals_.install(SIGINT, [this] { finish("SIGINT"); });
    signals_.install(SIGTERM, [this] { finish("SIGTERM"); });
    signals_.install(SIGPWR, [] {});
    printBanner();
    if (config_.maxDurationSeconds) {
        timeLimit_.start(static_cast<int>(*config_.maxDurationSeconds * 1000));
    }
    return std::nullopt;
}

bool OverlayAppDelegate::attach(const platform::Display& display) {
    for (Panel& panel : panels_) {
        if (panel.key == display.key) {
            reanchor(display);
            return true;
        }
    }
    panels_.push_back({display.key, nullptr});
    build(panels_.back(), *display.screen);
    return true;
}

void OverlayAppDelegate::detach(const platform::Display& display) {
    std::erase_if(panels_, [&](const Panel& panel) { return panel.key == display.key; });
    log::FrontmostLog::shared().record("displayDisappeared", std::nullopt,
                                       "displayID=" + std::to_string(display.key.id));
}

// Rebuilt rather than moved: a panel is checked as it is when first mapped on a screen.
void OverlayAppDelegate::reanchor(const platform::Display& display) {
    for (Panel& panel : panels_) {
        if (panel.key == display.key) {
            build(panel, *display.screen);
            return;
        }
    }
    attach(display);
}

void OverlayAppDelegate::build(Panel& panel, QScreen& screen) {
    panel.window.reset();
    const auto flags = platform::flagsForLevel(
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus, config_.level());
    panel.window = std::make_unique<OverlayPanel>(
        flags, OverlayPanel::Look{config_.sentinelInsetPoints, config_.sentinelSizePoints,
                                  config_.debugFillAlpha, std::nullopt});
    OverlayPanel& window = *panel.window;
    window.setScreen(&screen);
    window.setGeometry(screen.geometry());
    const platform::WindowPlacement placement{
        .level = config_.level(),
        .joinsAllSpaces = (config_.behaviorBits() & kCanJoinAllSpaces) != 0,
        .skipsTaskbar = true,
        .transparentForInput = ignoresMouse_,
    };
    if (placer_) {
        if (const auto placed = placer_->place(window, placement); !placed) {
            std::cerr << "overlay: panel placement: " << placed.error() << "\n";
        }
    } else {
        window.setFlag(Qt::WindowTransparentForInput, ignoresMouse_);
    }
    const platform::DisplayKey key = panel.key;
    window.setOnPress([this, key](Qt::MouseButton button) {
        for (const Panel& p : panels_) {
            if (p.key == key) {
                const bool right = button == Qt::RightButton;
                log::FrontmostLog::shared().record(
                    right ? "rightMouseDown" : "mouseDown", panelState(p),
                    right ? "rightMouseDown in panel" : "mouseDown in panel");
            }
        }
    });
    window.show();
    panelsWorkspace_ = workspace_;
    recordScreen(panel, screen);
}

void OverlayAppDelegate::recordScreen(const Panel& panel, QScreen& screen) const {
    const QRect frame = screen.geometry();
    const QRectF sentinel =
        sentinelRect(frame.size(), config_.sentinelInsetPoints, config_.sentinelSizePoints)
            .translated(frame.topLeft());
    const QRect visible = screen.availableGeometry();
    std::string geometry = "{\"kind\":\"geometry\",\"displayID\":" + std::to_string(panel.key.id);
    geometry += ",\"screen\":";
    core::appendJsonString(geometry, panel.key.name);
    geometry += ",\"frameX\":" + decimal(frame.x()) + ",\"frameY\":" + decimal(frame.y()) +
                ",\"frameWidth\":" + decimal(frame.width()) +
                ",\"frameHeight\":" + decimal(frame.height()) +
                ",\"backingScaleFactor\":" + decimal(screen.devicePixelRatio()) +
                ",\"sentinelX\":" + decimal(sentinel.x()) +
                ",\"sentinelY\":" + decimal(sentinel.y()) +
                ",\"sentinelWidth\":" + decimal(sentinel.width()) +
                ",\"sentinelHeight\":" + decimal(sentinel.height()) + ",\"sentinelRGB\":[" +
                std::to_string(kSentinelRGB[0]) + "," + std::to_string(kSentinelRGB[1]) + "," +
                std::to_string(kSentinelRGB[2]) + "]}";
    log::FrontmostLog::shared().recordLine(geometry);
    std::string state =
        "{\"kind\":\"screenState\",\"displayID\":" + std::to_string(panel.key.id) + ",\"screen\":";
    core::appendJsonString(state, panel.key.name);
    // The strip the desktop's top panel reserves stands where a menu bar would.
    state += ",\"menuBarInsetPoints\":" + decimal(visible.top() - frame.top()) +
             ",\"visibleFrameHeight\":" + decimal(visible.height()) + "}";
    log::FrontmostLog::shared().recordLine(state);
}

log::PanelState OverlayAppDelegate::panelState(const Panel& panel) const {
    const bool visible = panel.window && panel.window->isVisible();
    const bool sticky = (config_.behaviorBits() & kCanJoinAllSpaces) != 0;
    return log::PanelState{
        .visible = visible,
        .isKey = panel.window && QGuiApplication::focusWindow() == panel.window.get(),
        .isMain = false,
        .ignoresMouseEvents = ignoresMouse_,
        .level = config_.level(),
        .collectionBehavior = config_.behaviorBits(),
        .onActiveSpace = visible && (sticky || workspace_ == panelsWorkspace_),
        .screen = panel.key.name,
    };
}

void OverlayAppDelegate::toggleClickThrough() {
    ignoresMouse_ = !ignoresMouse_;
    for (Panel& panel : panels_) {
        if (placer_) {
            if (const auto set = placer_->setTransparentForInput(*panel.window, ignoresMouse_);
                !set) {
                std::cerr << "overlay: click-through: " << set.error() << "\n";
            }
        } else {
            panel.window->setFlag(Qt::WindowTransparentForInput, ignoresMouse_);
        }
    }
    log::FrontmostLog::shared().record(
        "clickThroughToggle",
        panels_.empty() ? std::nullopt : std::optional(panelState(panels_.front())),
        std::string("ignoresMouseEvents=") + (ignoresMouse_ ? "true" : "false"));
    std::cerr << "overlay: click-through " << (ignoresMouse_ ? "on" : "off") << "\n";
}

// Clicks anywhere, the panels' own included: a click the panels let through shows here and
// not as a panel's "mouseDown".
void OverlayAppDelegate::watchClicks() {
    auto& events = log::FrontmostLog::shared();
    if (!shortcuts::Permissions::isHeld(shortcuts::Permissions::Grant::accessibility)) {
        clickMonitorState_ = "off (Accessibility not granted)";
        events.record("globalMonitorUnavailable", std::nullopt,
                      "Accessibility not granted; relying on didActivateApplication");
        return;
    }
    clicks_ = platform::createClickMonitor();
    const auto started =
        clicks_
            ? clicks_->start()
            : std::expected<void, std::string>(std::unexpected(std::string("no X11 connection")));
    if (!started) {
        clicks_.reset();
        clickMonitorState_ = "off (" + started.error() + ")";
        events.record("globalMonitorUnavailable", std::nullopt,
                      started.error() + "; relying on didActivateApplication");
        return;
    }
    clicks_->setOnClick([](int button) {
        log::FrontmostLog::shared().record("globalClick", std::nullopt,
                                           "button=" + std::to_string(button));
    });
    clickMonitorState_ = "on";
}

void OverlayAppDelegate::followFrontmost() {
    const platform::FrontmostApp app = frontmost_->frontmostApp();
    log::FrontmostLog::shared().setFrontmost(app);
    log::FrontmostLog::shared().record("didActivateApplication", std::nullopt,
                                       app.bundleId.empty() ? app.name : app.bundleId);
}

void OverlayAppDelegate::finish(const std::string& reason) {
    if (finished_) {
        return;
    }
    finished_ = true;
    timeLimit_.stop();
    auto& log = log::FrontmostLog::shared();
    const bool stolen = log.everBecameFrontmost();
    log.recordLine(std::string("{\"kind\":\"overlayResult\",\"reason\":") +
                   core::jsonString(reason) +
                   ",\"everBecameFrontmost\":" + (stolen ? "true" : "false") + "}");
    log.finish(reason);
    std::cerr << "overlay: finished (" << reason
              << "); everBecameFrontmost=" << (stolen ? "true" : "false") << "\n";
    if (clicks_) {
        clicks_->stop();
    }
    panels_.clear();
    emit finished(0);
}

void OverlayAppDelegate::printBanner() const {
    std::string text = "scrawlet overlay (M0 T2)\n";
    text += banner("pid", std::to_string(::getpid()));
    text += banner("panels", std::to_string(panels_.size()) + " (one per screen)");
    text += banner("level", config_.levelToken + " (" + std::to_string(config_.level()) + ")");
    std::string tokens;
    for (const auto& token : config_.behaviorTokens) {
        tokens += (tokens.empty() ? "" : ",") + token;
    }
    text += banner("collectionBehavior", (tokens.empty() ? std::string("none") : tokens) + " (" +
                                             std::to_string(config_.behaviorBits()) + ")");
    text += banner("activationPolicy", "accessory");
    text += banner("click-through", ignoresMouse_ ? "on" : "off");
    text += banner("global click monitor", clickMonitorState_);
    text += banner("time limit", config_.maxDurationSeconds
                                     ? core::shortestDecimal(*config_.maxDurationSeconds) + " s"
                                     : std::string("none"));
    text += banner("log", config_.logPath);
    text += "SIGUSR1 toggles click-through, SIGUSR2 quits.\n";
    std::cerr << text << std::flush;
}

}  // namespace scrawlet::diagnostics
