#include "app/shell/draw_config.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <iostream>
#include <limits>

#include "app/platform/file_io.h"
#include "app/settings/settings_store.h"
#include "core/number_format.h"
#include "core/settings_field.h"
#include "core/tool.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;
using settings::SettingsStore;

// Largest capacities we accept: beyond these the up-front reservation is gigabytes.
constexpr std::int64_t kMaximumPointCapacity = 16'777'216;
constexpr std::int64_t kMaximumItemCapacity = 1'048'576;
// Synthetic strokes are counted in events; more than this is no test anyone can wait for.
constexpr double kMaximumSyntheticEvents = 1e9;
// Qt's timers count milliseconds in an int: a longer limit would wrap round.
constexpr double kLongestTimeLimitSeconds = std::numeric_limits<int>::max() / 1000.0;

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= text.size()) {
        const auto end = text.find(separator, start);
        const auto piece = text.substr(start, end == std::string_view::npos ? end : end - start);
        if (!piece.empty()) {
            parts.push_back(piece);
        }
        if (end == std::string_view::npos) {
            break;
        }
        start = end + 1;
    }
    return parts;
}

std::string_view trim(std::string_view text, std::string_view blanks) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

std::expected<core::Settings, std::string> readSettingsFile(const std::string& path) {
    const auto text = platform::readFileText(path);
    if (!text) {
        return std::unexpected(text.error());
    }
    auto decoded = core::Settings::decode(*text);
    if (!decoded) {
        return std::unexpected(decoded.error().description());
    }
    return std::move(*decoded);
}

std::optional<std::string> settingsPath(const Environment& env) {
    const auto path = env.text("SCRAWLET_DRAW_SETTINGS");
    if (!path || path->empty()) {
        return std::nullopt;
    }
    return path;
}

// Capacities are reserved up front: beyond the maximum a typo would take gigabytes, so the run
// is refused. Below 1 the scenes could hold nothing at all; 1 is used.
std::expected<std::int64_t, ConfigExit> capacity(const Environment& env, std::string_view name,
                                                 std::int64_t fallback, std::int64_t maximum) {
    const std::int64_t value = env.integer(name).value_or(fallback);
    if (value > maximum) {
        return std::unexpected(ConfigExit{"draw: " + std::string(name) + " is " +
                                              std::to_string(value) + ", above the most (" +
                                              std::to_string(maximum) + ") a run reserves",
                                          64});
    }
    return std::max<std::int64_t>(value, 1);
}

template <class E>
std::optional<E> exactCase(const Environment& env, std::string_view name) {
    const auto v = env.value(name);
    return v ? core::fromRawValue<E>(*v) : std::nullopt;
}

std::optional<core::Colour> colourValue(const Environment& env, std::string_view name) {
    const auto v = env.value(name);
    if (!v) {
        return std::nullopt;
    }
    const auto parsed = core::Colour::fromHex(*v);
    return parsed ? std::optional(*parsed) : std::nullopt;
}

template <class T>
using Override = std::optional<T> DrawConfig::*;

// Variables that stand in for one settings field for this run. Each is read as a value of its
// field and brought into the field's range; one that cannot be read is as if absent.
struct SettingsOverride {
    std::string_view variable;
    std::string_view field;
    std::variant<Override<double>, Override<std::int64_t>, Override<bool>, Override<std::string>,
                 Override<core::Colour>, Override<core::RegionShape>,
                 Override<core::CursorHighlightShape>>
        member;
};

