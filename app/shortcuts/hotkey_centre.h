// Turns the action catalogue plus the user's overrides into system-wide shortcuts and calls
// back with the action when one is pressed.
//
// Only the shortcuts of the live scopes are held at any moment: global ones always, annotating
// ones while the overlay takes annotation input, zooming ones while a zoom is on. Linux registers
// the catalogue's `windows` column. Registration numbers only grow during a run, so a press that
// was queued for a shortcut released since can never reach another action.
//
// What cannot be registered is never an error: a binding that is missing or does not parse is
// logged as "hotkeyUnparseable", a chord the system refuses lands in `conflicts` and is logged as
// "hotkeyConflict", a global bare key is silently left alone. The centre owns its grabber and
// releases every grab when destroyed. Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/platform/key_grabber.h"
#include "core/action_catalog.h"
#include "core/action_id.h"
#include "core/chord.h"

namespace scrawlet::shortcuts {

class HotkeyCentre {
  public:
    static constexpr core::Platform kPlatform = core::Platform::windows;

    struct Registration {
        core::ActionID action = core::ActionID::overlayToggleAnnotation;
        core::Chord chord;
        std::string text;  // the binding as written

        bool operator==(const Registration&) const = default;
    };

    HotkeyCentre(core::ActionCatalog catalog, core::ShortcutOverrides overrides,
                 std::unique_ptr<platform::KeyGrabber> grabber);
    ~HotkeyCentre();
    HotkeyCentre(const HotkeyCentre&) = delete;
    HotkeyCentre& operator=(const HotkeyCentre&) = delete;

    // `global` is always added; an unchanged set registers nothing again.
    void setLiveScopes(std::set<core::ActionScope> scopes);
    // Releases everything, then registers the live scopes' shortcuts in catalogue order.
    void reregister();
    void unregisterAll();
    void registerChord(core::ActionID id, const core::Chord& chord, std::string text);

    // Takes effect at the next `reregister()`.
    void setOverrides(core::ShortcutOverrides overrides) { overrides_ = std::move(overrides); }
    void setOnAction(std::function<void(core::ActionID)> handler) {
        onAction_ = std::move(handler);
    }

    // Calls `onAction` for a registration number; false for a number not registered now.
    bool deliver(std::uint32_t number);

    const std::vector<Registration>& conflicts() const { return conflicts_; }
    const std::vector<Registration>& registered() const { return registered_; }
    const std::map<std::uint32_t, core::ActionID>& handlers() const { return handlers_; }
    std::uint32_t nextID() const { return nextID_; }
    const std::set<core::ActionScope>& liveScopes() const { return liveScopes_; }
    const core::ActionCatalog& catalog() const { return catalog_; }
    const core::ShortcutOverrides& overrides() const { return overrides_; }

  private:
    void registerAction(const core::Action& action);

    std::vector<Registration> conflicts_;
    std::vector<Registration> registered_;
    std::map<std::uint32_t, core::ActionID> handlers_;
    std::uint32_t nextID_ = 1;
    std::function<void(core::ActionID)> onAction_;
    std::set<core::ActionScope> liveScopes_{core::ActionScope::global};
    core::ActionCatalog catalog_;
    core::ShortcutOverrides overrides_;
    std::unique_ptr<platform::KeyGrabber> grabber_;
};

}  // namespace scrawlet::shortcuts
