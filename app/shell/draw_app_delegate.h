// The controller of draw mode: one transparent surface (an ink view in an overlay window) per
// display, the tool controller and its wiring, the tray menu, signals, the run's time limit
// and the orderly finish with its summary.
//
// Surfaces are never destroyed: a display that goes away hides its surface with the ink kept,
// and gets it back when it returns. Every way of ending the run goes through `requestFinish`.
// Main thread only.
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/ink/control_panel.h"
#include "app/ink/ink_view.h"
#include "app/ink/tool_controller.h"
#include "app/log/frontmost_log.h"
#include "app/platform/frontmost_app.h"
#include "app/platform/synthetic_input.h"
#include "app/platform/window_placement.h"
#include "app/platform/workspace_watcher.h"
#include "app/shell/draw_config.h"
#include "app/shell/finish_deferral.h"
#include "app/shell/signal_relay.h"
#include "app/shell/synthetic_drag_driver.h"
#include "app/shortcuts/hotkey_centre.h"
#include "core/action_catalog.h"

class QMenu;
class QSystemTrayIcon;
class QAction;
class QScreen;

namespace scrawlet::shell {

class DrawAppDelegate : public QObject {
    Q_OBJECT

  public:
    explicit DrawAppDelegate(DrawConfig config);
    ~DrawAppDelegate() override;

    // The start-up sequence. A configuration that cannot run comes back as its exit.
    std::optional<ConfigExit> launch();

    // Every finish request passes here: deferred while a capture is pending.
    void requestFinish(const std::string& reason);
    void finish(const std::string& reason);
    // The process's exit status once finished: 0, or 3 when the summary could not be written.
    int exitStatus() const { return exitStatus_; }

    void toggleInteractive();
    bool toggleAnnotation();
    ink::InkView* viewUnderPointer() const;
    void announce(const std::string& text, bool sticky);
    void announcePermission(const std::string& text, core::ActionID action);
    std::string progressLine() const;

    ink::ToolController& tools() { return *tools_; }
    std::vector<ink::InkView*> views() const;
    std::size_t surfaceCount() const { return surfaces_.size(); }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  signals:
    // Emitted once the run has finished; the value is the process's exit status.
    void finished(int status);

  private:
    struct Surface {
        std::uint32_t displayID = 0;
        std::string screenName;
        std::unique_ptr<ink::InkView> view;
        bool visible = true;
    };

    std::optional<ConfigExit> makeSurface(QScreen* screen);
    std::optional<ConfigExit> choosePresentPath();
    core::DisplayTransform transformFor(const QScreen* screen) const;
    platform::WindowPlacement overlayPlacement(bool transparentForInput) const;
    void reconcileDisplays();
    static QScreen* screenNamed(const std::string& name);
    void wireToolController();
    void startHotkeys();
    void installControlPanels();
    void addControlPanel(const Surface& surface, QScreen* screen);
    void showControlPanels();
    void refreshHotkeyScopes();
    void handleHotkey(core::ActionID action);
    void installStatusItem();
    void rebuildStatusMenu();
    void pickTool(core::Tool tool);
    void installSignalHandlers();
    void startDriver();
    void observeScreenChanges();
    void observeWorkspaces();
    void publishRegistration(bool republished);
    void parkPointer();
    void measureToggleRoundTrip(std::int64_t trials);
    void runRoundTripTrial();
    void postProbeClicks(int count, int everyMs);
    void endRoundTripTrial(std::optional<double> milliseconds);
    void scheduleScriptedActions();
    void scheduleSettingsWrite(const core::AnnotationSettings& settings);
    void flushSettings();
    void printBanner() const;
    void applyInputTransparency(bool ignoresMouse);
    std::optional<log::PanelState> panelState(const Surface& surface) const;
    std::string summaryText(const std::string& reason, double durationSeconds) const;

    DrawConfig config_;
    bool finished_ = false;
    int exitStatus_ = 0;
    double startedAt_ = 0;
    std::chrono::system_clock::time_point startedWallClock_;
    bool annotating_ = true;
    bool compositing_ = true;
    bool ignoresMouse_ = false;
    double interactiveToggledAt_ = 0;
    std::unique_ptr<ink::ToolController> tools_;
    ink::ToolController::Outcome toolOutcome_ = ink::ToolController::Outcome::handled();
    std::optional<core::ActionCatalog> catalog_;
    // After the tool controller: its action handler dispatches through it.
    std::unique_ptr<shortcuts::HotkeyCentre> hotkeys_;
    std::vector<Surface> surfaces_;
    std::unique_ptr<SignalRelay> signals_;
    std::unique_ptr<QSystemTrayIcon> statusItem_;
    std::unique_ptr<QMenu> statusMenu_;
    std::vector<std::pair<core::Tool, QAction*>> toolItems_;
    std::optional<core::AnnotationSettings> pendingSettings_;
    bool settingsWriteScheduled_ = false;
    std::set<std::string> offeredGrants_;
    bool reconcileScheduled_ = false;
    QTimer timeLimit_;
    FinishDeferral finishDeferral_;
    std::unique_ptr<platform::FrontmostAppProvider> frontmost_;
    std::unique_ptr<platform::WindowPlacer> placer_;
    platform::PresentPath presentPath_ = platform::PresentPath::software;
    std::string glRenderer_;
    // The origin store outlives the panels that borrow it.
    std::unique_ptr<ink::PreferencesOriginStore> panelOrigins_;
    std::vector<std::unique_ptr<ink::ControlPanel>> controlPanels_;
    bool panelsShown_ = true;
    std::unique_ptr<platform::SyntheticInput> input_;
    std::unique_ptr<SyntheticDragDriver> driver_;
    // The interactive-mode round trip in progress.
    struct RoundTrip {
        std::int64_t trials = 0;
        std::int64_t lost = 0;
        std::vector<double> milliseconds;
        bool trialRunning = false;
        double trialStart = 0;
        QTimer clicks;
        int clicksLeft = 0;
        QPoint target;
    };
    std::unique_ptr<RoundTrip> roundTrip_;
    std::unique_ptr<platform::WorkspaceWatcher> workspaces_;
};

}  // namespace scrawlet::shell
