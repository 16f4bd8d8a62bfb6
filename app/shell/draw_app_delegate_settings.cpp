// The draw controller's settings window: opening it, applying what it edits to the running
// aids, the harness's test commit, and the overlays giving way to our ordinary windows.
#include <QApplication>
#include <QScreen>
#include <QTimer>
#include <QWindow>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "app/aids/cursor_highlight.h"
#include "app/aids/keystroke_display.h"
#include "app/aids/spotlight.h"
#include "app/capture/magnifier.h"
#include "app/ink/control_panel_origin_store.h"
#include "app/log/frontmost_log.h"
#include "app/platform/file_io.h"
#include "app/settings/about_window.h"
#include "app/settings/onboarding_window.h"
#include "app/settings/settings_model.h"
#include "app/settings/settings_store.h"
#include "app/settings/settings_window.h"
#include "app/shell/action_catalog_store.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shell/draw_shortcuts.h"
#include "app/shell/ink_surfaces.h"
#include "core/json_text.h"

namespace scrawlet::shell {
namespace {

int milliseconds(double seconds) {
    return static_cast<int>(std::clamp(seconds, 0.0, 2147483.0) * 1000);
}

// The document's annotation section as this run draws with it: the entries that the run's
// own colour and width replaced stay replaced, and the tool and width chosen meanwhile stay.
core::AnnotationSettings runAnnotation(core::AnnotationSettings edited,
                                       const core::AnnotationSettings& running,
                                       const RunOnlyAnnotation& runOnly) {
    if (runOnly.paletteIndex && *runOnly.paletteIndex < edited.palette.size() &&
        *runOnly.paletteIndex < running.palette.size()) {
        edited.palette[*runOnly.paletteIndex] = running.palette[*runOnly.paletteIndex];
    }
    auto& presets = edited.strokeWidth.presetsPoints;
    if (runOnly.widthPresetIndex && *runOnly.widthPresetIndex < presets.size() &&
        *runOnly.widthPresetIndex < running.strokeWidth.presetsPoints.size()) {
        presets[*runOnly.widthPresetIndex] =
            running.strokeWidth.presetsPoints[*runOnly.widthPresetIndex];
    }
    edited.selectedPaletteIndex = running.selectedPaletteIndex;
    edited.strokeWidth.selectedIndex = running.strokeWidth.selectedIndex;
    return edited;
}

}  // namespace

ink::Outcome DrawAppDelegate::showSettingsWindow() {
    if (!settingsWindow_) {
        std::optional<core::Settings> document;
        if (config_.runSettingsFile) {
            document = config_.currentSettings();
        } else if (auto loaded =
                       settings::SettingsStore::load(settings::SettingsStore::settingsFile())) {
            document = std::move(loaded->settings);
        } else if (auto builtIn = core::Settings::decode(core::Settings::defaultDocument)) {
            document = std::move(*builtIn);
        }
        if (!document) {
            return ink::Outcome::nothingToDo("settings could not be loaded");
        }
        appliedSystem_ = document->system;
        settingsModel_ = std::make_unique<settings::SettingsModel>(std::move(*document),
                                                                   ActionCatalogStore::load());
        settingsModel_->onChange = [this](const core::Settings& edited) {
            applySettingsFromWindow(edited);
        };
        settingsModel_->onRecordingChanged = [this](bool recording) {
            if (shortcuts_) {
                shortcuts_->setSuspended(recording);
            }
        };
        settingsWindow_ = std::make_unique<settings::SettingsWindowController>(
            *settingsModel_,
            settings::SettingsWindowController::AutoRecord{config_.shortcutRecordActionID,
                                                           config_.shortcutRecordDelaySeconds,
                                                           config_.shortcutAutoSaveDelaySeconds},
            ink::PreferencesOriginStore::defaultFile());
        settingsWindow_->onClose = [this] { settingsWindowWillClose(); };
        if (!settingsWindow_->restoreFrame()) {
            if (const QScreen* screen = QGuiApplication::primaryScreen()) {
                const QRect area = screen->availableGeometry();
                settingsWindow_->move(area.center() - settingsWindow_->rect().center());
            }
        }
        if (config_.settingsTestCommitPath) {
            QTimer::singleShot(milliseconds(config_.settingsTestCommitDelaySeconds), this,
                               [this] { runSettingsTestCommit(); });
        }
    }
    settingsWindow_->show();
    settingsWindow_->raise();
    settingsWindow_->activateWindow();
    log::FrontmostLog::shared().record("settingsWindow", std::nullopt, "shown");
    if (config_.settingsWindowCloseAfterSeconds) {
        QTimer::singleShot(milliseconds(*config_.settingsWindowCloseAfterSeconds), this, [this] {
            if (settingsWindow_) {
                settingsWindow_->close();
            }
        });
    }
    return ink::Outcome::handled();
}

void DrawAppDelegate::settingsWindowWillClose() {
    restoreOverlayInput();
    log::FrontmostLog::shared().record("settingsWindow", std::nullopt, "closed");
}

// A run on a settings file of its own only reads it; its edits last for the run.
void DrawAppDelegate::applySettingsFromWindow(const core::Settings& edited) {
    if (!config_.runSettingsFile) {
        // Writes "draw: could not save settings: …" itself; the live change happens anyway.
        (void)settings::SettingsStore::save(
            settings::SettingsStore::settingsFile(),
            [&](core::Settings& document) {
                // Which colour and width are chosen is the tool controller's to save.
                const int paletteIndex = document.annotation.selectedPaletteIndex;
                const int widthIndex = document.annotation.strokeWidth.selectedIndex;
                document = edited;
                document.annotation.selectedPaletteIndex = paletteIndex;
                document.annotation.strokeWidth.selectedIndex = widthIndex;
            },
            "draw: ");
    }
    const core::Settings run = config_.settingsWithOverrides(edited);
    if (tools_) {
        tools_->applyExternal(
            runAnnotation(run.annotation, tools_->settings(), config_.annotationRunOnly));
    }
    applyAidSettings(edited);
    if (keystrokes_) {
        keystrokes_->apply(run.keystrokeDisplay);
    }
    if (lens_) {
        lens_->apply(run.zoom);
    }
    if (fullScreenZoom_) {
        fullScreenZoom_->apply(run.zoom);
    }
    if (shortcuts_) {
        shortcuts_->setOverrides(edited.system.shortcutOverrides);
    }
    // Both touch the system (a timer, a file in the autostart folder): only on a change.
    const core::SystemSettings before = std::exchange(appliedSystem_, edited.system);
    if (before.checkForUpdates != edited.system.checkForUpdates) {
        setAutomaticUpdateChecks(edited.system.checkForUpdates);
    }
    if (before.launchAtLogin != edited.system.launchAtLogin) {
        applyLaunchAtLogin(edited.system.launchAtLogin);
    }
}

void DrawAppDelegate::runSettingsTestCommit() {
    const std::string& path = *config_.settingsTestCommitPath;
    std::string failure;
    std::optional<core::Settings> document;
    if (const auto text = platform::readFileText(path); !text) {
        failure = text.error();
    } else if (auto decoded = core::Settings::decode(*text); !decoded) {
        failure = decoded.error().description();
    } else {
        document = std::move(*decoded);
    }
    if (!document) {
        std::cerr << "draw: could not read settings test-commit at " << path << ": " << failure
                  << "\n";
        flushSettings();
        log::FrontmostLog::shared().finish("settingsTestCommit");
        // Quick exit: static destructors would run under a live QApplication.
        std::fflush(nullptr);
        std::_Exit(66);
    }
    settingsModel_->setSettings(*document);
    if (settingsModel_->onChange) {
        settingsModel_->onChange(settingsModel_->settings());
    }
    log::FrontmostLog::shared().recordLine(
        "{\"kind\":\"settingsTestCommit\",\"path\":" + core::jsonString(path) + "}");
}

// A dialog of one of them (a picker's colour dialog) counts as its window.
bool DrawAppDelegate::ordinaryWindowActive() const {
    for (const QWidget* window = QApplication::activeWindow(); window;
         window = window->parentWidget() ? window->parentWidget()->window() : nullptr) {
        if ((settingsWindow_ && window == settingsWindow_.get()) ||
            (aboutWindow_ && window == aboutWindow_.get()) ||
            (onboardingWindow_ && window == onboardingWindow_.get())) {
            return true;
        }
    }
    return false;
}

void DrawAppDelegate::watchOrdinaryWindows() {
    connect(qApp, &QGuiApplication::focusWindowChanged, this, [this] {
        if (finished_) {
            return;
        }
        if (ordinaryWindowActive()) {
            yieldOverlayInput();
            return;
        }
        // Focus moves between two of our windows through a moment with none.
        QTimer::singleShot(0, this, [this] {
            if (!finished_ && !ordinaryWindowActive()) {
                restoreOverlayInput();
            }
        });
    });
}

void DrawAppDelegate::yieldOverlayInput() {
    if (overlayInputBeforeAppWindow_ || !surfaces_) {
        return;
    }
    overlayInputBeforeAppWindow_ = surfaces_->empty() ? true : surfaces_->ignoresMouse();
    surfaces_->setIgnoresMouse(true);
    if (shortcuts_) {
        shortcuts_->refreshScopes();
    }
    log::FrontmostLog::shared().record("appWindow", surfaces_->firstPanelState(),
                                       "overlayInputYielded");
}

void DrawAppDelegate::restoreOverlayInput() {
    if (!overlayInputBeforeAppWindow_ || !surfaces_) {
        return;
    }
    surfaces_->setIgnoresMouse(*overlayInputBeforeAppWindow_);
    overlayInputBeforeAppWindow_.reset();
    if (shortcuts_) {
        shortcuts_->refreshScopes();
    }
    log::FrontmostLog::shared().record("appWindow", surfaces_->firstPanelState(),
                                       "overlayInputRestored");
}

}  // namespace scrawlet::shell
