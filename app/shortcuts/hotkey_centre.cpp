#include "app/shortcuts/hotkey_centre.h"

#include <cassert>

#include "app/log/frontmost_log.h"

namespace scrawlet::shortcuts {

using core::ActionID;
using core::ActionScope;

HotkeyCentre::HotkeyCentre(core::ActionCatalog catalog, core::ShortcutOverrides overrides,
                           std::unique_ptr<platform::KeyGrabber> grabber)
    : catalog_(std::move(catalog)), overrides_(std::move(overrides)), grabber_(std::move(grabber)) {
    assert(grabber_);
    grabber_->setOnPress([this](std::uint32_t number) { return deliver(number); });
    // The grabs still name the keys of the old mapping; taking them again finds the new ones.
    grabber_->setOnMappingChange([this] { reregister(); });
}

HotkeyCentre::~HotkeyCentre() {
    unregisterAll();
    grabber_->setOnPress(nullptr);
    grabber_->setOnMappingChange(nullptr);
}

void HotkeyCentre::setLiveScopes(std::set<ActionScope> scopes) {
    scopes.insert(ActionScope::global);
    if (scopes == liveScopes_) {
        return;
    }
    liveScopes_ = std::move(scopes);
    reregister();
}

void HotkeyCentre::reregister() {
    unregisterAll();
    for (const core::Action& action : catalog_.actions) {
        registerAction(action);
    }
}

void HotkeyCentre::registerAction(const core::Action& action) {
    if (!liveScopes_.contains(action.scope)) {
        return;
    }
    const auto id = core::fromRawValue<ActionID>(action.id);
    if (!id) {
        return;
    }
    const auto text = core::ActionCatalog::effectiveBinding(action, kPlatform, overrides_);
    const auto chord = text ? core::Chord::parse(*text) : std::nullopt;
    // An override emptied on purpose lands here too: no shortcut, and the log says so.
    if (!chord) {
        log::FrontmostLog::shared().record(
            "hotkeyUnparseable", std::nullopt,
            action.id + " binding=" + action.defaultBinding[kPlatform]);
        return;
    }
    // A bare key taken system-wide would stop it typing in every other application. The other
    // scopes are live only while the overlay has the user's attention, so they may take one.
    if (action.scope == ActionScope::global && !chord->isSafeGlobally()) {
        return;
    }
    registerChord(*id, *chord, *text);
}

void HotkeyCentre::registerChord(ActionID id, const core::Chord& chord, std::string text) {
    Registration registration{id, chord, std::move(text)};
    const auto grabbed = grabber_->grab(nextID_, chord);
    if (grabbed) {
        handlers_.emplace(nextID_, id);
        registered_.push_back(std::move(registration));
        ++nextID_;
        return;
    }
    if (grabbed.error().kind == platform::GrabFailure::Kind::refused) {
        log::FrontmostLog::shared().record("hotkeyConflict", std::nullopt,
                                           std::string(core::rawValue(id)) +
                                               " chord=" + registration.text +
                                               " status=" + std::to_string(grabbed.error().status));
    }
    conflicts_.push_back(std::move(registration));
}

void HotkeyCentre::unregisterAll() {
    for (const auto& [number, action] : handlers_) {
        grabber_->ungrab(number);
    }
    handlers_.clear();
    registered_.clear();
    conflicts_.clear();
}

bool HotkeyCentre::deliver(std::uint32_t number) {
    const auto handler = handlers_.find(number);
    if (handler == handlers_.end()) {
        return false;
    }
    // Copied: the action may change the scopes and so the handlers.
    const ActionID action = handler->second;
    if (onAction_) {
        onAction_(action);
    }
    return true;
}

}  // namespace scrawlet::shortcuts
