#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <expected>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>

#include "core/settings.h"
#include "core/settings_field.h"

namespace scrawlet::core {
namespace {

using nlohmann::json;

using Failure = std::optional<SettingsDecodeError>;
using settings_field_detail::MemberType;
using settings_field_detail::reach;
using ColourListSlot = FieldSlot<std::vector<Colour>, FieldKind::colourList>;
using NumberListSlot = FieldSlot<std::vector<double>, FieldKind::numberList>;

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

// A choice is written as its case name, exactly.
Failure convertChoice(const json& value, std::span<const std::string_view> names, std::size_t& out,
                      const Location& at) {
    if (!value.is_string()) {
        return typeMismatch(at.text(), "string", value);
    }
    const auto found = std::ranges::find(names, value.get_ref<const json::string_t&>());
    if (found != names.end()) {
        out = static_cast<std::size_t>(found - names.begin());
        return std::nullopt;
    }
    std::string message = join({"unknown case name ", quoted(value), ", expected one of "});
    for (std::size_t i = 0; i < names.size(); ++i) {
        message += i == 0 ? "" : ", ";
        message += names[i];
    }
    return decoderError(at.text(), std::move(message));
}

template <class Case>
SettingsDecodeError settingsFailure(Case error) {
    return SettingsDecodeError{SettingsError{std::move(error)}};
}

// The name SettingsErrors give the field, built only when one is reported.
std::string errorName(const SettingsField& field) {
    const SettingsSection* section = findSettingsSection(field.sectionPath());
    const std::string_view parent =
        section && !section->errorPath.empty() ? section->errorPath : field.sectionPath();
    return Location{parent, field.key(), std::nullopt}.text();
}

Failure checkRange(const SettingsField& field, double value) {
    if (!field.range || field.range->contains(value)) {
        return std::nullopt;
    }
    return settingsFailure(SettingsError::OutOfRange{
        errorName(field), value, field.range->lowerBound, field.range->upperBound});
}

Failure checkCount(const SettingsField& field, std::size_t found) {
    if (!field.entries || field.entries->allows(found)) {
        return std::nullopt;
    }
    return settingsFailure(SettingsError::WrongCount{errorName(field),
                                                     static_cast<long long>(field.entries->count),
                                                     static_cast<long long>(found)});
}

// Reads one field from the object of its section; `settings` holds every field read before it,
// which is what an index is checked against. An absent optional key leaves the default.
Failure readField(const json& object, const SettingsField& field, Settings& settings) {
    const auto found = object.find(field.key());
    if (found == object.end()) {
        if (field.presence == FieldPresence::required) {
            return decoderError(std::string(field.sectionPath()),
                                join({"key '", field.key(), "' not found"}));
        }
        return std::nullopt;
    }
    const json& value = *found;
    const Location at{field.sectionPath(), field.key(), std::nullopt};
    return std::visit(
        [&]<class Slot>(const Slot& slot) -> Failure {
            if constexpr (std::is_same_v<Slot, ChoiceSlot>) {
                std::size_t index = 0;
                Failure failure = convertChoice(value, slot.names, index, at);
                if (!failure) {
                    slot.write(settings, index);
                }
                return failure;
            } else if constexpr (std::is_same_v<Slot, FieldSlot<int, FieldKind::index>>) {
                // Held wide until checked, so that the error carries the value the file says.
                std::int64_t index = 0;
                if (auto failure = convert(value, index, at)) {
                    return failure;
                }
                const auto count = findSettingsField(field.indexes)->entryCount(settings);
                if (index < 0 || static_cast<std::uint64_t>(index) >= count) {
                    return settingsFailure(SettingsError::IndexOutOfBounds{
                        errorName(field), index, static_cast<long long>(count)});
                }
                slot.write(settings) = static_cast<int>(index);
                return std::nullopt;
            } else if constexpr (std::is_same_v<Slot, FieldSlot<int, FieldKind::integer>>) {
                std::int64_t integer = 0;
                Failure failure = convert(value, integer, at);
                if (!failure) {
                    failure = checkRange(field, static_cast<double>(integer));
                }
                if (!failure) {
                    slot.write(settings) = static_cast<int>(integer);
                }
                return failure;
            } else {
                auto& out = slot.write(settings);
                if (auto failure = convert(value, out, at)) {
                    return failure;
                }
                if constexpr (std::is_same_v<Slot, FieldSlot<double, FieldKind::number>>) {
                    return checkRange(field, out);
                }
                Failure failure;
                if constexpr (std::is_same_v<Slot, ColourListSlot> ||
                              std::is_same_v<Slot, NumberListSlot>) {
                    failure = checkCount(field, out.size());
                }
                if constexpr (std::is_same_v<Slot, NumberListSlot>) {
                    for (auto entry = out.begin(); !failure && entry != out.end(); ++entry) {
                        failure = checkRange(field, *entry);
                    }
                }
                return failure;
            }
        },
        field.access);
}

// The object of `section` inside `object`, which is the one at `under`; null when the section,
// or one that holds it, is optional and absent.
std::expected<const json*, SettingsDecodeError> openSection(const json& object,
                                                            std::string_view under,
                                                            std::string_view section) {
    const json* at = &object;
    std::size_t open = under.size();
    while (open < section.size()) {
        const std::size_t start = open == 0 ? 0 : open + 1;
        const std::size_t stop = std::min(section.find('.', start), section.size());
        const std::string_view key = section.substr(start, stop - start);
        const std::string_view path = section.substr(0, stop);
        const auto found = at->find(key);
        if (found == at->end()) {
            const SettingsSection* known = findSettingsSection(path);
            if (known && known->presence == FieldPresence::optional) {
                return nullptr;
            }
            return std::unexpected(decoderError(std::string(section.substr(0, open)),
                                                join({"key '", key, "' not found"})));
        }
        if (!found->is_object()) {
            return std::unexpected(typeMismatch(std::string(path), "object", *found));
        }
        at = &*found;
        open = stop;
    }
    return at;
}

// Reads the fields that lie in `under` from `object`, the JSON found there, in table order; the
// first failure is the one reported.
Failure readFields(const json& object, std::string_view under, Settings& settings) {
    if (!object.is_object()) {
        return typeMismatch(std::string(under), "object", object);
    }
    std::string_view openPath = under;
    const json* open = &object;
    for (const SettingsField& field : settingsFields()) {
        if (!field.liesIn(under)) {
            continue;
        }
        if (field.sectionPath() != openPath) {
            openPath = field.sectionPath();
            auto opened = openSection(object, under, openPath);
            if (!opened) {
                return std::move(opened).error();
            }
            open = *opened;
        }
        if (open) {
            if (auto failure = readField(*open, field, settings)) {
                return failure;
            }
        }
    }
    return std::nullopt;
}

// One section read on its own, at the place the document gives it.
template <auto... Section>
SettingsDecoded<MemberType<Settings, Section...>> decodeSection(const json& value,
                                                                std::string_view path) {
    assert(findSettingsSection(path) && "a section of the table");
    Settings settings;
    if (auto failure = readFields(value, path, settings)) {
        return std::unexpected(std::move(*failure));
    }
    return std::move(reach<Section...>(settings));
}

}  // namespace

SettingsDecoded<StrokeWidthSettings> StrokeWidthSettings::decode(const json& value) {
    return decodeSection<&Settings::annotation, &AnnotationSettings::strokeWidth>(
        value, "annotation.strokeWidth");
}

// Range errors name "annotation.autoErase.customSeconds" wherever the section sits.
SettingsDecoded<AutoEraseSettings> AutoEraseSettings::decode(const json& value) {
    return decodeSection<&Settings::annotation, &AnnotationSettings::autoErase>(
        value, "annotation.autoErase");
}

SettingsDecoded<ToolOpacity> ToolOpacity::decode(const json& value) {
    return decodeSection<&Settings::annotation, &AnnotationSettings::toolOpacity>(
        value, "annotation.toolOpacity");
}

SettingsDecoded<BeautifySettings> BeautifySettings::decode(const json& value) {
    return decodeSection<&Settings::annotation, &AnnotationSettings::beautify>(
        value, "annotation.beautify");
}

SettingsDecoded<AnnotationSettings> AnnotationSettings::decode(const json& value) {
    return decodeSection<&Settings::annotation>(value, "annotation");
}

SettingsDecoded<CursorHighlightSettings> CursorHighlightSettings::decode(const json& value) {
    return decodeSection<&Settings::cursorHighlight>(value, "cursorHighlight");
}

SettingsDecoded<SpotlightSettings> SpotlightSettings::decode(const json& value) {
    return decodeSection<&Settings::spotlight>(value, "spotlight");
}

SettingsDecoded<ZoomSettings> ZoomSettings::decode(const json& value) {
    return decodeSection<&Settings::zoom>(value, "zoom");
}

SettingsDecoded<WhiteboardSettings> WhiteboardSettings::decode(const json& value) {
    return decodeSection<&Settings::whiteboard>(value, "whiteboard");
}

SettingsDecoded<CaptureSettings> CaptureSettings::decode(const json& value) {
    return decodeSection<&Settings::capture>(value, "capture");
}

SettingsDecoded<KeystrokeDisplaySettings> KeystrokeDisplaySettings::decode(const json& value) {
    return decodeSection<&Settings::keystrokeDisplay>(value, "keystrokeDisplay");
}

SettingsDecoded<SystemSettings> SystemSettings::decode(const json& value) {
    return decodeSection<&Settings::system>(value, "system");
}

SettingsDecoded<Settings> Settings::decode(const json& value) {
    if (!value.is_object()) {
        return std::unexpected(typeMismatch("", "object", value));
    }
    // Read before anything else, so that a document of another version fails as such.
    std::int64_t version = 0;
    Failure failure;
    if (const auto found = value.find("schemaVersion"); found == value.end()) {
        failure = decoderError("", "key 'schemaVersion' not found");
    } else {
        failure = convert(*found, version, Location{"", "schemaVersion", std::nullopt});
    }
    if (!failure && version != supportedSchemaVersion) {
        failure = settingsFailure(
            SettingsError::UnsupportedSchemaVersion{version, supportedSchemaVersion});
    }
    Settings settings;
    if (!failure) {
        failure = readFields(value, "", settings);
    }
    if (failure) {
        return std::unexpected(std::move(*failure));
    }
    return settings;
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