constexpr SettingsOverride kSettingsOverrides[] = {
    {"SCRAWLET_DRAW_LENS_LEVEL", "zoom.level", &DrawConfig::lensLevel},
    {"SCRAWLET_DRAW_LENS_SIZE", "zoom.lensSizePoints", &DrawConfig::lensSizePoints},
    {"SCRAWLET_DRAW_FULLSCREEN_ZOOM_EASING", "zoom.panEasing",
     &DrawConfig::fullScreenZoomPanEasing},
    {"SCRAWLET_DRAW_CAPTURE_FOLDER", "capture.destinationFolder", &DrawConfig::captureFolder},
    {"SCRAWLET_DRAW_CAPTURE_HISTORY_COUNT", "capture.historyCount",
     &DrawConfig::captureHistoryCount},
    {"SCRAWLET_DRAW_SPOTLIGHT_SHAPE", "spotlight.shape", &DrawConfig::spotlightShape},
    {"SCRAWLET_DRAW_SPOTLIGHT_SIZE", "spotlight.sizePoints", &DrawConfig::spotlightSizePoints},
    {"SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY", "spotlight.dimOpacity",
     &DrawConfig::spotlightDimOpacity},
    {"SCRAWLET_DRAW_SPOTLIGHT_DIM_ALL", "spotlight.dimAllDisplays",
     &DrawConfig::spotlightDimAllDisplays},
    {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR", "cursorHighlight.colour",
     &DrawConfig::cursorHighlightColour},
    {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SIZE", "cursorHighlight.sizePoints",
     &DrawConfig::cursorHighlightSizePoints},
    {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE", "cursorHighlight.shape",
     &DrawConfig::cursorHighlightShape},
    {"SCRAWLET_DRAW_CURSOR_HIGHLIGHT_OPACITY", "cursorHighlight.opacity",
     &DrawConfig::cursorHighlightOpacity},
};

const core::SettingsField& fieldOf(const SettingsOverride& entry) {
    const core::SettingsField* field = core::findSettingsField(entry.field);
    assert(field && "an override names a field of the settings table");
    return *field;
}

// The variable as a value of the field: a choice by its case name, a flag on exactly "1",
// numbers by the number and integer rules, then brought into range.
std::optional<core::FieldValue> overrideValue(const Environment& env,
                                              const SettingsOverride& entry) {
    const auto text = env.value(entry.variable);
    if (!text) {
        return std::nullopt;
    }
    const core::SettingsField& field = fieldOf(entry);
    std::optional<core::FieldValue> value;
    switch (field.kind()) {
        case core::FieldKind::flag:
            value = *text == "1";
            break;
        case core::FieldKind::number:
            if (const auto number = Environment::parseNumber(*text)) {
                value = *number;
            }
            break;
        case core::FieldKind::integer:
            if (const auto integer = Environment::parseInteger(*text)) {
                value = *integer;
            }
            break;
        case core::FieldKind::choice: {
            const auto names = field.choices();
            if (const auto found = std::ranges::find(names, *text); found != names.end()) {
                value = core::FieldChoice{static_cast<std::size_t>(found - names.begin())};
            }
            break;
        }
        case core::FieldKind::colour:
            if (const auto colour = core::Colour::fromHex(*text)) {
                value = *colour;
            }
            break;
        case core::FieldKind::text:
            value = std::string(*text);
            break;
        default:
            assert(!"no variable stands in for a list, an index or a map");
            break;
    }
    return value ? field.clamped(std::move(*value)) : std::nullopt;
}

// A choice is held as its case's position in the field, which is its enumeration's order.
template <class T>
T fromFieldValue(const core::FieldValue& value) {
    if constexpr (std::is_enum_v<T>) {
        return static_cast<T>(std::get<core::FieldChoice>(value).index);
    } else {
        return std::get<T>(value);
    }
}

template <class T>
core::FieldValue toFieldValue(const T& value) {
    if constexpr (std::is_enum_v<T>) {
        return core::FieldChoice{static_cast<std::size_t>(value)};
    } else {
        return value;
    }
}

void readSettingsOverrides(const Environment& env, DrawConfig& config) {
    for (const SettingsOverride& entry : kSettingsOverrides) {
        const auto value = overrideValue(env, entry);
        if (!value) {
            continue;
        }
        std::visit(
            [&]<class T>(Override<T> member) {
                if constexpr (std::is_enum_v<T>) {
                    assert(fieldOf(entry).choices().data() == core::EnumTraits<T>::names.data());
                }
                config.*member = fromFieldValue<T>(*value);
            },
            entry.member);
    }
}

struct LoadedAnnotation {
    core::AnnotationSettings settings;
    RunOnlyAnnotation runOnly;
};

std::optional<std::size_t> indexInside(int index, std::size_t count) {
    if (index < 0 || static_cast<std::size_t>(index) >= count) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(index);
}

