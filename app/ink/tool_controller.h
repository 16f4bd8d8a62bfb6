// Where every user action becomes an effect: tool, palette, width and auto-erase changes are
// made here; everything else goes to the callback the draw-mode controller installs. Each
// dispatch returns an Outcome worded for a hint. Main thread only.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "core/action_id.h"
#include "core/auto_erase.h"
#include "core/settings.h"
#include "core/stroke_style.h"
#include "core/tool.h"

namespace scrawlet::ink {

class ToolController {
  public:
    enum class Edit { undo, redo, clearAll, deleteSelection };
    enum class ModeToggle { annotation, interactive };

    struct Outcome {
        enum class Kind {
            changedTool,
            changedPalette,
            changedWidth,
            changedAutoErase,
            notImplemented,
            needsPermission,
            nothingToDo,
            handled
        };
        Kind kind = Kind::handled;
        std::variant<std::monostate, core::Tool, int, core::AutoEraseMode, std::string> value;

        static Outcome changedTool(core::Tool tool) { return {Kind::changedTool, tool}; }
        static Outcome changedPalette(int index) { return {Kind::changedPalette, index}; }
        static Outcome changedWidth(int index) { return {Kind::changedWidth, index}; }
        static Outcome changedAutoErase(core::AutoEraseMode mode) {
            return {Kind::changedAutoErase, mode};
        }
        static Outcome notImplemented(std::string text) {
            return {Kind::notImplemented, std::move(text)};
        }
        static Outcome needsPermission(std::string text) {
            return {Kind::needsPermission, std::move(text)};
        }
        static Outcome nothingToDo(std::string text) {
            return {Kind::nothingToDo, std::move(text)};
        }
        static Outcome handled() { return {Kind::handled, std::monostate{}}; }

        // The words of notImplemented, needsPermission and nothingToDo; empty otherwise.
        std::string text() const;
        bool operator==(const Outcome&) const = default;
    };

    using OutcomeCallback = std::function<Outcome()>;

    explicit ToolController(core::AnnotationSettings settings);

    Outcome dispatch(core::ActionID action);
    // Settings changed elsewhere (the settings window).
    void applyExternal(const core::AnnotationSettings& settings);

    core::Tool tool() const { return tool_; }
    const core::AnnotationSettings& settings() const { return settings_; }

    // Asked before anything else; a text means the action is refused.
    std::function<std::optional<std::string>(core::ActionID)> permissionCheck;

    std::function<void(core::Tool)> onToolChange;
    std::function<bool(Edit)> onEdit;
    std::function<bool(ModeToggle)> onModeToggle;
    std::function<bool()> onPanelToggle;
    OutcomeCallback onLensToggle;
    OutcomeCallback onFullScreenZoomToggle;
    OutcomeCallback onZoomIncreaseLevel;
    OutcomeCallback onZoomDecreaseLevel;
    OutcomeCallback onSpotlightToggle;
    OutcomeCallback onCursorHighlightToggle;
    OutcomeCallback onKeystrokeDisplayToggle;
    OutcomeCallback onScreenshot;
    OutcomeCallback onRegionCaptureToggle;
    OutcomeCallback onShowSettings;
    std::function<void()> onQuit;
    std::function<void(const core::AnnotationSettings&)> onSettingsChange;
    std::function<void(const core::StrokeStyle&)> onStyleChange;
    std::function<void(std::optional<double>)> onAutoEraseChange;

  private:
    Outcome selectTool(core::ActionID action);
    void styleAndSettingsChanged();
    core::StrokeStyle currentStyle() const;

    core::Tool tool_ = core::Tool::pen;
    core::AnnotationSettings settings_;
};

}  // namespace scrawlet::ink
