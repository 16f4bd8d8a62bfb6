#include <nlohmann/json.hpp>
#include <string_view>

#include "core/settings.h"
#include "core/settings_field.h"

// Every field is written, optional ones included, so a written document states every value it
// stands for. Key order is left to the writer of the settings file.
namespace scrawlet::core {
namespace {

using nlohmann::json;
using settings_field_detail::MemberType;
using settings_field_detail::reach;

template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

json encodeValue(const SettingsField& field, const Settings& settings) {
    return std::visit(Overloaded{
                          [&](FieldChoice choice) { return json(field.choices()[choice.index]); },
                          [](const Colour& colour) { return json(colour.hexString()); },
                          [](const std::vector<Colour>& colours) {
                              json list = json::array();
                              for (const Colour& colour : colours) {
                                  list.push_back(colour.hexString());
                              }
                              return list;
                          },
                          [](const auto& value) { return json(value); },
                      },
                      field.value(settings));
}

// The fields that lie in `under`, as the object found there.
json encodeFields(const Settings& settings, std::string_view under) {
    json out = json::object();
    for (const SettingsField& field : settingsFields()) {
        if (!field.liesIn(under)) {
            continue;
        }
        json* at = &out;
        std::string_view rest = field.path.substr(under.empty() ? 0 : under.size() + 1);
        for (auto dot = rest.find('.'); dot != std::string_view::npos; dot = rest.find('.')) {
            at = &(*at)[rest.substr(0, dot)];
            rest.remove_prefix(dot + 1);
        }
        (*at)[rest] = encodeValue(field, settings);
    }
    return out;
}

template <auto... Section>
json encodeSection(const MemberType<Settings, Section...>& section, std::string_view path) {
    Settings settings;
    reach<Section...>(settings) = section;
    return encodeFields(settings, path);
}

}  // namespace

json StrokeWidthSettings::encode() const {
    return encodeSection<&Settings::annotation, &AnnotationSettings::strokeWidth>(
        *this, "annotation.strokeWidth");
}

json AutoEraseSettings::encode() const {
    return encodeSection<&Settings::annotation, &AnnotationSettings::autoErase>(
        *this, "annotation.autoErase");
}

json ToolOpacity::encode() const {
    return encodeSection<&Settings::annotation, &AnnotationSettings::toolOpacity>(
        *this, "annotation.toolOpacity");
}

json BeautifySettings::encode() const {
    return encodeSection<&Settings::annotation, &AnnotationSettings::beautify>(
        *this, "annotation.beautify");
}

json AnnotationSettings::encode() const {
    return encodeSection<&Settings::annotation>(*this, "annotation");
}

json CursorHighlightSettings::encode() const {
    return encodeSection<&Settings::cursorHighlight>(*this, "cursorHighlight");
}

json SpotlightSettings::encode() const {
    return encodeSection<&Settings::spotlight>(*this, "spotlight");
}

json ZoomSettings::encode() const {
    return encodeSection<&Settings::zoom>(*this, "zoom");
}

json WhiteboardSettings::encode() const {
    return encodeSection<&Settings::whiteboard>(*this, "whiteboard");
}

json CaptureSettings::encode() const {
    return encodeSection<&Settings::capture>(*this, "capture");
}

json KeystrokeDisplaySettings::encode() const {
    return encodeSection<&Settings::keystrokeDisplay>(*this, "keystrokeDisplay");
}

json SystemSettings::encode() const {
    return encodeSection<&Settings::system>(*this, "system");
}

json Settings::encode() const {
    json out = encodeFields(*this, "");
    out["schemaVersion"] = schemaVersion;
    return out;
}

}  // namespace scrawlet::core
