#include "core/settings_field.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace scrawlet::core {
namespace {

using settings_field_detail::MemberType;
using settings_field_detail::reach;

constexpr auto required = FieldPresence::required;
constexpr auto optional = FieldPresence::optional;

template <FieldKind K, auto... Members>
constexpr FieldSlot<MemberType<Settings, Members...>, K> slot() {
    using T = MemberType<Settings, Members...>;
    return {[](const Settings& s) -> const T& { return reach<Members...>(s); },
            [](Settings& s) -> T& { return reach<Members...>(s); }};
}

template <auto... M>
constexpr SettingsField flag(std::string_view path, FieldPresence presence) {
    return {.path = path, .presence = presence, .access = slot<FieldKind::flag, M...>()};
}

template <auto... M>
constexpr SettingsField number(std::string_view path, FieldPresence presence,
                               std::optional<ClosedRange<double>> range) {
    return {.path = path,
            .presence = presence,
            .access = slot<FieldKind::number, M...>(),
            .range = range};
}

template <auto... M>
constexpr SettingsField integer(std::string_view path, FieldPresence presence,
                                ClosedRange<int> range) {
    return {.path = path,
            .presence = presence,
            .access = slot<FieldKind::integer, M...>(),
            .range = ClosedRange<double>{static_cast<double>(range.lowerBound),
                                         static_cast<double>(range.upperBound)}};
}

template <auto... M>
constexpr SettingsField position(std::string_view path, FieldPresence presence,
                                 std::string_view list) {
    return {.path = path,
            .presence = presence,
            .access = slot<FieldKind::index, M...>(),
            .indexes = list};
}

template <auto... M>
constexpr SettingsField choice(std::string_view path, FieldPresence presence) {
    using E = MemberType<Settings, M...>;
    return {.path = path,
            .presence = presence,
            .access = ChoiceSlot{
                [](const Settings& s) { return static_cast<std::size_t>(reach<M...>(s)); },
                [](Settings& s, std::size_t index) { reach<M...>(s) = static_cast<E>(index); },
                EnumTraits<E>::names}};
}

template <auto... M>
constexpr SettingsField colour(std::string_view path, FieldPresence presence) {
    return {.path = path, .presence = presence, .access = slot<FieldKind::colour, M...>()};
}

template <auto... M>
constexpr SettingsField text(std::string_view path, FieldPresence presence) {
    return {.path = path, .presence = presence, .access = slot<FieldKind::text, M...>()};
}

template <auto... M>
constexpr SettingsField colours(std::string_view path, FieldPresence presence, EntryCount entries) {
    return {.path = path,
            .presence = presence,
            .access = slot<FieldKind::colourList, M...>(),
            .entries = entries};
}

template <auto... M>
constexpr SettingsField numbers(std::string_view path, FieldPresence presence, EntryCount entries,
                                ClosedRange<double> range) {
    return {.path = path,
            .presence = presence,
            .access = slot<FieldKind::numberList, M...>(),
            .range = range,
            .entries = entries};
}

template <auto... M>
constexpr SettingsField textMap(std::string_view path, FieldPresence presence) {
    return {.path = path, .presence = presence, .access = slot<FieldKind::textMap, M...>()};
}

constexpr ClosedRange<double> kUnitRange{0, 1};
constexpr ClosedRange<double> kPresetWidthRange{0.001, 200};
constexpr ClosedRange<double> kCustomSecondsRange{0.25, 120};
constexpr ClosedRange<double> kCursorSizeRange{0.001, 400};
constexpr ClosedRange<double> kBorderWidthRange{0, 40};
constexpr ClosedRange<double> kRegionSizeRange{0.001, 4000};
constexpr ClosedRange<double> kKeystrokeSizeRange{0.001, 120};

using S = Settings;
using Annotation = AnnotationSettings;
using Width = StrokeWidthSettings;
using Fade = AutoEraseSettings;
using Opacity = ToolOpacity;
using Beautify = BeautifySettings;
using Highlight = CursorHighlightSettings;
using Spotlight = SpotlightSettings;
using Zoom = ZoomSettings;
using Board = WhiteboardSettings;
using Capture = CaptureSettings;
using Keys = KeystrokeDisplaySettings;
using System = SystemSettings;

constexpr SettingsSection kSections[] = {
    {"annotation", required},
    {"annotation.strokeWidth", required},
    {"annotation.autoErase", required},
    {"annotation.toolOpacity", optional},
    {"annotation.beautify", optional},
    {"cursorHighlight", required},
    {"spotlight", required},
    {"zoom", required},
    {"whiteboard", required},
    {"capture", required},
    {"keystrokeDisplay", required},
    // Read as the annotation's auto-erase settings, and reported under their name.
    {"keystrokeDisplay.fade", required, "annotation.autoErase"},
    {"system", required},
};

constexpr SettingsField kFields[] = {
    colours<&S::annotation, &Annotation::palette>("annotation.palette", required,
                                                  {Annotation::paletteSize, true}),
    position<&S::annotation, &Annotation::selectedPaletteIndex>("annotation.selectedPaletteIndex",
                                                                optional, "annotation.palette"),
    numbers<&S::annotation, &Annotation::strokeWidth, &Width::presetsPoints>(
        "annotation.strokeWidth.presetsPoints", required, {Width::minimumPresetCount, false},
        kPresetWidthRange),
    position<&S::annotation, &Annotation::strokeWidth, &Width::selectedIndex>(
        "annotation.strokeWidth.selectedIndex", required, "annotation.strokeWidth.presetsPoints"),
    flag<&S::annotation, &Annotation::strokeWidth, &Width::pressureModulation>(
        "annotation.strokeWidth.pressureModulation", optional),
    choice<&S::annotation, &Annotation::autoErase, &Fade::mode>("annotation.autoErase.mode",
                                                                required),
    // Checked whatever the mode, so switching to custom later never meets a bad value.
    number<&S::annotation, &Annotation::autoErase, &Fade::customSeconds>(
        "annotation.autoErase.customSeconds", optional, kCustomSecondsRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::pen>("annotation.toolOpacity.pen",
                                                                    optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::line>("annotation.toolOpacity.line",
                                                                     optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::arrow>(
        "annotation.toolOpacity.arrow", optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::rectangle>(
        "annotation.toolOpacity.rectangle", optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::ellipse>(
        "annotation.toolOpacity.ellipse", optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::highlighter>(
        "annotation.toolOpacity.highlighter", optional, kUnitRange),
    number<&S::annotation, &Annotation::toolOpacity, &Opacity::text>("annotation.toolOpacity.text",
                                                                     optional, kUnitRange),
    flag<&S::annotation, &Annotation::beautify, &Beautify::enabled>("annotation.beautify.enabled",
                                                                    optional),
    number<&S::annotation, &Annotation::beautify, &Beautify::toleranceFraction>(
        "annotation.beautify.toleranceFraction", optional, std::nullopt),

    flag<&S::cursorHighlight, &Highlight::enabled>("cursorHighlight.enabled", required),
    choice<&S::cursorHighlight, &Highlight::shape>("cursorHighlight.shape", required),
    colour<&S::cursorHighlight, &Highlight::colour>("cursorHighlight.colour", required),
    number<&S::cursorHighlight, &Highlight::sizePoints>("cursorHighlight.sizePoints", required,
                                                        kCursorSizeRange),
    number<&S::cursorHighlight, &Highlight::opacity>("cursorHighlight.opacity", optional,
                                                     kUnitRange),
    number<&S::cursorHighlight, &Highlight::borderWidthPoints>("cursorHighlight.borderWidthPoints",
                                                               optional, kBorderWidthRange),
    flag<&S::cursorHighlight, &Highlight::clickRipple>("cursorHighlight.clickRipple", optional),

    choice<&S::spotlight, &Spotlight::shape>("spotlight.shape", required),
    number<&S::spotlight, &Spotlight::sizePoints>("spotlight.sizePoints", required,
                                                  kRegionSizeRange),
    number<&S::spotlight, &Spotlight::dimOpacity>("spotlight.dimOpacity", required, kUnitRange),
    flag<&S::spotlight, &Spotlight::dimAllDisplays>("spotlight.dimAllDisplays", optional),

    number<&S::zoom, &Zoom::level>("zoom.level", required, Zoom::levelRange),
    choice<&S::zoom, &Zoom::lensShape>("zoom.lensShape", required),
    number<&S::zoom, &Zoom::lensSizePoints>("zoom.lensSizePoints", required, kRegionSizeRange),
    number<&S::zoom, &Zoom::panEasing>("zoom.panEasing", optional, kUnitRange),

    colour<&S::whiteboard, &Board::boardColour>("whiteboard.boardColour", required),

    text<&S::capture, &Capture::destinationFolder>("capture.destinationFolder", optional),
    integer<&S::capture, &Capture::historyCount>("capture.historyCount", optional,
                                                 Capture::historyCountRange),

    flag<&S::keystrokeDisplay, &Keys::enabled>("keystrokeDisplay.enabled", optional),
    choice<&S::keystrokeDisplay, &Keys::position>("keystrokeDisplay.position", optional),
    number<&S::keystrokeDisplay, &Keys::sizePoints>("keystrokeDisplay.sizePoints", optional,
                                                    kKeystrokeSizeRange),
    choice<&S::keystrokeDisplay, &Keys::fade, &Fade::mode>("keystrokeDisplay.fade.mode", required),
    number<&S::keystrokeDisplay, &Keys::fade, &Fade::customSeconds>(
        "keystrokeDisplay.fade.customSeconds", optional, kCustomSecondsRange),

    flag<&S::system, &System::launchAtLogin>("system.launchAtLogin", optional),
    flag<&S::system, &System::checkForUpdates>("system.checkForUpdates", optional),
    flag<&S::system, &System::onboardingCompleted>("system.onboardingCompleted", optional),
    // Neither side is interpreted here.
    textMap<&S::system, &System::shortcutOverrides>("system.shortcutOverrides", optional),
};

// The FieldValue alternative of each kind, in FieldKind order.
constexpr std::array<std::size_t, caseCount<FieldKind>()> kValueAlternative{0, 1, 2, 2, 3,
                                                                            4, 5, 6, 7, 8};

}  // namespace

std::string_view SettingsField::key() const {
    const auto dot = path.rfind('.');
    return dot == std::string_view::npos ? path : path.substr(dot + 1);
}

std::string_view SettingsField::sectionPath() const {
    const auto dot = path.rfind('.');
    return dot == std::string_view::npos ? std::string_view() : path.substr(0, dot);
}

bool SettingsField::liesIn(std::string_view section) const {
    return section.empty() || (path.size() > section.size() && path.starts_with(section) &&
                               path[section.size()] == '.');
}

std::span<const std::string_view> SettingsField::choices() const {
    const auto* choice = std::get_if<ChoiceSlot>(&access);
    return choice ? choice->names : std::span<const std::string_view>();
}

std::size_t SettingsField::entryCount(const Settings& settings) const {
    return std::visit(
        [&]<class Slot>(const Slot& slot) -> std::size_t {
            if constexpr (std::is_same_v<Slot,
                                         FieldSlot<std::vector<Colour>, FieldKind::colourList>> ||
                          std::is_same_v<Slot,
                                         FieldSlot<std::vector<double>, FieldKind::numberList>>) {
                return slot.read(settings).size();
            } else {
                return 0;
            }
        },
        access);
}

FieldValue SettingsField::value(const Settings& settings) const {
    return std::visit(
        [&]<class Slot>(const Slot& slot) -> FieldValue {
            if constexpr (std::is_same_v<Slot, ChoiceSlot>) {
                return FieldChoice{slot.read(settings)};
            } else if constexpr (std::is_same_v<decltype(slot.read(settings)), const int&>) {
                return static_cast<std::int64_t>(slot.read(settings));
            } else {
                return slot.read(settings);
            }
        },
        access);
}

FieldValue SettingsField::defaultValue() const {
    static const Settings defaults;
    return value(defaults);
}

std::optional<FieldValue> SettingsField::clamped(FieldValue value) const {
    if (value.index() != kValueAlternative[static_cast<std::size_t>(kind())]) {
        return std::nullopt;
    }
    const auto bring = [this](double& number) {
        if (!std::isfinite(number)) {
            return false;
        }
        if (range) {
            number = std::clamp(number, range->lowerBound, range->upperBound);
        }
        return true;
    };
    switch (kind()) {
        case FieldKind::number:
            if (!bring(std::get<double>(value))) {
                return std::nullopt;
            }
            break;
        case FieldKind::integer: {
            // Integers are stored as int: bounded by its range even where the field has none.
            std::int64_t lowest = std::numeric_limits<int>::min();
            std::int64_t highest = std::numeric_limits<int>::max();
            if (range) {
                lowest = std::max(lowest, static_cast<std::int64_t>(std::ceil(range->lowerBound)));
                highest =
                    std::min(highest, static_cast<std::int64_t>(std::floor(range->upperBound)));
            }
            auto& integer = std::get<std::int64_t>(value);
            integer = std::clamp(integer, lowest, highest);
            break;
        }
        case FieldKind::choice:
            if (std::get<FieldChoice>(value).index >= choices().size()) {
                return std::nullopt;
            }
            break;
        case FieldKind::colourList:
            if (entries && !entries->allows(std::get<std::vector<Colour>>(value).size())) {
                return std::nullopt;
            }
            break;
        case FieldKind::numberList: {
            auto& list = std::get<std::vector<double>>(value);
            if (entries && !entries->allows(list.size())) {
                return std::nullopt;
            }
            if (!std::ranges::all_of(list, bring)) {
                return std::nullopt;
            }
            break;
        }
        default:
            break;
    }
    return value;
}

bool SettingsField::assign(Settings& settings, const FieldValue& value) const {
    auto taken = clamped(value);
    if (!taken) {
        return false;
    }
    bool stored = true;
    std::visit(
        [&]<class Slot>(const Slot& slot) {
            if constexpr (std::is_same_v<Slot, ChoiceSlot>) {
                slot.write(settings, std::get<FieldChoice>(*taken).index);
            } else if constexpr (std::is_same_v<Slot, FieldSlot<int, FieldKind::index>>) {
                const SettingsField* list = findSettingsField(indexes);
                const auto count = static_cast<std::int64_t>(list ? list->entryCount(settings) : 0);
                stored = count > 0;
                if (stored) {
                    slot.write(settings) = static_cast<int>(
                        std::clamp<std::int64_t>(std::get<std::int64_t>(*taken), 0, count - 1));
                }
            } else if constexpr (std::is_same_v<Slot, FieldSlot<int, FieldKind::integer>>) {
                slot.write(settings) = static_cast<int>(std::get<std::int64_t>(*taken));
            } else {
                using T = std::remove_cvref_t<decltype(slot.write(settings))>;
                slot.write(settings) = std::get<T>(std::move(*taken));
            }
        },
        access);
    if (stored) {
        for (const SettingsField& field : settingsFields()) {
            if (field.kind() == FieldKind::index && field.indexes == path) {
                field.assign(settings, field.value(settings));
            }
        }
    }
    return stored;
}

std::span<const SettingsField> settingsFields() {
    return kFields;
}

std::span<const SettingsSection> settingsSections() {
    return kSections;
}

const SettingsField* findSettingsField(std::string_view path) {
    const auto found = std::ranges::find(kFields, path, &SettingsField::path);
    return found == std::end(kFields) ? nullptr : &*found;
}

const SettingsSection* findSettingsSection(std::string_view path) {
    const auto found = std::ranges::find(kSections, path, &SettingsSection::path);
    return found == std::end(kSections) ? nullptr : &*found;
}

}  // namespace scrawlet::core
