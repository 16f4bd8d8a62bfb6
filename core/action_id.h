// The fixed identifiers of every user action a shortcut, button, menu or script can reach.
//
// The raw values ("tool.pen", "edit.undo", ...) are what the action catalogue, the settings'
// shortcut overrides, scripted actions and the event log spell; a case is found from text only
// by an exact, case-sensitive match (`fromRawValue<ActionID>`). Case order is fixed: the tool
// and palette actions derive their tool and palette index from their position.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "core/enum_traits.h"
#include "core/tool.h"

namespace scrawlet::core {

enum class ActionID {
    overlayToggleAnnotation,
    overlayToggleInteractive,
    panelToggle,
    whiteboardToggle,
    cursorHighlightToggle,
    spotlightToggle,
    keystrokeDisplayToggle,
    zoomToggleLens,
    zoomToggleFullScreen,
    zoomIncreaseLevel,
    zoomDecreaseLevel,
    captureScreenshot,
    captureRegion,
    appShowSettings,
    appQuit,
    toolPen,
    toolLine,
    toolArrow,
    toolRectangle,
    toolEllipse,
    toolHighlighter,
    toolText,
    toolEraser,
    toolSelect,
    editUndo,
    editRedo,
    editDeleteSelection,
    editClearAll,
    strokeIncreaseWidth,
    strokeDecreaseWidth,
    annotationCycleAutoErase,
    paletteSelect1,
    paletteSelect2,
    paletteSelect3,
    paletteSelect4,
    paletteSelect5,
};

template <>
struct EnumTraits<ActionID> {
    static constexpr std::array<std::string_view, 36> names{
        "overlay.toggleAnnotation",
        "overlay.toggleInteractive",
        "panel.toggle",
        "whiteboard.toggle",
        "cursorHighlight.toggle",
        "spotlight.toggle",
        "keystrokeDisplay.toggle",
        "zoom.toggleLens",
        "zoom.toggleFullScreen",
        "zoom.increaseLevel",
        "zoom.decreaseLevel",
        "capture.screenshot",
        "capture.region",
        "app.showSettings",
        "app.quit",
        "tool.pen",
        "tool.line",
        "tool.arrow",
        "tool.rectangle",
        "tool.ellipse",
        "tool.highlighter",
        "tool.text",
        "tool.eraser",
        "tool.select",
        "edit.undo",
        "edit.redo",
        "edit.deleteSelection",
        "edit.clearAll",
        "stroke.increaseWidth",
        "stroke.decreaseWidth",
        "annotation.cycleAutoErase",
        "palette.select1",
        "palette.select2",
        "palette.select3",
        "palette.select4",
        "palette.select5",
    };
};

// The tool a tool action picks; none for every other action.
constexpr std::optional<Tool> selectedTool(ActionID id) {
    const int offset = static_cast<int>(id) - static_cast<int>(ActionID::toolPen);
    if (offset < 0 || offset >= static_cast<int>(caseCount<Tool>())) {
        return std::nullopt;
    }
    return allCases<Tool>()[static_cast<std::size_t>(offset)];
}

// The first action that picks `tool`: the inverse of selectedTool.
constexpr std::optional<ActionID> actionSelecting(Tool tool) {
    for (const ActionID id : allCases<ActionID>()) {
        if (selectedTool(id) == tool) {
            return id;
        }
    }
    return std::nullopt;
}

// 0 to 4 for the palette actions; none for every other action.
constexpr std::optional<int> paletteIndex(ActionID id) {
    const int offset = static_cast<int>(id) - static_cast<int>(ActionID::paletteSelect1);
    if (offset < 0 || id > ActionID::paletteSelect5) {
        return std::nullopt;
    }
    return offset;
}

}  // namespace scrawlet::core