std::expected<LoadedAnnotation, ConfigExit> loadAnnotation(const Environment& env) {
    LoadedAnnotation result{core::AnnotationSettings::schemaDefaults(), {}};
    core::AnnotationSettings& annotation = result.settings;
    if (const auto path = settingsPath(env)) {
        auto file = readSettingsFile(*path);
        if (!file) {
            return std::unexpected(
                ConfigExit{"draw: cannot read settings at " + *path + ": " + file.error(), 66});
        }
        annotation = std::move(file->annotation);
    } else {
        const auto settingsFile = SettingsStore::settingsFile();
        if (auto loaded = SettingsStore::load(settingsFile)) {
            if (const auto line = SettingsStore::startupLine(loaded->outcome, settingsFile)) {
                std::cerr << *line << "\n";
            }
            const bool usable =
                std::holds_alternative<SettingsStore::Loaded>(loaded->outcome) ||
                std::holds_alternative<SettingsStore::CreatedDefaults>(loaded->outcome) ||
                std::holds_alternative<SettingsStore::DefaultsUnwritten>(loaded->outcome);
            if (usable) {
                annotation = std::move(loaded->settings.annotation);
            }
        }
    }

    if (const auto colour = colourValue(env, "SCRAWLET_DRAW_COLOUR")) {
        if (const auto index =
                indexInside(annotation.selectedPaletteIndex, annotation.palette.size())) {
            annotation.palette[*index] = *colour;
            result.runOnly.paletteIndex = index;
        }
    }
    if (const auto width = env.number("SCRAWLET_DRAW_WIDTH"); width && *width > 0) {
        auto& presets = annotation.strokeWidth.presetsPoints;
        if (const auto index = indexInside(annotation.strokeWidth.selectedIndex, presets.size())) {
            // Held to what a preset may be, as the settings document holds it.
            const auto range =
                core::findSettingsField("annotation.strokeWidth.presetsPoints")->range;
            presets[*index] =
                range ? std::clamp(*width, range->lowerBound, range->upperBound) : *width;
            result.runOnly.widthPresetIndex = index;
        }
    }
    return result;
}

}  // namespace

core::AnnotationSettings persistableAnnotation(const core::AnnotationSettings& current,
                                               const core::AnnotationSettings& stored,
                                               const RunOnlyAnnotation& runOnly) {
    core::AnnotationSettings result = current;
    if (const auto i = runOnly.paletteIndex;
        i && *i < result.palette.size() && *i < stored.palette.size()) {
        result.palette[*i] = stored.palette[*i];
    }
    auto& presets = result.strokeWidth.presetsPoints;
    const auto& storedPresets = stored.strokeWidth.presetsPoints;
    if (const auto i = runOnly.widthPresetIndex;
        i && *i < presets.size() && *i < storedPresets.size()) {
        presets[*i] = storedPresets[*i];
    }
    return result;
}

