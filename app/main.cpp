// The scrawlet executable: chooses the launch mode and runs its controller. Every configuration
// error ends the process here, with its line and status, before any window exists.
#include <QApplication>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include "app/diagnostics/capture_app_delegate.h"
#include "app/diagnostics/capture_config.h"
#include "app/diagnostics/overlay_app_delegate.h"
#include "app/diagnostics/overlay_config.h"
#include "app/diagnostics/probe_app_delegate.h"
#include "app/diagnostics/run_config.h"
#include "app/diagnostics/text_input_spike_app_delegate.h"
#include "app/platform/platform_services.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/draw_config.h"
#include "app/shell/launch_mode.h"
#include "app/shell/signal_relay.h"

namespace {

using namespace scrawlet;

// Qt ends the process with exit(1) from inside its event dispatcher when its X connection
// breaks, before anything of ours runs; the run still owes its summary and the log's last word.
shell::DrawAppDelegate* runningDelegate = nullptr;

void finishWhenTheDisplayIsLost() {
    if (runningDelegate && platform::displayConnectionLost()) {
        std::cerr << "draw: the X server went away\n";
        runningDelegate->finish("displayLost");
        // The rest of the exit would tear down Qt on a dead connection.
        std::_Exit(runningDelegate->exitStatus());
    }
}

int fail(const shell::ConfigExit& exit) {
    std::cerr << exit.message << "\n";
    return exit.status;
}

int runDraw(const shell::Environment& env, int argc, char** argv) {
    const auto config = shell::DrawConfig::fromEnvironment(env);
    if (!config) {
        return fail(config.error());
    }
    const auto behavior = shell::collectionBehavior(config->behaviorTokens);
    if (!behavior.unknownTokens.empty()) {
        std::string joined;
        for (const auto& token : behavior.unknownTokens) {
            joined += (joined.empty() ? "" : ",") + token;
        }
        return fail({"draw: unknown collectionBehavior tokens: " + joined, 64});
    }
    // Qt aborts when it cannot reach the display; say it ourselves first.
    const auto display = env.value("DISPLAY");
    if (!display || display->empty() || !platform::displayReachable(std::string(*display))) {
        return fail({"draw: no drawable screen", 2});
    }
    // XWayland too: the overlays, grabs and capture are X11 services.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    // Before any grab, window or log file: a second run would fight this one for all of them.
    const auto claim = platform::claimInstance();
    if (claim.heldElsewhere) {
        std::cerr << "draw: Scrawlet is already running on this display; it was asked to show "
                     "itself\n";
        return 0;
    }
    shell::DrawAppDelegate delegate(*config);
    int status = 0;
    QObject::connect(&delegate, &shell::DrawAppDelegate::finished, &application, [&](int code) {
        status = code;
        QCoreApplication::exit(code);
    });
    if (const auto failure = delegate.launch()) {
        return fail(*failure);
    }
    if (claim.lock) {
        QObject::connect(claim.lock.get(), &platform::InstanceLock::showRequested, &delegate,
                         &shell::DrawAppDelegate::showToUser);
    }
    runningDelegate = &delegate;
    std::atexit(finishWhenTheDisplayIsLost);
    application.exec();
    runningDelegate = nullptr;
    return status;
}

// Qt aborts when it cannot reach the display; the check modes say it themselves first.
bool displayUsable(const shell::Environment& env) {
    const auto display = env.value("DISPLAY");
    return display && !display->empty() && platform::displayReachable(std::string(*display));
}

// Runs a check mode on the display: its controller is made from `config` once Qt is up;
// `launch` returns a refusal or nothing, `finished` carries the exit status.
template <class Delegate, class Config>
int runCheck(const shell::Environment& env, int argc, char** argv, const Config& config,
             const char* noScreen) {
    if (!displayUsable(env)) {
        return fail({noScreen, 2});
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    Delegate delegate(config);
    int status = 0;
    QObject::connect(&delegate, &Delegate::finished, qApp, [&](int code) {
        status = code;
        QCoreApplication::exit(code);
    });
    if (const auto failure = delegate.launch()) {
        return fail(*failure);
    }
    QApplication::exec();
    return status;
}

// The modes whose configuration can refuse do so before they look for a display.
template <class Delegate, class Config>
int runRefusableCheck(const shell::Environment& env, int argc, char** argv,
                      const std::expected<Config, shell::ConfigExit>& config,
                      const char* noScreen) {
    if (!config) {
        return fail(config.error());
    }
    return runCheck<Delegate>(env, argc, argv, *config, noScreen);
}

}  // namespace

int main(int argc, char** argv) {
    // Until the relay's handlers are installed, a finishing signal would kill the process
    // mid-start with nothing written; blocked, it waits and is delivered once they run. Threads
    // started from here on inherit the mask, so the main thread is the one that gets them.
    sigset_t runSignals;
    sigemptyset(&runSignals);
    for (const int signal : shell::SignalRelay::kRunSignals) {
        sigaddset(&runSignals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &runSignals, nullptr);
    const auto env = shell::Environment::fromProcess();
    const auto mode = shell::launchModeFromEnvironment(env);
    if (!mode) {
        return fail(mode.error());
    }
    switch (*mode) {
        case shell::LaunchMode::draw:
            return runDraw(env, argc, argv);
        case shell::LaunchMode::overlay:
            return runRefusableCheck<diagnostics::OverlayAppDelegate>(
                env, argc, argv, diagnostics::OverlayConfig::fromEnvironment(env),
                "overlay: no drawable screen");
        case shell::LaunchMode::textspike:
            return runCheck<diagnostics::TextInputSpikeAppDelegate>(
                env, argc, argv, diagnostics::TextInputSpikeConfig::fromEnvironment(env),
                "textspike: no drawable screen");
        case shell::LaunchMode::capture:
            return runCheck<diagnostics::CaptureAppDelegate>(
                env, argc, argv, diagnostics::CaptureConfig::fromEnvironment(env),
                "capture: no drawable screen");
        case shell::LaunchMode::probe:
            return runRefusableCheck<diagnostics::ProbeAppDelegate>(
                env, argc, argv, diagnostics::RunConfig::fromEnvironment(env), "probe: no screen");
    }
    return 2;
}
