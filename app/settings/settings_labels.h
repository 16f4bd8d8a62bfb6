// The texts and value conversions of the settings window that can be checked without a display:
// the labels that carry their value ("Size: 48pt") and the colour pickers' conversion to and
// from the document's 8-bit colours.
#pragma once

#include <QColor>
#include <string>
#include <string_view>

#include "core/colour.h"

namespace scrawlet::settings {

// Each component times 255, rounded half away from zero, clamped to 0…255.
core::Colour colourFromComponents(double red, double green, double blue, double alpha);
// A picked colour read as sRGB.
core::Colour colourFromPicked(const QColor& picked);
QColor pickerColour(const core::Colour& colour);

// `label` + ": " + the value truncated toward zero + `unit`: "Size: 48pt".
std::string integerLabel(std::string_view label, double value, std::string_view unit = "");
// `label` + ": " + the value with `decimals` decimals + `unit`: "Pen opacity: 0.40".
std::string decimalLabel(std::string_view label, double value, int decimals,
                         std::string_view unit = "");
// "Stroke width preset 2: 4pt"; `index` counts from zero.
std::string presetLabel(std::size_t index, double widthPoints);

}  // namespace scrawlet::settings