std::expected<DrawConfig, ConfigExit> DrawConfig::fromEnvironment(const Environment& env) {
    DrawConfig c;
    // Refusals that protect the machine are reported after the settings file is read, so
    // that they never hide its status 66.
    std::optional<ConfigExit> refusal;
    const auto keep = [&refusal](std::expected<std::int64_t, ConfigExit> value,
                                 std::int64_t fallback) {
        if (!value && !refusal) {
            refusal = value.error();
        }
        return value.value_or(fallback);
    };
    c.colour = colourValue(env, "SCRAWLET_DRAW_COLOUR").value_or(c.colour);
    c.limits.pointCapacity = keep(capacity(env, "SCRAWLET_DRAW_POINT_CAPACITY",
                                           c.limits.pointCapacity, kMaximumPointCapacity),
                                  c.limits.pointCapacity);
    c.summaryPath = env.text("SCRAWLET_DRAW_SUMMARY").value_or(c.summaryPath);
    c.logPath = env.text("SCRAWLET_DRAW_LOG").value_or(c.logPath);
    if (const auto seconds = env.number("SCRAWLET_DRAW_SECONDS");
        seconds && std::abs(*seconds) <= kLongestTimeLimitSeconds) {
        c.maxDurationSeconds = *seconds;
    }
    c.transport = exactCase<Transport>(env, "SCRAWLET_DRAW_TRANSPORT").value_or(c.transport);
    if (const auto path = env.value("SCRAWLET_DRAW_PRESENT"); path && !path->empty()) {
        c.presentPath = core::fromRawValue<platform::PresentPath>(*path);
        if (!c.presentPath && !refusal) {
            refusal = ConfigExit{
                "draw: SCRAWLET_DRAW_PRESENT must be software, copySubBuffer, "
                "bufferAge or fullSwap",
                64};
        }
    }
    c.syntheticHz = env.number("SCRAWLET_DRAW_HZ").value_or(c.syntheticHz);
    c.strokeSeconds = env.number("SCRAWLET_DRAW_STROKE_SECONDS").value_or(c.strokeSeconds);
    // Only a synthetic driver counts these events; live input never looks at them.
    const double events = c.syntheticHz * c.strokeSeconds;
    if (c.transport != Transport::live && std::abs(events) > kMaximumSyntheticEvents && !refusal) {
        refusal = ConfigExit{"draw: SCRAWLET_DRAW_HZ (" + core::shortestDecimal(c.syntheticHz) +
                                 ") times SCRAWLET_DRAW_STROKE_SECONDS (" +
                                 core::shortestDecimal(c.strokeSeconds) +
                                 ") is not a usable number of synthetic events",
                             64};
    }
    c.widthPoints = env.number("SCRAWLET_DRAW_WIDTH").value_or(c.widthPoints);
    c.limits.strokeCapacity = keep(capacity(env, "SCRAWLET_DRAW_STROKE_CAPACITY",
                                            c.limits.strokeCapacity, kMaximumItemCapacity),
                                   c.limits.strokeCapacity);
    // A negative separation refuses nothing, exactly as 0 does.
    c.limits.minimumSeparation = std::max(
        0.0, env.number("SCRAWLET_DRAW_MIN_SEPARATION").value_or(c.limits.minimumSeparation));
    c.limits.textCapacity = keep(
        capacity(env, "SCRAWLET_DRAW_TEXT_CAPACITY", c.limits.textCapacity, kMaximumItemCapacity),
        c.limits.textCapacity);
    c.startsIgnoringMouseEvents = env.notZero("SCRAWLET_DRAW_CLICKTHROUGH", false);

    auto annotationSettings = loadAnnotation(env);
    if (!annotationSettings) {
        return std::unexpected(annotationSettings.error());
    }
    if (refusal) {
        return std::unexpected(*refusal);
    }
    c.annotation = std::move(annotationSettings->settings);
    c.annotationRunOnly = annotationSettings->runOnly;
    c.runSettingsFile = settingsPath(env);
    c.shortcutOverrides = shortcutOverridesFrom(env);
    c.an16Trials = env.integer("SCRAWLET_DRAW_AN16");
    c.controlPanel = env.notZero("SCRAWLET_DRAW_PANEL", true);
    c.controlPanelSentinel = env.flag("SCRAWLET_DRAW_PANEL_SENTINEL");
    c.controlPanelCapturable = env.flag("SCRAWLET_DRAW_PANEL_CAPTURABLE");
    c.capture = env.flag("SCRAWLET_DRAW_CAPTURE");
    c.captureSelfTest = env.flag("SCRAWLET_DRAW_CAPTURE_SELFTEST");
    c.captureDumpPath = env.text("SCRAWLET_DRAW_CAPTURE_DUMP");
    c.contentZoom = env.number("SCRAWLET_DRAW_CONTENT_ZOOM");
    c.contentOriginX = env.number("SCRAWLET_DRAW_CONTENT_ORIGIN_X");
    c.contentOriginY = env.number("SCRAWLET_DRAW_CONTENT_ORIGIN_Y");
    c.lens = env.flag("SCRAWLET_DRAW_LENS");
    c.fullScreenZoom = env.flag("SCRAWLET_DRAW_FULLSCREEN_ZOOM");
    c.captureHistoryDragTest = env.flag("SCRAWLET_DRAW_CAPTURE_HISTORY_DRAG_TEST");
    c.captureHistoryTrials = env.integer("SCRAWLET_DRAW_CAPTURE_HISTORY_TRIALS");
    c.spotlight = env.flag("SCRAWLET_DRAW_SPOTLIGHT");
    c.cursorHighlight = env.flag("SCRAWLET_DRAW_CURSOR_HIGHLIGHT");
    readSettingsOverrides(env, c);
    c.keystrokeDisplay = env.flag("SCRAWLET_DRAW_KEYSTROKE_DISPLAY");
    c.settingsWindow = env.flag("SCRAWLET_DRAW_SETTINGS_WINDOW");
    c.settingsWindowCloseAfterSeconds = env.number("SCRAWLET_DRAW_SETTINGS_WINDOW_CLOSE_SECONDS");
    c.settingsTestCommitPath = env.text("SCRAWLET_DRAW_SETTINGS_TEST_COMMIT");
    c.settingsTestCommitDelaySeconds = env.number("SCRAWLET_DRAW_SETTINGS_TEST_COMMIT_DELAY")
                                           .value_or(c.settingsTestCommitDelaySeconds);
    c.shortcutRecordActionID = env.text("SCRAWLET_DRAW_SHORTCUT_RECORD_ACTION");
    c.shortcutRecordDelaySeconds =
        env.number("SCRAWLET_DRAW_SHORTCUT_RECORD_DELAY").value_or(c.shortcutRecordDelaySeconds);
    c.shortcutAutoSaveDelaySeconds = env.number("SCRAWLET_DRAW_SHORTCUT_AUTO_SAVE_DELAY");
    c.onboardingAutoDismissAfterSeconds =
        env.number("SCRAWLET_DRAW_ONBOARDING_AUTO_DISMISS_SECONDS");
    c.aboutWindow = env.flag("SCRAWLET_DRAW_ABOUT_WINDOW");
    c.aboutWindowCloseAfterSeconds = env.number("SCRAWLET_DRAW_ABOUT_WINDOW_CLOSE_SECONDS");
    c.updateCheckDelaySeconds = std::clamp(
        env.number("SCRAWLET_DRAW_UPDATE_CHECK_DELAY").value_or(c.updateCheckDelaySeconds), 0.0,
        86400.0);
    if (const auto park = env.value("SCRAWLET_DRAW_POINTER_PARK")) {
        c.pointerPark = DrawConfig::points(*park);
    }
    auto tool = initialToolFrom(env);
    if (!tool) {
        return std::unexpected(tool.error());
    }
    c.initialTool = *tool;
    auto actions = scriptedActionsFrom(env);
    if (!actions) {
        return std::unexpected(actions.error());
    }
    c.scriptedActions = std::move(*actions);
    c.fiducials = env.flag("SCRAWLET_DRAW_FIDUCIALS");
    c.allocationSelfTest = env.flag("SCRAWLET_DRAW_ALLOC_SELFTEST");
    c.latencyProbe = env.flag("SCRAWLET_DRAW_LATENCY_PROBE");
    c.levelToken = env.text("SCRAWLET_OVERLAY_LEVEL").value_or(c.levelToken);
    if (const auto behavior = env.value("SCRAWLET_OVERLAY_BEHAVIOR")) {
        c.behaviorTokens = behaviorTokenList(*behavior);
    }
    return c;
}

