#include "app/settings/settings_labels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace scrawlet::settings {
namespace {

std::uint8_t channel(double component) {
    // NaN from a broken picker reads as 0 rather than as undefined behaviour in the cast.
    if (!(component == component)) {
        return 0;
    }
    return static_cast<std::uint8_t>(std::clamp(std::round(component * 255), 0.0, 255.0));
}

std::string truncated(double value) {
    if (!std::isfinite(value)) {
        return "0";
    }
    return std::to_string(static_cast<long long>(std::trunc(value)));
}

}  // namespace

core::Colour colourFromComponents(double red, double green, double blue, double alpha) {
    return {channel(red), channel(green), channel(blue), channel(alpha)};
}

core::Colour colourFromPicked(const QColor& picked) {
    const QColor rgb = picked.toRgb();
    return colourFromComponents(rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF());
}

QColor pickerColour(const core::Colour& colour) {
    return QColor::fromRgbF(colour.red / 255.0f, colour.green / 255.0f, colour.blue / 255.0f,
                            colour.alpha / 255.0f);
}

std::string integerLabel(std::string_view label, double value, std::string_view unit) {
    return std::string(label) + ": " + truncated(value) + std::string(unit);
}

std::string decimalLabel(std::string_view label, double value, int decimals,
                         std::string_view unit) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", decimals, std::isfinite(value) ? value : 0.0);
    return std::string(label) + ": " + digits + std::string(unit);
}

std::string presetLabel(std::size_t index, double widthPoints) {
    return integerLabel("Stroke width preset " + std::to_string(index + 1), widthPoints, "pt");
}

}  // namespace scrawlet::settings
