// The user's whole configuration as one value: a schema version and eight sections.
//
// Every type here is a plain value: copyable, compared field by field, encodable to JSON and
// decodable from it. Decoding validates as it reads, so a value that decodes is valid; reading
// stops at the first failure in field order and returns it, never a partly read value.
// Memberwise (aggregate) construction does not validate.
//
// Every member's initialiser is its default: a default-constructed section is the section of
// the built-in document (`schemaDefaults()`), and an optional key that is absent takes that
// value. `Settings::builtInDefaults()` is the built-in document decoded, which equals
// `Settings{}`. The keys, kinds, bounds and presence of the fields are in settings_field.h.
//
// Failures are values: SettingsDecodeError is either a SettingsError (what the user can fix,
// with a fixed text) or a decoder error (missing key, wrong JSON type, unknown case name,
// unparsable text) whose text comes from the JSON layer. No exception leaves these functions.
#pragma once

#include <array>
#include <cstddef>
#include <expected>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/auto_erase.h"
#include "core/colour.h"
#include "core/enum_traits.h"
#include "core/settings_error.h"
#include "core/tool.h"

namespace scrawlet::core {

enum class CursorHighlightShape { ring, filledCircle, squircle, rhombus };
enum class RegionShape { circle, roundedRect };
enum class KeystrokeDisplayPosition { topLeft, topRight, bottomLeft, bottomRight };

template <>
struct EnumTraits<CursorHighlightShape> {
    static constexpr std::array<std::string_view, 4> names{"ring", "filledCircle", "squircle",
                                                           "rhombus"};
};

template <>
struct EnumTraits<RegionShape> {
    static constexpr std::array<std::string_view, 2> names{"circle", "roundedRect"};
};

template <>
struct EnumTraits<KeystrokeDisplayPosition> {
    static constexpr std::array<std::string_view, 4> names{"topLeft", "topRight", "bottomLeft",
                                                           "bottomRight"};
};

// Both bounds are valid values.
template <class T>
struct ClosedRange {
    T lowerBound;
    T upperBound;

    constexpr bool contains(T value) const { return lowerBound <= value && value <= upperBound; }
    bool operator==(const ClosedRange&) const = default;
};

struct SettingsDecodeError {
    struct DecoderError {
        std::string message;
        bool operator==(const DecoderError&) const = default;
    };

    std::variant<SettingsError, DecoderError> error;

    bool isSettingsError() const { return std::holds_alternative<SettingsError>(error); }
    // Null for a decoder error.
    const SettingsError* settingsError() const { return std::get_if<SettingsError>(&error); }
    std::string description() const;

    bool operator==(const SettingsDecodeError&) const = default;
};

template <class T>
using SettingsDecoded = std::expected<T, SettingsDecodeError>;

struct StrokeWidthSettings {
    static constexpr int minimumPresetCount = 3;

    std::vector<double> presetsPoints{2, 4, 8};
    int selectedIndex = 1;
    bool pressureModulation = true;

    static SettingsDecoded<StrokeWidthSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const StrokeWidthSettings&) const = default;
};

struct AutoEraseSettings {
    AutoEraseMode mode = AutoEraseMode::off;
    double customSeconds = 10;

    // None when off; otherwise the lifetime strokes (and keystroke captions) fade over.
    std::optional<double> timeToLiveSeconds() const;

    // Range errors name "annotation.autoErase.customSeconds" wherever the section sits.
    static SettingsDecoded<AutoEraseSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const AutoEraseSettings&) const = default;
};

struct ToolOpacity {
    double pen = 1;
    double line = 1;
    double arrow = 1;
    double rectangle = 1;
    double ellipse = 1;
    double highlighter = 0.4;
    double text = 1;

    // 1 for the tools that lay no ink (eraser, select).
    double value(Tool tool) const;

    static SettingsDecoded<ToolOpacity> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const ToolOpacity&) const = default;
};

struct BeautifySettings {
    bool enabled = false;
    double toleranceFraction = 0.08;

    static SettingsDecoded<BeautifySettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const BeautifySettings&) const = default;
};

struct AnnotationSettings {
    static constexpr int paletteSize = 5;

    std::vector<Colour> palette{{255, 59, 48, 255},
                                {255, 204, 0, 255},
                                {52, 199, 89, 255},
                                {10, 132, 255, 255},
                                {255, 255, 255, 255}};
    int selectedPaletteIndex = 0;
    StrokeWidthSettings strokeWidth;
    AutoEraseSettings autoErase;
    ToolOpacity toolOpacity;
    BeautifySettings beautify;