std::expected<core::AnnotationSettings, ConfigExit> DrawConfig::annotationFrom(
    const Environment& env) {
    auto loaded = loadAnnotation(env);
    if (!loaded) {
        return std::unexpected(loaded.error());
    }
    return std::move(loaded->settings);
}

std::map<std::string, std::string> DrawConfig::shortcutOverridesFrom(const Environment& env) {
    if (const auto path = settingsPath(env)) {
        if (const auto file = readSettingsFile(*path)) {
            return file->system.shortcutOverrides;
        }
    }
    return {};
}

std::vector<GlobalPoint> DrawConfig::points(std::string_view text) {
    std::vector<GlobalPoint> result;
    for (const auto part : split(text, ';')) {
        std::vector<double> numbers;
        for (const auto piece : split(part, ',')) {
            if (const auto n = Environment::parseNumber(piece)) {
                numbers.push_back(*n);
            }
        }
        if (numbers.size() == 2) {
            result.push_back({numbers[0], numbers[1]});
        }
    }
    return result;
}

std::expected<std::optional<ActionID>, ConfigExit> DrawConfig::initialToolFrom(
    const Environment& env) {
    auto value = env.value("SCRAWLET_DRAW_TOOL");
    if (!value) {
        value = env.value("SCRAWLET_DRAW_SHAPE");
    }
    if (!value || value->empty()) {
        return std::nullopt;
    }
    const auto action = core::fromRawValue<ActionID>("tool." + std::string(*value));
    if (action && core::selectedTool(*action)) {
        return action;
    }
    std::string names;
    for (const core::Tool tool : core::allCases<core::Tool>()) {
        names += (names.empty() ? "" : "|") + std::string(core::rawValue(tool));
    }
    return std::unexpected(
        ConfigExit{"draw: unknown tool " + quoted(*value) + " (" + names + ")", 64});
}

