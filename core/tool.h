// The tool set: a fixed table of what each tool is and does, with no state.
//
// Case order is the order of the control panel's buttons. The drawing path reads `shapeKind`,
// `cursor` and `blend`; `effect`, `drawsToday` and `unavailableReason` describe the set for
// whoever presents it.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "core/enum_traits.h"
#include "core/ink_blend.h"
#include "core/shape_kind.h"

namespace scrawlet::core {

enum class Tool { pen, line, arrow, rectangle, ellipse, highlighter, text, eraser, select };

enum class ToolEffect { ink, selection, none };

enum class ToolCursor { arrow, crosshair, iBeam };

template <>
struct EnumTraits<Tool> {
    static constexpr std::array<std::string_view, 9> names{
        "pen", "line", "arrow", "rectangle", "ellipse", "highlighter", "text", "eraser", "select"};
};

template <>
struct EnumTraits<ToolEffect> {
    static constexpr std::array<std::string_view, 3> names{"ink", "selection", "none"};
};

template <>
struct EnumTraits<ToolCursor> {
    static constexpr std::array<std::string_view, 3> names{"arrow", "crosshair", "iBeam"};
};

constexpr ToolEffect effect(Tool tool) {
    switch (tool) {
        case Tool::eraser:
            return ToolEffect::none;
        case Tool::select:
            return ToolEffect::selection;
        default:
            return ToolEffect::ink;
    }
}

constexpr ToolCursor cursor(Tool tool) {
    switch (tool) {
        case Tool::text:
            return ToolCursor::iBeam;
        case Tool::eraser:
        case Tool::select:
            return ToolCursor::arrow;
        default:
            return ToolCursor::crosshair;
    }
}

constexpr std::optional<ShapeKind> shapeKind(Tool tool) {
    switch (tool) {
        case Tool::line:
            return ShapeKind::line;
        case Tool::arrow:
            return ShapeKind::arrow;
        case Tool::rectangle:
            return ShapeKind::rectangle;
        case Tool::ellipse:
            return ShapeKind::ellipse;
        default:
            return std::nullopt;
    }
}

constexpr InkBlend blend(Tool tool) {
    return tool == Tool::highlighter ? InkBlend::maximum : InkBlend::normal;
}

constexpr bool drawsToday(Tool tool) {
    return tool != Tool::eraser && tool != Tool::select;
}

constexpr std::optional<std::string_view> unavailableReason(Tool tool) {
    if (tool == Tool::eraser) {
        return "AN-08 is P1, not in M1's P0 set";
    }
    return std::nullopt;
}

// An item picked by the select tool: a span of the stroke scene or an item of the text scene.
struct SelectionTarget {
    enum class Kind { stroke, text };
    Kind kind = Kind::stroke;
    int index = 0;

    static constexpr SelectionTarget stroke(int index) { return {Kind::stroke, index}; }
    static constexpr SelectionTarget text(int index) { return {Kind::text, index}; }
    bool operator==(const SelectionTarget&) const = default;
};

}  // namespace scrawlet::core
