#include "app/shell/draw_shortcuts.h"

#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTimer>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/platform_services.h"
#include "app/shell/action_catalog_store.h"
#include "app/shortcuts/hotkey_reports.h"
#include "app/shortcuts/permissions.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;
using ink::Outcome;

// X11 has no privacy settings to grant; the desktop's settings program is the nearest
// place, and a session choice at login is what the refusal text asks for.
bool openSystemSettings() {
    for (const char* program : {"gnome-control-center", "systemsettings", "xfce4-settings-manager",
                                "mate-control-center", "cinnamon-settings"}) {
        if (!QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty()) {
            return QProcess::startDetached(QString::fromLatin1(program), {});
        }
    }
    return false;
}

}  // namespace

DrawShortcuts::DrawShortcuts(const DrawConfig& config, const ink::ActionRouter& router,
                             InkSurfaces& surfaces)
    : config_(config), router_(router), surfaces_(surfaces), overrides_(config.shortcutOverrides) {}

DrawShortcuts::~DrawShortcuts() = default;

void DrawShortcuts::start() {
    catalog_ = ActionCatalogStore::load();
    if (!catalog_) {
        std::cerr << "draw: no action catalogue; shortcuts are off\n";
        return;
    }
    auto grabber = platform::createKeyGrabber();
    if (!grabber) {
        std::cerr << "draw: no X display for global shortcuts; shortcuts are off\n";
        return;
    }
    hotkeys_ = std::make_unique<shortcuts::HotkeyCentre>(*catalog_, overrides_, std::move(grabber));
    shortcuts::reportCatalogueOverlaps(*catalog_, overrides_, std::cerr);
    // Qt hands pointer events to the windows after the whole batch of X events that held the
    // key; a queued call runs after them, so Ctrl+Z right after a release undoes that stroke.
    hotkeys_->setOnAction([this](ActionID action) {
        QMetaObject::invokeMethod(
            this, [this, action] { handle(action); }, Qt::QueuedConnection);
    });
    // One registration pass: a scope change registers by itself, and a second pass would
    // report every refused chord twice.
    const auto before = hotkeys_->liveScopes();
    refreshScopes();
    if (hotkeys_->liveScopes() == before) {
        hotkeys_->reregister();
    }
    shortcuts::reportRefusedShortcuts(hotkeys_->conflicts(), std::cerr);
}

void DrawShortcuts::stop() {
    hotkeys_.reset();
}

void DrawShortcuts::setSuspended(bool suspended) {
    if (!hotkeys_ || suspended == suspended_) {
        suspended_ = suspended;
        return;
    }
    suspended_ = suspended;
    if (suspended) {
        hotkeys_->unregisterAll();
        return;
    }
    refreshScopes();
    hotkeys_->reregister();
}

void DrawShortcuts::setOverrides(std::map<std::string, std::string> overrides) {
    // Every edit in the settings window comes here; grabbing every chord again for a moved
    // slider would release them all for a moment.
    if (overrides == overrides_) {
        return;
    }
    overrides_ = std::move(overrides);
    if (!hotkeys_) {
        return;
    }
    hotkeys_->setOverrides(overrides_);
    if (!suspended_) {
        hotkeys_->reregister();
    }
}

std::size_t DrawShortcuts::refusedCount() const {
    return hotkeys_ ? hotkeys_->conflicts().size() : 0;
}

QString DrawShortcuts::toolKeyLabel(core::Tool tool) const {
    if (!hotkeys_ || !catalog_) {
        return QString();
    }
    return QString::fromStdString(shortcuts::toolKeyLabel(*catalog_, overrides_, tool));
}

QString DrawShortcuts::actionKeyLabel(core::ActionID id) const {
    if (!hotkeys_ || !catalog_) {
        return QString();
    }
    return QString::fromStdString(shortcuts::actionKeyLabel(*catalog_, overrides_, id));
}

void DrawShortcuts::setZooming(bool zooming) {
    zooming_ = zooming;
    refreshScopes();
}

void DrawShortcuts::refreshScopes() {
    if (!hotkeys_ || suspended_) {
        return;
    }
    std::set<core::ActionScope> scopes{core::ActionScope::global};
    // Bare tool keys would take the typing of the application that clicks now reach, or that
    // gets them while the overlays wait off screen for a compositing manager.
    if (surfaces_.onScreen() && !surfaces_.ignoresMouse()) {
        scopes.insert(core::ActionScope::annotating);
    }
    if (zooming_) {
        scopes.insert(core::ActionScope::zooming);
    }
    hotkeys_->setLiveScopes(std::move(scopes));
}

void DrawShortcuts::handle(ActionID action) {
    if (!hotkeys_) {
        return;
    }
    const auto outcome = router_.dispatch(action);
    log::FrontmostLog::shared().record("hotkey", std::nullopt, std::string(core::rawValue(action)));
    using Kind = Outcome::Kind;
    if (outcome.kind == Kind::notImplemented || outcome.kind == Kind::nothingToDo) {
        announce(outcome.text(), false);
    } else if (outcome.kind == Kind::needsPermission) {
        announcePermission(outcome.text(), action);
    }
}

void DrawShortcuts::announce(const std::string& text, bool sticky) {
    std::cerr << "draw: " << text << "\n";
    if (ink::InkView* view = surfaces_.viewUnderPointer()) {
        view->showHint(QString::fromStdString(text), sticky);
    }
}

void DrawShortcuts::announcePermission(const std::string& text, ActionID action) {
    announce(text, true);
    const auto grant = shortcuts::Permissions::grant(action);
    if (!grant) {
        return;
    }
    const bool accessibility = *grant == shortcuts::Permissions::Grant::accessibility;
    const std::string name = accessibility ? "accessibility" : "screenRecording";
    if (!offeredGrants_.insert(name).second) {
        return;
    }
    QTimer::singleShot(0, this, [this, text, name, accessibility] {
        auto* alert =
            new QMessageBox(QMessageBox::Information,
                            accessibility ? QStringLiteral("Accessibility is needed for this")
                                          : QStringLiteral("Screen Recording is needed for this"),
                            accessibility ? QStringLiteral("Accessibility is needed for this")
                                          : QStringLiteral("Screen Recording is needed for this"));
        alert->setInformativeText(QString::fromStdString(text));
        QPushButton* open =
            alert->addButton(QStringLiteral("Open Settings"), QMessageBox::AcceptRole);
        alert->addButton(QStringLiteral("Not now"), QMessageBox::RejectRole);
        alert->setAttribute(Qt::WA_DeleteOnClose);
        connect(alert, &QMessageBox::finished, this, [this, alert, open, name] {
            const bool opened = alert->clickedButton() == open && openSystemSettings();
            log::FrontmostLog::shared().record(
                "permissionPrompt", std::nullopt,
                "grant=" + name + " opened=" + (opened ? "true" : "false"));
            for (ink::InkView* view : surfaces_.views()) {
                view->refreshCursor();
            }
        });
        alert->open();
    });
}

bool DrawShortcuts::typingChord(const core::Chord& chord) {
    if (!catalog_) {
        return false;
    }
    const core::Action* action =
        catalog_->typingScopeAction(chord, core::Platform::windows, overrides_);
    const auto id = action ? core::fromRawValue<ActionID>(action->id) : std::nullopt;
    if (!id) {
        return false;
    }
    router_.dispatch(*id);
    return true;
}

}  // namespace scrawlet::shell
