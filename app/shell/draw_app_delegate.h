// The controller of draw mode: it starts the run's features in order, connects them through the
// display registry and the action router, and ends the run through `finish` with its summary.
// The features keep their own state: the ink surfaces, the control panels, the tray menu and
// the self-measurements. Every way of ending the run goes through `requestFinish`.
// Main thread only.
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ink/action_router.h"
#include "app/ink/tool_controller.h"
#include "app/platform/compositing_watcher.h"
#include "app/platform/frontmost_app.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/pointer_stage.h"
#include "app/platform/window_placement.h"
#include "app/platform/workspace_watcher.h"
#include "app/shell/display_registry.h"
#include "app/shell/draw_config.h"
#include "app/shell/finish_deferral.h"
#include "app/shell/signal_relay.h"

namespace scrawlet::aids {
class CursorHighlight;
class KeystrokeDisplay;
class Spotlight;
}  // namespace scrawlet::aids

namespace scrawlet::capture {
class Magnifier;
}

namespace scrawlet::settings {
class AboutWindowController;
class OnboardingWindowController;
class SettingsModel;
class SettingsWindowController;
class UpdateChecker;
struct UpdateCheckResult;
}  // namespace scrawlet::settings

namespace scrawlet::shell {

class CompositingNotice;
class ControlPanels;
class DrawMeasurements;
class DrawShortcuts;
class InkSurfaces;
class Screenshots;
class DrawCapture;
class StatusMenu;

class DrawAppDelegate : public QObject, private ink::ToolController::Observer {
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
    // Another launch found this run: bring the overlays and panels back, or the notice that
    // says why they are away, and say that Scrawlet already runs.
    void showToUser();
    // New aid settings from the settings window, shown at once by the aids that are on.
    void applyAidSettings(const core::Settings& settings);
    // The about window, built on first use and brought to the front.
    ink::Outcome showAboutWindow();
    // The settings window, built on first use and kept; refused when no document can be had.
    ink::Outcome showSettingsWindow();
    // Saves a document edited in the settings window and applies it to everything running.
    void applySettingsFromWindow(const core::Settings& edited);
    // Brings the autostart entry to `wanted`; a change or a failure goes to the event log.
    void applyLaunchAtLogin(bool wanted);
    // Automatic update checks follow `system.checkForUpdates`.
    void setAutomaticUpdateChecks(bool enabled);

  signals:
    // Emitted once the run has finished; the value is the process's exit status.
    void finished(int status);

  private:
    std::optional<ConfigExit> choosePresentPath();
    void routeActions();
    void buildPointerAids();
    ink::Outcome toggleSpotlight();
    ink::Outcome toggleCursorHighlight();
    void pickTool(core::Tool tool);
    void buildKeystrokeDisplay();
    ink::Outcome toggleKeystrokeDisplay();
    // The magnifiers, which start capture at their first use.
    bool ensureCapture();
    core::ZoomSettings zoomSettings() const;
    ink::Outcome toggleLens();
    ink::Outcome toggleFullScreenZoom();
    ink::Outcome adjustZoomLevel(double step);
    void announceZoom(bool active, const char* mode);
    core::KeystrokeDisplaySettings keystrokeDisplayLiveSettings() const;
    void toggleInteractive();
    void toggleAnnotation();
    void observeWorkspaces();
    void watchCompositing();
    void compositingChanged(bool running);
    void installSignalHandlers();
    void displaysReconciled(std::size_t screenCount);
    void settingsChanged(const core::AnnotationSettings& settings) override;
    void flushSettings();
    void printBanner() const;
    void showOnboardingIfFirstLaunch();
    void showOnboardingWindow();
    void dismissOnboarding(const std::string& note);
    void startUpdater();
    void settingsWindowWillClose();
    void runSettingsTestCommit();
    // While one of our ordinary windows is active the overlays let the pointer through.
    void watchOrdinaryWindows();
    bool ordinaryWindowActive() const;
    void yieldOverlayInput();
    void restoreOverlayInput();
    void showUpdateResult(const settings::UpdateCheckResult& result);
    std::string summaryText(const std::string& reason, double durationSeconds) const;

    DrawConfig config_;
    bool finished_ = false;
    int exitStatus_ = 0;
    double startedAt_ = 0;
    std::chrono::system_clock::time_point startedWallClock_;
    bool compositing_ = true;
    double interactiveToggledAt_ = 0;
    platform::PresentPath presentPath_ = platform::PresentPath::software;
    std::string glRenderer_;
    std::unique_ptr<platform::FrontmostAppProvider> frontmost_;
    std::unique_ptr<platform::WindowPlacer> placer_;
    std::unique_ptr<platform::WorkspaceWatcher> workspaces_;
    std::unique_ptr<platform::CompositingWatcher> compositingWatcher_;
    std::unique_ptr<CompositingNotice> compositingNotice_;
    ink::ActionRouter router_;
    std::unique_ptr<ink::ToolController> tools_;
    DisplayRegistry displays_;
    std::unique_ptr<InkSurfaces> surfaces_;
    std::unique_ptr<DrawShortcuts> shortcuts_;
    std::unique_ptr<ControlPanels> panels_;
    std::unique_ptr<StatusMenu> statusMenu_;
    std::unique_ptr<platform::PointerStage> pointerStage_;
    std::unique_ptr<Screenshots> screenshots_;
    std::unique_ptr<DrawCapture> capture_;
    std::unique_ptr<capture::Magnifier> lens_;
    std::unique_ptr<capture::Magnifier> fullScreenZoom_;
    double zoomLevel_ = 2;
    std::unique_ptr<aids::Spotlight> spotlight_;
    std::unique_ptr<aids::CursorHighlight> cursorHighlight_;
    std::unique_ptr<aids::KeystrokeDisplay> keystrokes_;
    std::unique_ptr<DrawMeasurements> measurements_;
    std::unique_ptr<SignalRelay> signals_;
    std::unique_ptr<settings::OnboardingWindowController> onboardingWindow_;
    std::unique_ptr<settings::AboutWindowController> aboutWindow_;
    std::unique_ptr<settings::UpdateChecker> updater_;
    std::unique_ptr<settings::SettingsModel> settingsModel_;
    std::unique_ptr<settings::SettingsWindowController> settingsWindow_;
    // Whether the overlays ignored the pointer before an ordinary window took it; none while
    // nothing is yielded.
    std::optional<bool> overlayInputBeforeAppWindow_;
    // The system section last applied from the settings window.
    core::SystemSettings appliedSystem_;
    std::optional<core::AnnotationSettings> pendingSettings_;
    bool settingsWriteScheduled_ = false;
    QTimer timeLimit_;
    FinishDeferral finishDeferral_;
};

}  // namespace scrawlet::shell
