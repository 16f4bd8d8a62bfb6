// Draw mode's keyboard: the global shortcuts of the catalogue (with the user's overrides), the
// typing scope's chords while a label is typed, and the feedback of an action without a visible
// effect: a hint and a line on standard error, and for a missing grant one prompt per grant.
// The annotating scope is live only while the overlays annotate on screen. Main thread only.
#pragma once

#include <QObject>
#include <QString>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "app/ink/action_router.h"
#include "app/shell/draw_config.h"
#include "app/shell/ink_surfaces.h"
#include "app/shortcuts/hotkey_centre.h"
#include "core/action_catalog.h"

namespace scrawlet::shell {

class DrawShortcuts : public QObject {
    Q_OBJECT

  public:
    DrawShortcuts(const DrawConfig& config, const ink::ActionRouter& router, InkSurfaces& surfaces);
    ~DrawShortcuts() override;

    // Loads the catalogue and registers the live scopes' chords; says why when it cannot.
    void start();
    // Releases every chord: other programs get their keys back.
    void stop();
    // While suspended nothing is registered, so that a chord being recorded reaches the
    // settings window; resuming registers the live scopes again.
    void setSuspended(bool suspended);
    // New user overrides, registered at once.
    void setOverrides(std::map<std::string, std::string> overrides);
    // The annotating scope is live while the overlays are on screen annotating and take the
    // pointer.
    void refreshScopes();

    // A chord typed into a label: true when the typing scope maps it to an action.
    bool typingChord(const core::Chord& chord);
    // The key shown on a tool's control-panel button; empty without shortcuts.
    QString toolKeyLabel(core::Tool tool) const;
    QString actionKeyLabel(core::ActionID id) const;
    // The zooming scope's shortcuts are live while a magnifier is on.
    void setZooming(bool zooming);
    std::size_t refusedCount() const;

  private:
    void handle(core::ActionID action);
    void announce(const std::string& text, bool sticky);
    void announcePermission(const std::string& text, core::ActionID action);

    const DrawConfig& config_;
    const ink::ActionRouter& router_;
    InkSurfaces& surfaces_;
    std::optional<core::ActionCatalog> catalog_;
    std::unique_ptr<shortcuts::HotkeyCentre> hotkeys_;
    std::set<std::string> offeredGrants_;
    std::map<std::string, std::string> overrides_;
    bool suspended_ = false;
    bool zooming_ = false;
};

}  // namespace scrawlet::shell
