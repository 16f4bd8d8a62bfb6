// One table from every user action to the feature that carries it out. Shortcuts, control
// panels, the tray menu, the typing scope and scripted actions all dispatch here; a feature
// registers the actions it owns, and an action nobody owns answers with the words a hint
// shows for it. Each dispatch returns an Outcome worded for a hint. Main thread only.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "core/action_id.h"
#include "core/auto_erase.h"
#include "core/tool.h"

namespace scrawlet::ink {

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
    static Outcome nothingToDo(std::string text) { return {Kind::nothingToDo, std::move(text)}; }
    static Outcome handled() { return {Kind::handled, std::monostate{}}; }
    // Handled when `done`, otherwise the action's own nothing-to-do words.
    static Outcome handledIf(bool done, core::ActionID action);

    // The words of notImplemented, needsPermission and nothingToDo; empty otherwise.
    std::string text() const;
    // "changedTool(pen)", "nothingToDo(already empty)", "handled", ...
    std::string describe() const;
    bool operator==(const Outcome&) const = default;
};

class ActionRouter {
  public:
    using Handler = std::function<Outcome()>;
    // A text means the action is refused; asked before any handler.
    using PermissionCheck = std::function<std::optional<std::string>(core::ActionID)>;

    void setPermissionCheck(PermissionCheck check) { permissionCheck_ = std::move(check); }
    // One owner per action: a later registration replaces an earlier one.
    void add(core::ActionID action, Handler handler);
    Outcome dispatch(core::ActionID action) const;

    // What an action answers while nothing carries it out.
    static Outcome unowned(core::ActionID action);

  private:
    PermissionCheck permissionCheck_;
    std::array<Handler, core::caseCount<core::ActionID>()> handlers_;
};

}  // namespace scrawlet::ink
