// The window-system services of this build, chosen here once. Each factory returns nothing
// when the application is not connected to an X server (a native Wayland or offscreen session),
// and the feature that needs the service is then off. Call them after the QGuiApplication
// exists; the services use its connection and live on the main thread.
#pragma once

#include <memory>
#include <string>

#include "app/platform/capture_service.h"
#include "app/platform/click_monitor.h"
#include "app/platform/compositing_watcher.h"
#include "app/platform/frontmost_app.h"
#include "app/platform/instance_lock.h"
#include "app/platform/key_grabber.h"
#include "app/platform/key_monitor.h"
#include "app/platform/keyboard_tap.h"
#include "app/platform/pointer_stage.h"
#include "app/platform/screen_reader.h"
#include "app/platform/sound_player.h"
#include "app/platform/synthetic_input.h"
#include "app/platform/window_placement.h"
#include "app/platform/workspace_watcher.h"

namespace scrawlet::platform {

std::unique_ptr<FrontmostAppProvider> createFrontmostAppProvider();
std::unique_ptr<KeyGrabber> createKeyGrabber();
std::unique_ptr<PointerStage> createPointerStage();
std::unique_ptr<ScreenReader> createScreenReader();
std::unique_ptr<SoundPlayer> createSoundPlayer();
// Nothing, with the reason in `why`, when the X server lacks what capture needs.
std::unique_ptr<CaptureService> createCaptureService(std::string* why);
std::unique_ptr<KeyMonitor> createKeyMonitor();
std::unique_ptr<KeyboardTap> createKeyboardTap();
std::unique_ptr<ClickMonitor> createClickMonitor();
std::unique_ptr<SyntheticInput> createSyntheticInput();
std::unique_ptr<WindowPlacer> createWindowPlacer();
std::unique_ptr<WorkspaceWatcher> createWorkspaceWatcher();

// Whether the keyboard's input focus is on a window of this application. A keyboard grab does
// not count: it leaves the focus where it was.
bool ownWindowHasInputFocus();

// Whether a compositing manager runs; without one translucent windows show opaque.
bool compositingManagerRunning();
std::unique_ptr<CompositingWatcher> createCompositingWatcher();

// Takes the one-run-per-screen-and-user lock, or asks the run that holds it to show itself.
// A failure to lock says so on standard error and lets the run go on unguarded.
InstanceClaim claimInstance();

// Whether an X server answers at `name` ("host:display.screen") with that screen. Callable
// before the QGuiApplication exists: Qt aborts the process when its own connection fails.
bool displayReachable(const std::string& name);

// Whether the application's connection has broken, which is how the X server's end shows.
bool displayConnectionLost();

}  // namespace scrawlet::platform
