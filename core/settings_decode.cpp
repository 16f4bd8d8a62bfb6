#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>
#include <utility>

#include "core/settings.h"

namespace scrawlet::core {
namespace {

using nlohmann::json;

enum class Presence { required, optional };
enum class Count { exactly, atLeast };
using Failure = std::optional<SettingsDecodeError>;

constexpr ClosedRange<double> kUnitRange{0, 1};
constexpr ClosedRange<double> kPresetWidthRange{0.001, 200};
constexpr ClosedRange<double> kCustomSecondsRange{0.25, 120};
constexpr ClosedRange<double> kCursorSizeRange{0.001, 400};
constexpr ClosedRange<double> kBorderWidthRange{0, 40};
constexpr ClosedRange<double> kRegionSizeRange{0.001, 4000};
constexpr ClosedRange<double> kKeystrokeSizeRange{0.001, 120};

// Appends into one buffer: GCC 12 warns falsely (-Wrestrict) on `"literal" + std::string` at -O3.
std::string join(std::initializer_list<std::string_view> pieces) {
    std::string out;
    for (const std::string_view piece : pieces) {
        out += piece;
    }
    return out;
}

// Where a value sits, spelled out only when a failure is reported, so that reading a valid
// document builds no path strings.
struct Location {
    std::string_view parent;
    std::string_view key;
    std::optional<std::size_t> index;