std::expected<std::vector<ActionID>, ConfigExit> DrawConfig::scriptedActionsFrom(
    const Environment& env) {
    std::vector<ActionID> result;
    const auto value = env.value("SCRAWLET_DRAW_ACTIONS");
    if (!value) {
        return result;
    }
    for (const auto raw : split(*value, ',')) {
        const auto piece = trim(raw, " \t");
        if (piece.empty()) {
            continue;
        }
        const auto action = core::fromRawValue<ActionID>(piece);
        if (!action) {
            return std::unexpected(ConfigExit{
                "draw: unknown action " + quoted(piece) + " in SCRAWLET_DRAW_ACTIONS", 64});
        }
        result.push_back(*action);
    }
    return result;
}

std::vector<std::string> DrawConfig::behaviorTokenList(std::string_view text) {
    std::vector<std::string> tokens;
    for (const auto raw : split(text, ',')) {
        const auto token = trim(raw, " ");
        if (!token.empty() && token != "none") {
            tokens.emplace_back(token);
        }
    }
    return tokens;
}

core::Settings DrawConfig::settingsWithOverrides(core::Settings settings) const {
    for (const SettingsOverride& entry : kSettingsOverrides) {
        std::visit(
            [&](auto member) {
                if (const auto& value = this->*member) {
                    fieldOf(entry).assign(settings, toFieldValue(*value));
                }
            },
            entry.member);
    }
    return settings;
}

core::Settings DrawConfig::currentSettings() const {
    if (runSettingsFile) {
        if (auto file = readSettingsFile(*runSettingsFile)) {
            return std::move(*file);
        }
    } else if (auto loaded = SettingsStore::load(SettingsStore::settingsFile())) {
        return std::move(loaded->settings);
    }
    return core::Settings::builtInDefaults();
}

std::int64_t windowLevel(std::string_view token) {
    static constexpr std::pair<std::string_view, std::int64_t> kLevels[] = {
        {"normal", 0},     {"floating", 3},    {"modalPanel", 8},     {"mainMenu", 24},
        {"statusBar", 25}, {"popUpMenu", 101}, {"screenSaver", 1000},
    };
    for (const auto& [name, level] : kLevels) {
        if (token == name) {
            return level;
        }
    }
    return Environment::parseInteger(token).value_or(1000);
}

CollectionBehavior collectionBehavior(const std::vector<std::string>& tokens) {
    static constexpr std::pair<std::string_view, std::uint64_t> kBits[] = {
        {"canJoinAllSpaces", 1}, {"moveToActiveSpace", 2},   {"managed", 4},
        {"transient", 8},        {"stationary", 16},         {"participatesInCycle", 32},
        {"ignoresCycle", 64},    {"fullScreenPrimary", 128}, {"fullScreenAuxiliary", 256},
        {"fullScreenNone", 512}, {"auxiliary", 131072},
    };
    CollectionBehavior result;
    for (const auto& token : tokens) {
        bool known = false;
        for (const auto& [name, bit] : kBits) {
            if (token == name) {
                result.bits |= bit;
                known = true;
            }
        }
        if (!known) {
            result.unknownTokens.push_back(token);
        }
    }
    return result;
}

}  // namespace scrawlet::shell
