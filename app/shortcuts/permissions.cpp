#include "app/shortcuts/permissions.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "core/tool.h"

namespace scrawlet::shortcuts::Permissions {
namespace {

using core::ActionID;

struct State {
    std::set<Grant> denied;
    bool sessionAllows = true;
};

State& state() {
    static State instance{parseDenied(std::getenv("SCRAWLET_DENY_PERMISSIONS")
                                          ? std::getenv("SCRAWLET_DENY_PERMISSIONS")
                                          : ""),
                          sessionAllowsGrants()};
    return instance;
}

std::string_view title(Grant grant) {
    return grant == Grant::accessibility ? "Accessibility" : "Screen Recording";
}

std::string squashed(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c != ' ' && c != '\t') {
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return out;
}

bool isHeld(Grant grant) {
    return !state().denied.contains(grant) && state().sessionAllows;
}

}  // namespace

bool held(Grant grant) {
    return isHeld(grant);
}

std::optional<Grant> grant(ActionID action) {
    switch (action) {
        case ActionID::keystrokeDisplayToggle:
        case ActionID::toolText:
            return Grant::accessibility;
        case ActionID::zoomToggleLens:
        case ActionID::zoomToggleFullScreen:
        case ActionID::zoomIncreaseLevel:
        case ActionID::zoomDecreaseLevel:
        case ActionID::captureScreenshot:
        case ActionID::captureRegion:
            return Grant::screenRecording;
        default:
            return std::nullopt;
    }
}

std::string label(ActionID action) {
    if (const auto tool = core::selectedTool(action)) {
        return "The " + std::string(core::rawValue(*tool)) + " tool";
    }
    switch (action) {
        case ActionID::keystrokeDisplayToggle:
            return "The keystroke display";
        case ActionID::zoomToggleLens:
            return "The zoom lens";
        case ActionID::zoomToggleFullScreen:
            return "Full-screen zoom";
        case ActionID::zoomIncreaseLevel:
        case ActionID::zoomDecreaseLevel:
            return "Changing the zoom level";
        case ActionID::captureScreenshot:
            return "Taking a screenshot";
        case ActionID::captureRegion:
            return "Capturing a region";
        default:
            return "That";
    }
}

std::optional<std::string> refusal(ActionID action) {
    const auto needed = grant(action);
    if (!needed || isHeld(*needed)) {
        return std::nullopt;
    }
    return label(action) + " needs the " + std::string(title(*needed)) +
           " permission. Grant it by logging in to an X11 session, then quit and reopen "
           "Scrawlet.";
}

std::string banner() {
    std::string text = "permissions (M2-plan T0):";
    for (const Grant g : {Grant::accessibility, Grant::screenRecording}) {
        text += "\n  " + std::string(title(g)) + ": " + (isHeld(g) ? "granted" : "not granted");
        if (state().denied.contains(g)) {
            text += " (forced by SCRAWLET_DENY_PERMISSIONS)";
        }
    }
    return text;
}

std::set<Grant> parseDenied(std::string_view value) {
    std::set<Grant> denied;
    std::size_t start = 0;
    while (start <= value.size()) {
        const auto comma = value.find(',', start);
        const auto piece = squashed(value.substr(
            start, comma == std::string_view::npos ? std::string_view::npos : comma - start));
        for (const Grant g : {Grant::screenRecording, Grant::accessibility}) {
            if (piece == squashed(title(g))) {
                denied.insert(g);
            }
        }
        if (comma == std::string_view::npos) {
            break;
        }
        start = comma + 1;
    }
    return denied;
}

bool sessionAllowsGrants() {
    const char* type = std::getenv("XDG_SESSION_TYPE");
    const bool wayland =
        (type && std::string_view(type) == "wayland") || std::getenv("WAYLAND_DISPLAY");
    return !wayland;
}

void overrideForTesting(std::set<Grant> denied, bool sessionAllows) {
    state() = State{std::move(denied), sessionAllows};
}

}  // namespace scrawlet::shortcuts::Permissions