    std::string text() const {
        std::string out(parent);
        if (!key.empty()) {
            out += out.empty() ? "" : ".";
            out += key;
        }
        if (index) {
            out += '[';
            out += std::to_string(*index);
            out += ']';
        }
        return out;
    }
    Location entry(std::size_t position) const { return {parent, key, position}; }
};

SettingsDecodeError decoderError(const std::string& where, std::string message) {
    if (!where.empty()) {
        message = join({where, ": ", message});
    }
    return {SettingsDecodeError::DecoderError{std::move(message)}};
}

// Worded as the JSON library words its own type errors.
SettingsDecodeError typeMismatch(const std::string& where, std::string_view expected,
                                 const json& value) {
    return decoderError(where, join({"type must be ", expected, ", but is ", value.type_name()}));
}

// Values may come from memory rather than the parser, so text is not known to be valid UTF-8.
std::string quoted(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

Failure convert(const json& value, bool& out, const Location& at) {
    if (!value.is_boolean()) {
        return typeMismatch(at.text(), "boolean", value);
    }
    out = value.get<bool>();
    return std::nullopt;
}

// The library would read true as 1; a setting that says true where a number belongs is a
// mistake worth reporting.
Failure convert(const json& value, double& out, const Location& at) {
    if (!value.is_number()) {
        return typeMismatch(at.text(), "number", value);
    }
    out = value.get<double>();
    return std::nullopt;
}

// 10.0 reads as 10, but 10.5 is refused rather than silently truncated as the library would.
// Read wide: a version or index beyond 32 bits is reported with its own value by the checks.
Failure convert(const json& value, std::int64_t& out, const Location& at) {
    if (!value.is_number()) {
        return typeMismatch(at.text(), "number", value);
    }
    // 2^63 exactly: the first double past the range.
    constexpr double kBeyond = 9223372036854775808.0;
    bool fits = false;
    if (value.is_number_unsigned()) {
        fits = value.get<std::uint64_t>() <=
               static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    } else if (value.is_number_integer()) {
        fits = true;
    } else {
        const auto number = value.get<double>();
        if (!(std::trunc(number) == number)) {
            return decoderError(at.text(), join({"number ", quoted(value), " is not an integer"}));
        }
        fits = -kBeyond <= number && number < kBeyond;
    }
    if (!fits) {
        return decoderError(at.text(),
                            join({"number ", quoted(value), " does not fit in an integer"}));
    }
    out = value.is_number_float() ? static_cast<std::int64_t>(value.get<double>())
                                  : value.get<std::int64_t>();
    return std::nullopt;
}

Failure convert(const json& value, std::string& out, const Location& at) {
    if (!value.is_string()) {
        return typeMismatch(at.text(), "string", value);
    }
    out = value.get_ref<const json::string_t&>();
    return std::nullopt;
}

Failure convert(const json& value, Colour& out, const Location& at) {
    if (!value.is_string()) {
        return typeMismatch(at.text(), "string", value);
    }
    auto colour = Colour::fromHex(value.get_ref<const json::string_t&>());
    if (!colour) {
        return SettingsDecodeError{std::move(colour).error()};
    }
    out = *colour;
    return std::nullopt;
}

template <class E>
requires std::is_enum_v<E> Failure convert(const json& value, E& out, const Location& at) {
    if (!value.is_string()) {
        return typeMismatch(at.text(), "string", value);
    }
    if (const auto parsed = fromRawValue<E>(value.get_ref<const json::string_t&>())) {
        out = *parsed;
        return std::nullopt;
    }
    std::string message = join({"unknown case name ", quoted(value), ", expected one of "});
    for (std::size_t i = 0; i < caseCount<E>(); ++i) {
        message += i == 0 ? "" : ", ";
        message += EnumTraits<E>::names[i];
    }
    return decoderError(at.text(), std::move(message));
}

Failure convert(const json& value, std::map<std::string, std::string>& out, const Location& at) {
    if (!value.is_object()) {
        return typeMismatch(at.text(), "object", value);
    }
    out.clear();
    for (const auto& [name, text] : value.get_ref<const json::object_t&>()) {
        if (!text.is_string()) {
            return typeMismatch(join({at.text(), ".", name}), "string", text);
        }
        out.emplace(name, text.get_ref<const json::string_t&>());
    }
    return std::nullopt;
}

template <class T>
Failure convert(const json& value, std::vector<T>& out, const Location& at) {
    if (!value.is_array()) {
        return typeMismatch(at.text(), "array", value);
    }
    out.clear();
    out.reserve(value.size());
    std::size_t position = 0;
    for (const json& item : value) {
        T entry{};
        if (auto failure = convert(item, entry, at.entry(position++))) {
            return failure;
        }
        out.push_back(entry);
    }
    return std::nullopt;
}

// Reads one JSON object key by key. Every step does nothing once a failure is recorded, so the
// first failure in reading order is the one reported, and a check written right after its read
// runs before the next key is looked at.
class ObjectReader {
  public:
    // `path` places decoder errors; `fieldPrefix` names the fields of SettingsErrors, which
    // differ only for the auto-erase settings nested under the keystroke display.
    ObjectReader(const json& object, std::string_view path, std::string_view fieldPrefix)
        : object_(object), path_(path), fieldPrefix_(fieldPrefix) {
        if (!object.is_object()) {
            failure_ = typeMismatch(std::string(path), "object", object);
        }
    }
    ObjectReader(const json& object, std::string_view path) : ObjectReader(object, path, path) {}

    bool ok() const { return !failure_; }
    template <class Case>
    void fail(Case error) {
        if (ok()) {
            failure_ = SettingsDecodeError{SettingsError{std::move(error)}};
        }
    }

    // An absent optional key leaves `out` as it is.
    template <class T>
    void read(std::string_view key, T& out, Presence presence) {
        if (const json* value = member(key, presence)) {
            failure_ = convert(*value, out, Location{path_, key, std::nullopt});
        }
    }

    void read(std::string_view key, double& out, Presence presence, ClosedRange<double> range) {
        read(key, out, presence);
        checkRange(key, out, range);
    }

    // `decode` turns the nested object into SettingsDecoded<T>.
    template <class T, class Decode>
    void section(std::string_view key, T& out, Presence presence, Decode decode) {
        if (const json* value = member(key, presence)) {
            auto decoded = decode(*value);
            if (decoded) {
                out = *std::move(decoded);
            } else {
                failure_ = std::move(decoded).error();
            }
        }
    }

    void checkRange(std::string_view key, double value, ClosedRange<double> range) {
        if (ok() && !range.contains(value)) {
            fail(SettingsError::OutOfRange{field(key), value, range.lowerBound, range.upperBound});
        }
    }

    void checkCount(std::string_view key, std::size_t found, int expected, Count rule) {
        const auto wanted = static_cast<std::size_t>(expected);
        const bool good = rule == Count::exactly ? found == wanted : found >= wanted;
        if (ok() && !good) {
            fail(SettingsError::WrongCount{field(key), expected, static_cast<long long>(found)});
        }
    }

    // Indices and counts are stored as int once their checks have passed; until then they are
    // held wide so that the error carries the value the file says.
    void readIndex(std::string_view key, int& out, Presence presence, std::size_t count) {
        std::int64_t index = out;
        read(key, index, presence);
        if (ok() && (index < 0 || static_cast<std::uint64_t>(index) >= count)) {
            fail(SettingsError::IndexOutOfBounds{field(key), index, static_cast<long long>(count)});
        }
        if (ok()) {
            out = static_cast<int>(index);
        }
    }

    void readCount(std::string_view key, int& out, Presence presence, ClosedRange<int> range) {
        std::int64_t count = out;
        read(key, count, presence);
        checkRange(key, static_cast<double>(count),
                   {static_cast<double>(range.lowerBound), static_cast<double>(range.upperBound)});
        if (ok()) {
            out = static_cast<int>(count);
        }
    }

    template <class T>
    SettingsDecoded<T> finish(T value) {
        if (failure_) {
            return std::unexpected(std::move(*failure_));
        }
        return value;
    }

  private:
    const json* member(std::string_view key, Presence presence) {
        if (!ok()) {
            return nullptr;
        }
        const auto found = object_.find(key);
        if (found != object_.end()) {
            return &*found;
        }
        if (presence == Presence::required) {
            failure_ = decoderError(std::string(path_), join({"key '", key, "' not found"}));
        }
        return nullptr;
    }

    std::string field(std::string_view key) const {
        return Location{fieldPrefix_, key, std::nullopt}.text();
    }

    const json& object_;
    std::string_view path_;
    std::string_view fieldPrefix_;
    Failure failure_;
};

SettingsDecoded<AutoEraseSettings> decodeAutoErase(const json& value, std::string_view path) {
    AutoEraseSettings section;
    ObjectReader reader(value, path, "annotation.autoErase");
    reader.read("mode", section.mode, Presence::required);
    // Checked whatever the mode, so switching to custom later never meets a bad value.
    reader.read("customSeconds", section.customSeconds, Presence::optional, kCustomSecondsRange);
    return reader.finish(std::move(section));
}

}  // namespace

SettingsDecoded<StrokeWidthSettings> StrokeWidthSettings::decode(const json& value) {
    StrokeWidthSettings section;
    ObjectReader reader(value, "annotation.strokeWidth");
    reader.read("presetsPoints", section.presetsPoints, Presence::required);
    reader.checkCount("presetsPoints", section.presetsPoints.size(), minimumPresetCount,
                      Count::atLeast);
    for (const double width : section.presetsPoints) {
        reader.checkRange("presetsPoints", width, kPresetWidthRange);
    }
    reader.readIndex("selectedIndex", section.selectedIndex, Presence::required,
                     section.presetsPoints.size());
    reader.read("pressureModulation", section.pressureModulation, Presence::optional);
    return reader.finish(std::move(section));
}

SettingsDecoded<AutoEraseSettings> AutoEraseSettings::decode(const json& value) {
    return decodeAutoErase(value, "annotation.autoErase");
}

SettingsDecoded<ToolOpacity> ToolOpacity::decode(const json& value) {
    ToolOpacity section;
    ObjectReader reader(value, "annotation.toolOpacity");
    reader.read("pen", section.pen, Presence::optional, kUnitRange);
    reader.read("line", section.line, Presence::optional, kUnitRange);
    reader.read("arrow", section.arrow, Presence::optional, kUnitRange);
    reader.read("rectangle", section.rectangle, Presence::optional, kUnitRange);
    reader.read("ellipse", section.ellipse, Presence::optional, kUnitRange);
    reader.read("highlighter", section.highlighter, Presence::optional, kUnitRange);
    reader.read("text", section.text, Presence::optional, kUnitRange);
    return reader.finish(std::move(section));
}

SettingsDecoded<BeautifySettings> BeautifySettings::decode(const json& value) {
    BeautifySettings section;
    ObjectReader reader(value, "annotation.beautify");
    reader.read("enabled", section.enabled, Presence::optional);
    reader.read("toleranceFraction", section.toleranceFraction, Presence::optional);
    return reader.finish(std::move(section));
}

SettingsDecoded<AnnotationSettings> AnnotationSettings::decode(const json& value) {
    AnnotationSettings section;
    ObjectReader reader(value, "annotation");
    reader.read("palette", section.palette, Presence::required);
    reader.checkCount("palette", section.palette.size(), paletteSize, Count::exactly);
    reader.readIndex("selectedPaletteIndex", section.selectedPaletteIndex, Presence::optional,
                     section.palette.size());
    reader.section("strokeWidth", section.strokeWidth, Presence::required,
                   &StrokeWidthSettings::decode);
    reader.section("autoErase", section.autoErase, Presence::required, &AutoEraseSettings::decode);
    reader.section("toolOpacity", section.toolOpacity, Presence::optional, &ToolOpacity::decode);
    reader.section("beautify", section.beautify, Presence::optional, &BeautifySettings::decode);
    return reader.finish(std::move(section));
}

SettingsDecoded<CursorHighlightSettings> CursorHighlightSettings::decode(const json& value) {
    CursorHighlightSettings section;
    ObjectReader reader(value, "cursorHighlight");
    reader.read("enabled", section.enabled, Presence::required);
    reader.read("shape", section.shape, Presence::required);
    reader.read("colour", section.colour, Presence::required);
    reader.read("sizePoints", section.sizePoints, Presence::required, kCursorSizeRange);
    reader.read("opacity", section.opacity, Presence::optional, kUnitRange);
    reader.read("borderWidthPoints", section.borderWidthPoints, Presence::optional,
                kBorderWidthRange);
    reader.read("clickRipple", section.clickRipple, Presence::optional);
    return reader.finish(std::move(section));
}

SettingsDecoded<SpotlightSettings> SpotlightSettings::decode(const json& value) {
    SpotlightSettings section;
    ObjectReader reader(value, "spotlight");
    reader.read("shape", section.shape, Presence::required);
    reader.read("sizePoints", section.sizePoints, Presence::required, kRegionSizeRange);
    reader.read("dimOpacity", section.dimOpacity, Presence::required, kUnitRange);
    reader.read("dimAllDisplays", section.dimAllDisplays, Presence::optional);
    return reader.finish(std::move(section));
}

SettingsDecoded<ZoomSettings> ZoomSettings::decode(const json& value) {
    ZoomSettings section;
    ObjectReader reader(value, "zoom");
    reader.read("level", section.level, Presence::required, levelRange);
    reader.read("lensShape", section.lensShape, Presence::required);
    reader.read("lensSizePoints", section.lensSizePoints, Presence::required, kRegionSizeRange);
    reader.read("panEasing", section.panEasing, Presence::optional, kUnitRange);
    return reader.finish(std::move(section));
}

SettingsDecoded<WhiteboardSettings> WhiteboardSettings::decode(const json& value) {
    WhiteboardSettings section;
    ObjectReader reader(value, "whiteboard");
    reader.read("boardColour", section.boardColour, Presence::required);
    return reader.finish(std::move(section));
}

SettingsDecoded<CaptureSettings> CaptureSettings::decode(const json& value) {
    CaptureSettings section;
    ObjectReader reader(value, "capture");
    reader.read("destinationFolder", section.destinationFolder, Presence::optional);
    reader.readCount("historyCount", section.historyCount, Presence::optional, historyCountRange);
    return reader.finish(std::move(section));
}

SettingsDecoded<KeystrokeDisplaySettings> KeystrokeDisplaySettings::decode(const json& value) {
    KeystrokeDisplaySettings section;
    ObjectReader reader(value, "keystrokeDisplay");
    reader.read("enabled", section.enabled, Presence::optional);
    reader.read("position", section.position, Presence::optional);
    reader.read("sizePoints", section.sizePoints, Presence::optional, kKeystrokeSizeRange);
    reader.section("fade", section.fade, Presence::required,
                   [](const json& fade) { return decodeAutoErase(fade, "keystrokeDisplay.fade"); });
    return reader.finish(std::move(section));
}

SettingsDecoded<SystemSettings> SystemSettings::decode(const json& value) {
    SystemSettings section;
    ObjectReader reader(value, "system");
    reader.read("launchAtLogin", section.launchAtLogin, Presence::optional);
    reader.read("checkForUpdates", section.checkForUpdates, Presence::optional);
    reader.read("onboardingCompleted", section.onboardingCompleted, Presence::optional);
    reader.read("shortcutOverrides", section.shortcutOverrides, Presence::optional);
    return reader.finish(std::move(section));
}

SettingsDecoded<Settings> Settings::decode(const json& value) {
    Settings settings;
    ObjectReader reader(value, "");
    std::int64_t version = 0;
    reader.read("schemaVersion", version, Presence::required);
    if (reader.ok() && version != supportedSchemaVersion) {
        reader.fail(SettingsError::UnsupportedSchemaVersion{version, supportedSchemaVersion});
    }
    settings.schemaVersion = supportedSchemaVersion;
    reader.section("annotation", settings.annotation, Presence::required,
                   &AnnotationSettings::decode);
    reader.section("cursorHighlight", settings.cursorHighlight, Presence::required,
                   &CursorHighlightSettings::decode);
    reader.section("spotlight", settings.spotlight, Presence::required, &SpotlightSettings::decode);
    reader.section("zoom", settings.zoom, Presence::required, &ZoomSettings::decode);
    reader.section("whiteboard", settings.whiteboard, Presence::required,
                   &WhiteboardSettings::decode);
    reader.section("capture", settings.capture, Presence::required, &CaptureSettings::decode);
    reader.section("keystrokeDisplay", settings.keystrokeDisplay, Presence::required,
                   &KeystrokeDisplaySettings::decode);
    reader.section("system", settings.system, Presence::required, &SystemSettings::decode);
    return reader.finish(std::move(settings));
}

SettingsDecoded<Settings> Settings::decode(std::string_view text) {
    json document;
    try {
        document = json::parse(text.begin(), text.end());
    } catch (const json::exception& error) {
        return std::unexpected(
            SettingsDecodeError{SettingsDecodeError::DecoderError{error.what()}});
    }
    return decode(document);
}

}  // namespace scrawlet::core
