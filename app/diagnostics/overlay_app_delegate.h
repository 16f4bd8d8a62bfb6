// The overlay check mode: one panel per screen at the configured level and behaviours, and a
// focus log that says whether any of them ever took the focus, a click, or fell off a
// workspace.
//
// The run ends at its time limit or on SIGUSR2 (SIGINT and SIGTERM too, so that an operator's
// Ctrl-C still leaves a finished log); SIGUSR1 switches click-through on every panel. Each
// screen gets a "geometry" and a "screenState" record whenever its panel is built, and the
// panels are built again whenever the screens change. Main thread only.
#pragma once

#include <QObject>
#include <QTimer>
#include <map>
#include <memory>
#include <optional>

#include "app/diagnostics/overlay_config.h"
#include "app/diagnostics/overlay_panel.h"
#include "app/log/frontmost_log.h"
#include "app/platform/display_feature.h"
#include "app/platform/platform_services.h"
#include "app/shell/display_registry.h"
#include "app/shell/signal_relay.h"

namespace scrawlet::diagnostics {

class OverlayAppDelegate : public QObject, private platform::DisplayFeature {
    Q_OBJECT

  public:
    explicit OverlayAppDelegate(OverlayConfig config);
    ~OverlayAppDelegate() override;

    // Opens the log, builds the panels and prints the banner; a failure ends the run before
    // it starts.
    std::optional<shell::ConfigExit> launch();
    void finish(const std::string& reason);

  signals:
    void finished(int status);

  private:
    struct Panel {
        platform::DisplayKey key;
        std::unique_ptr<OverlayPanel> window;
    };

    bool attach(const platform::Display& display) override;
    void detach(const platform::Display& display) override;
    void reanchor(const platform::Display& display) override;

    void build(Panel& panel, QScreen& screen);
    void recordScreen(const Panel& panel, QScreen& screen) const;
    log::PanelState panelState(const Panel& panel) const;
    void toggleClickThrough();
    void watchClicks();
    void followFrontmost();
    void printBanner() const;

    OverlayConfig config_;
    std::vector<Panel> panels_;
    std::unique_ptr<platform::WindowPlacer> placer_;
    std::unique_ptr<platform::FrontmostAppProvider> frontmost_;
    std::unique_ptr<platform::WorkspaceWatcher> workspaces_;
    std::unique_ptr<platform::ClickMonitor> clicks_;
    std::string clickMonitorState_;
    shell::DisplayRegistry displays_;
    shell::SignalRelay signals_;
    QTimer timeLimit_;
    bool ignoresMouse_ = false;
    bool finished_ = false;
    // Panels without the all-workspaces behaviour stay where they were mapped.
    std::uint32_t workspace_ = 0;
    std::uint32_t panelsWorkspace_ = 0;
};

}  // namespace scrawlet::diagnostics