    static AnnotationSettings schemaDefaults() { return {}; }
    static SettingsDecoded<AnnotationSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const AnnotationSettings&) const = default;
};

struct CursorHighlightSettings {
    bool enabled = false;
    CursorHighlightShape shape = CursorHighlightShape::ring;
    Colour colour{255, 204, 0, 255};
    double sizePoints = 48;
    double opacity = 0.5;
    double borderWidthPoints = 2;
    bool clickRipple = true;

    static CursorHighlightSettings schemaDefaults() { return {}; }
    static SettingsDecoded<CursorHighlightSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const CursorHighlightSettings&) const = default;
};

struct SpotlightSettings {
    RegionShape shape = RegionShape::circle;
    double sizePoints = 320;
    double dimOpacity = 0.6;
    bool dimAllDisplays = false;

    static SpotlightSettings schemaDefaults() { return {}; }
    static SettingsDecoded<SpotlightSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const SpotlightSettings&) const = default;
};

struct ZoomSettings {
    static constexpr ClosedRange<double> levelRange{1.5, 8.0};

    double level = 2;  // magnification factor
    RegionShape lensShape = RegionShape::circle;
    double lensSizePoints = 400;
    double panEasing = 0.25;

    static ZoomSettings schemaDefaults() { return {}; }
    static SettingsDecoded<ZoomSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const ZoomSettings&) const = default;
};

struct WhiteboardSettings {
    Colour boardColour{255, 255, 255, 255};

    static WhiteboardSettings schemaDefaults() { return {}; }
    static SettingsDecoded<WhiteboardSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const WhiteboardSettings&) const = default;
};

struct CaptureSettings {
    static constexpr ClosedRange<int> historyCountRange{1, 50};

    std::string destinationFolder;  // empty: the default screenshot folder
    int historyCount = 10;

    static CaptureSettings schemaDefaults() { return {}; }
    static SettingsDecoded<CaptureSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const CaptureSettings&) const = default;
};

struct KeystrokeDisplaySettings {
    bool enabled = false;
    KeystrokeDisplayPosition position = KeystrokeDisplayPosition::bottomRight;
    double sizePoints = 28;
    AutoEraseSettings fade{AutoEraseMode::threeSeconds, 10};

    static KeystrokeDisplaySettings schemaDefaults() { return {}; }
    static SettingsDecoded<KeystrokeDisplaySettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const KeystrokeDisplaySettings&) const = default;
};

struct SystemSettings {
    bool launchAtLogin = false;
    bool checkForUpdates = true;
    bool onboardingCompleted = false;
    // Action identifier to chord text; neither side is interpreted here.
    std::map<std::string, std::string> shortcutOverrides;

    static SettingsDecoded<SystemSettings> decode(const nlohmann::json& value);
    nlohmann::json encode() const;
    bool operator==(const SystemSettings&) const = default;
};

struct Settings {
    static constexpr int supportedSchemaVersion = 1;
    // The built-in document, byte for byte: two-space indentation, keys in field order, no
    // trailing newline, no beautify object.
    static const std::string_view defaultDocument;

    int schemaVersion = supportedSchemaVersion;
    AnnotationSettings annotation;
    CursorHighlightSettings cursorHighlight;
    SpotlightSettings spotlight;
    ZoomSettings zoom;
    WhiteboardSettings whiteboard;
    CaptureSettings capture;
    KeystrokeDisplaySettings keystrokeDisplay;
    SystemSettings system;

    // `defaultDocument` decoded; decoded once and copied.
    static Settings builtInDefaults();

    // The schema version is read first: a document of another version fails as such whatever
    // else it holds.
    static SettingsDecoded<Settings> decode(const nlohmann::json& value);
    // Text that does not parse as JSON is a decoder error.
    static SettingsDecoded<Settings> decode(std::string_view text);
    // Exact matches, so that text never converts to a JSON string instead.
    static SettingsDecoded<Settings> decode(const char* text) {
        return decode(std::string_view(text));
    }
    static SettingsDecoded<Settings> decode(const std::string& text) {
        return decode(std::string_view(text));
    }
    nlohmann::json encode() const;
    bool operator==(const Settings&) const = default;
};

}  // namespace scrawlet::core
