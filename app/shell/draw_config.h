// The immutable configuration of a draw-mode run, read once from the environment.
//
// `fromEnvironment` reads every variable in a fixed order, loads the annotation settings
// (from the file named by SCRAWLET_DRAW_SETTINGS, else through the settings store, reporting
// the store's outcome on standard error) and applies the overrides. A configuration error
// comes back as a ConfigExit (the line to print and the exit status) and nothing after it is
// read; every other malformed value falls back to its default silently. Variables that stand
// in for a settings field are read as that field's values and brought into its range.
#pragma once

#include <cstdint>
#include <expected>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/platform/gl_presenter.h"
#include "app/shell/environment.h"
#include "core/action_id.h"
#include "core/colour.h"
#include "core/settings.h"

namespace scrawlet::shell {

// How a run that cannot go on ends: one line on standard error and a status.
struct ConfigExit {
    std::string message;  // without the line feed
    int status = 0;
    bool operator==(const ConfigExit&) const = default;
};

struct SceneLimits {
    std::int64_t pointCapacity = 65536;
    std::int64_t strokeCapacity = 1024;
    double minimumSeparation = 0;
    std::int64_t textCapacity = 512;
    bool operator==(const SceneLimits&) const = default;
};

struct GlobalPoint {
    double x = 0;
    double y = 0;
    bool operator==(const GlobalPoint&) const = default;
};

// The entries of the annotation settings that SCRAWLET_DRAW_COLOUR and SCRAWLET_DRAW_WIDTH
// replaced for this run only; they are never saved.
struct RunOnlyAnnotation {
    std::optional<std::size_t> paletteIndex;
    std::optional<std::size_t> widthPresetIndex;
    bool operator==(const RunOnlyAnnotation&) const = default;
};

// The section to save when the run's annotation settings are `current`: the run-only entries
// keep what the saved document `stored` has there.
core::AnnotationSettings persistableAnnotation(const core::AnnotationSettings& current,
                                               const core::AnnotationSettings& stored,
                                               const RunOnlyAnnotation& runOnly);

struct DrawConfig {
    enum class Transport { live, direct, cgEventPost };

    std::string summaryPath = "/tmp/scrawlet-draw.json";
    std::string logPath = "/tmp/scrawlet-draw.jsonl";
    // None: the run lasts until the user quits.
    std::optional<double> maxDurationSeconds;
    Transport transport = Transport::live;
    // How ink reaches the screen when forced; otherwise chosen from what the GL offers.
    std::optional<platform::PresentPath> presentPath;
    double syntheticHz = 125;
    double strokeSeconds = 5;
    core::Colour colour{255, 59, 48, 255};
    double widthPoints = 4;
    SceneLimits limits;
    bool startsIgnoringMouseEvents = false;
    core::AnnotationSettings annotation = core::AnnotationSettings::schemaDefaults();
    RunOnlyAnnotation annotationRunOnly;
    // SCRAWLET_DRAW_SETTINGS when set: that file belongs to the run and is only read, and the
    // user's own is not touched either, so changes last until the run ends.
    std::optional<std::string> runSettingsFile;
    std::map<std::string, std::string> shortcutOverrides;
    std::optional<std::int64_t> an16Trials;
    bool controlPanel = true;
    bool controlPanelSentinel = false;
    bool controlPanelCapturable = false;
    bool capture = false;
    bool captureSelfTest = false;
    std::optional<std::string> captureDumpPath;
    std::optional<double> contentZoom;
    std::optional<double> contentOriginX;
    std::optional<double> contentOriginY;
    bool lens = false;
    std::optional<double> lensLevel;
    std::optional<double> lensSizePoints;
    bool fullScreenZoom = false;
    std::optional<double> fullScreenZoomPanEasing;
    std::optional<std::string> captureFolder;
    std::optional<std::int64_t> captureHistoryCount;
    bool captureHistoryDragTest = false;
    std::optional<std::int64_t> captureHistoryTrials;
    bool spotlight = false;
    std::optional<core::RegionShape> spotlightShape;
    std::optional<double> spotlightSizePoints;
    std::optional<double> spotlightDimOpacity;
    std::optional<bool> spotlightDimAllDisplays;
    bool cursorHighlight = false;
    std::optional<core::Colour> cursorHighlightColour;
    std::optional<double> cursorHighlightSizePoints;
    std::optional<core::CursorHighlightShape> cursorHighlightShape;
    std::optional<double> cursorHighlightOpacity;
    bool keystrokeDisplay = false;
    bool settingsWindow = false;
    std::optional<double> settingsWindowCloseAfterSeconds;
    std::optional<std::string> settingsTestCommitPath;
    double settingsTestCommitDelaySeconds = 2;
    std::optional<std::string> shortcutRecordActionID;
    double shortcutRecordDelaySeconds = 0;
    std::optional<double> shortcutAutoSaveDelaySeconds;
    std::optional<double> onboardingAutoDismissAfterSeconds;
    bool aboutWindow = false;
    std::optional<double> aboutWindowCloseAfterSeconds;
    // Seconds between start-up and the first automatic update check.
    double updateCheckDelaySeconds = 60;
    std::vector<GlobalPoint> pointerPark;
    std::optional<core::ActionID> initialTool;
    std::vector<core::ActionID> scriptedActions;
    bool fiducials = false;
    bool allocationSelfTest = false;
    bool latencyProbe = false;
    std::string levelToken = "screenSaver";
    std::vector<std::string> behaviorTokens{"canJoinAllSpaces"};

    // Reads the environment; store outcome lines go to standard error as they happen.
    static std::expected<DrawConfig, ConfigExit> fromEnvironment(const Environment& env);

    static std::expected<core::AnnotationSettings, ConfigExit> annotationFrom(
        const Environment& env);
    static std::map<std::string, std::string> shortcutOverridesFrom(const Environment& env);
    static std::vector<GlobalPoint> points(std::string_view text);
    static std::expected<std::optional<core::ActionID>, ConfigExit> initialToolFrom(
        const Environment& env);
    static std::expected<std::vector<core::ActionID>, ConfigExit> scriptedActionsFrom(
        const Environment& env);
    static std::vector<std::string> behaviorTokenList(std::string_view text);

    // The settings document as it is now: the run's own file, else the store's (which may
    // repair it, as every store reader does); the built-in defaults when neither gives one.
    core::Settings currentSettings() const;
    // `settings` with this run's variables that stand in for settings fields (lens, full-screen
    // zoom easing, capture, spotlight, cursor highlight) on top, where they are set.
    core::Settings settingsWithOverrides(core::Settings settings) const;
};

// Window level of a level token; unknown tokens and the empty one mean 1000.
std::int64_t windowLevel(std::string_view token);

struct CollectionBehavior {
    std::uint64_t bits = 0;
    std::vector<std::string> unknownTokens;
};
CollectionBehavior collectionBehavior(const std::vector<std::string>& tokens);

}  // namespace scrawlet::shell

namespace scrawlet::core {
template <>
struct EnumTraits<shell::DrawConfig::Transport> {
    static constexpr std::array<std::string_view, 3> names{"live", "direct", "cgEventPost"};
};
}  // namespace scrawlet::core
