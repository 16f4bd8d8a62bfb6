// Which actions need a privacy grant, and the refusal the user sees when it is missing.
//
// On X11 both grants are held: any client may read global keys and the screen. Inside a
// Wayland session an X11 client can do neither, so both are missing there. SCRAWLET_DENY_
// PERMISSIONS forces grants off for testing; it is read once, on first use.
#pragma once

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "core/action_id.h"
#include "core/enum_traits.h"

namespace scrawlet::shortcuts {

namespace Permissions {

enum class Grant { screenRecording, accessibility };

// Whether the grant is held in this session.
bool held(Grant grant);
// The grant an action needs, if any.
std::optional<Grant> grant(core::ActionID action);
// "The text tool", "Taking a screenshot", …; "That" for actions needing no grant.
std::string label(core::ActionID action);
// None when the action needs no grant or the grant is held.
std::optional<std::string> refusal(core::ActionID action);
// The "permissions (M2-plan T0):" block of the start-up banner, lines joined by '\n'.
std::string banner();

// Grants named in a SCRAWLET_DENY_PERMISSIONS value.
std::set<Grant> parseDenied(std::string_view value);
// Whether the session lets an X11 client hold grants (false inside Wayland).
bool sessionAllowsGrants();

// For tests: replace the denied set and the session check.
void overrideForTesting(std::set<Grant> denied, bool sessionAllows);

}  // namespace Permissions
}  // namespace scrawlet::shortcuts
