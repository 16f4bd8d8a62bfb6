// How a stroke or text is drawn: colour, full width, opacity and blend.
#pragma once

#include "core/colour.h"
#include "core/ink_blend.h"
#include "core/tool.h"

namespace scrawlet::core {

struct AnnotationSettings;

struct StrokeStyle {
    Colour colour;
    double widthContentUnits = 0;  // full width: a 4-wide line reaches 2 each side
    double opacity = 1.0;          // multiplied into the colour's alpha when drawn
    InkBlend blend = InkBlend::normal;

    // Font size of a text drawn with this style.
    double textFontSizePoints() const { return widthContentUnits * 6.0; }

    // The style a tool draws with under the current settings. The palette and the width presets
    // must not be empty (settings validation guarantees it).
    static StrokeStyle style(Tool tool, const AnnotationSettings& settings);

    // What tombstones carry: transparent, zero width.
    static constexpr StrokeStyle empty() { return {Colour{0, 0, 0, 0}, 0, 1.0, InkBlend::normal}; }

    bool operator==(const StrokeStyle&) const = default;
};

}  // namespace scrawlet::core

template <>
struct std::hash<scrawlet::core::StrokeStyle> {
    std::size_t operator()(const scrawlet::core::StrokeStyle& s) const noexcept {
        return scrawlet::core::hashFields(s.colour, s.widthContentUnits, s.opacity,
                                          static_cast<int>(s.blend));
    }
};
