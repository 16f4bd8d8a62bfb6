// The current tool and the annotation settings it draws with. Tool, palette, width and
// auto-erase actions are carried out here (registered with the action router); each change
// reaches every observer: the views restyle, the panels and the tray menu move their marks,
// the controller saves the settings. Main thread only.
#pragma once

#include <optional>
#include <vector>

#include "app/ink/action_router.h"
#include "core/action_id.h"
#include "core/settings.h"
#include "core/stroke_style.h"
#include "core/tool.h"

namespace scrawlet::ink {

class ToolController {
  public:
    using Outcome = ink::Outcome;

    class Observer {
      public:
        virtual ~Observer() = default;
        virtual void toolChanged(core::Tool) {}
        virtual void styleChanged(const core::StrokeStyle&) {}
        virtual void timeToLiveChanged(std::optional<double>) {}
        // The settings worth keeping changed (not a tool change).
        virtual void settingsChanged(const core::AnnotationSettings&) {}
    };

    explicit ToolController(core::AnnotationSettings settings);

    // Registers the tool, palette, width and auto-erase actions.
    void route(ActionRouter& router);
    // Observers are told in the order they were added and must outlive the controller's use.
    void addObserver(Observer& observer) { observers_.push_back(&observer); }

    Outcome perform(core::ActionID action);

    core::Tool tool() const { return tool_; }
    const core::AnnotationSettings& settings() const { return settings_; }
    core::StrokeStyle currentStyle() const;
    // Settings edited elsewhere and already saved: observers hear of the new style and fade,
    // not of settings to save.
    void applyExternal(core::AnnotationSettings settings);

  private:
    Outcome selectTool(core::Tool tool);
    void styleAndSettingsChanged();
    template <typename F>
    void tell(F&& notify) {
        for (Observer* observer : observers_) {
            notify(*observer);
        }
    }

    core::Tool tool_ = core::Tool::pen;
    core::AnnotationSettings settings_;
    std::vector<Observer*> observers_;
};

}  // namespace scrawlet::ink
