#include "core/stroke_style.h"

#include <algorithm>
#include <cassert>

#include "core/settings.h"

namespace scrawlet::core {

StrokeStyle StrokeStyle::style(Tool tool, const AnnotationSettings& settings) {
    const auto& palette = settings.palette;
    const auto& presets = settings.strokeWidth.presetsPoints;
    assert(!palette.empty() && !presets.empty());
    const auto clampIndex = [](int index, std::size_t count) {
        return static_cast<std::size_t>(std::min(static_cast<int>(count) - 1, std::max(index, 0)));
    };
    return StrokeStyle{
        palette[clampIndex(settings.selectedPaletteIndex, palette.size())],
        presets[clampIndex(settings.strokeWidth.selectedIndex, presets.size())],
        settings.toolOpacity.value(tool),
        core::blend(tool),
    };
}

}  // namespace scrawlet::core
