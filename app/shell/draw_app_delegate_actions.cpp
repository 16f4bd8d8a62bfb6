// Draw mode's actions: the tool controller's wiring, global shortcuts and their feedback,
// scripted actions, the tray menu and the control panels.
#include <QAction>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/platform_services.h"
#include "app/shell/action_catalog_store.h"
#include "app/shell/draw_app_delegate.h"
#include "app/shortcuts/hotkey_reports.h"
#include "app/shortcuts/permissions.h"

namespace scrawlet::shell {
namespace {

using core::ActionID;
using core::Tool;

std::string capitalised(std::string_view name) {
    std::string text(name);
    if (!text.empty()) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    }
    return text;
}

std::string describe(const ink::ToolController::Outcome& outcome) {
    using Kind = ink::ToolController::Outcome::Kind;
    switch (outcome.kind) {
        case Kind::changedTool:
            return "changedTool(" + std::string(core::rawValue(std::get<Tool>(outcome.value))) +
                   ")";
        case Kind::changedPalette:
            return "changedPalette(" + std::to_string(std::get<int>(outcome.value)) + ")";
        case Kind::changedWidth:
            return "changedWidth(" + std::to_string(std::get<int>(outcome.value)) + ")";
        case Kind::changedAutoErase:
            return "changedAutoErase(" +
                   std::string(core::rawValue(std::get<core::AutoEraseMode>(outcome.value))) + ")";
        case Kind::notImplemented:
            return "notImplemented(" + outcome.text() + ")";
        case Kind::needsPermission:
            return "needsPermission(" + outcome.text() + ")";
        case Kind::nothingToDo:
            return "nothingToDo(" + outcome.text() + ")";
        case Kind::handled:
            return "handled";
    }
    return "handled";
}

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

void DrawAppDelegate::wireToolController() {
    ink::ToolController& t = *tools_;
    t.permissionCheck = shortcuts::Permissions::refusal;
    t.onToolChange = [this](Tool tool) {
        for (ink::InkView* view : views()) {
            view->setTool(tool);
        }
        for (const auto& panel : controlPanels_) {
            panel->setActiveTool(tool);
        }
        for (const auto& [itemTool, item] : toolItems_) {
            item->setChecked(itemTool == tool);
        }
    };
    t.onPanelToggle = [this] {
        if (controlPanels_.empty()) {
            return false;
        }
        panelsShown_ = !panelsShown_;
        showControlPanels();
        log::FrontmostLog::shared().record(
            "panelToggle", std::nullopt,
            std::string("visible=") + (panelsShown_ ? "true" : "false"));
        return true;
    };
    t.onStyleChange = [this](const core::StrokeStyle& style) {
        for (ink::InkView* view : views()) {
            view->setStyle(style);
        }
    };
    t.onModeToggle = [this](ink::ToolController::ModeToggle toggle) {
        if (surfaces_.empty()) {
            return false;
        }
        if (toggle == ink::ToolController::ModeToggle::annotation) {
            toggleAnnotation();
        } else {
            toggleInteractive();
        }
        return true;
    };
    t.onSettingsChange = [this](const core::AnnotationSettings& settings) {
        for (ink::InkView* view : views()) {
            view->canvas().setBeautify(settings.beautify);
        }
        scheduleSettingsWrite(settings);
    };
    t.onAutoEraseChange = [this](std::optional<double> seconds) {
        for (ink::InkView* view : views()) {
            view->setTimeToLive(seconds);
        }
    };
    t.onEdit = [this](ink::ToolController::Edit edit) {
        ink::InkView* view = viewUnderPointer();
        if (!view) {
            return false;
        }
        switch (edit) {
            case ink::ToolController::Edit::undo:
                return view->undo();
            case ink::ToolController::Edit::redo:
                return view->redo();
            case ink::ToolController::Edit::clearAll:
                return view->canvas().clearAll();
            case ink::ToolController::Edit::deleteSelection:
                return view->canvas().deleteSelection();
        }
        return false;
    };
    t.onQuit = [this] { requestFinish("app.quit"); };
}

void DrawAppDelegate::startHotkeys() {
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
    hotkeys_ = std::make_unique<shortcuts::HotkeyCentre>(*catalog_, config_.shortcutOverrides,
                                                         std::move(grabber));
    shortcuts::reportCatalogueOverlaps(*catalog_, config_.shortcutOverrides, std::cerr);
    hotkeys_->setOnAction([this](ActionID action) { handleHotkey(action); });
    // One registration pass: a scope change registers by itself, and a second pass would
    // report every refused chord twice.
    const auto before = hotkeys_->liveScopes();
    refreshHotkeyScopes();
    if (hotkeys_->liveScopes() == before) {
        hotkeys_->reregister();
    }
    shortcuts::reportRefusedShortcuts(hotkeys_->conflicts(), std::cerr);
}

void DrawAppDelegate::refreshHotkeyScopes() {
    if (!hotkeys_) {
        return;
    }
    std::set<core::ActionScope> scopes{core::ActionScope::global};
    // Bare tool keys would take the typing of the application that clicks now reach.
    if (annotating_ && !ignoresMouse_) {
        scopes.insert(core::ActionScope::annotating);
    }
    hotkeys_->setLiveScopes(std::move(scopes));
}

void DrawAppDelegate::handleHotkey(ActionID action) {
    if (finished_) {
        return;
    }
    const auto outcome = tools_->dispatch(action);
    log::FrontmostLog::shared().record("hotkey", std::nullopt, std::string(core::rawValue(action)));
    using Kind = ink::ToolController::Outcome::Kind;
    if (outcome.kind == Kind::notImplemented || outcome.kind == Kind::nothingToDo) {
        announce(outcome.text(), false);
    } else if (outcome.kind == Kind::needsPermission) {
        announcePermission(outcome.text(), action);
    }
}

void DrawAppDelegate::announce(const std::string& text, bool sticky) {
    std::cerr << "draw: " << text << "\n";
    if (ink::InkView* view = viewUnderPointer()) {
        view->showHint(QString::fromStdString(text), sticky);
    }
}

void DrawAppDelegate::announcePermission(const std::string& text, ActionID action) {
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
            for (ink::InkView* view : views()) {
                view->refreshCursor();
            }
        });
        alert->open();
    });
}

void DrawAppDelegate::scheduleScriptedActions() {
    if (config_.scriptedActions.empty()) {
        return;
    }
    const double delay = std::max(config_.maxDurationSeconds - 0.5, 0.2);
    QTimer::singleShot(static_cast<int>(delay * 1000), Qt::PreciseTimer, this, [this] {
        if (driver_) {
            driver_->stop();
        }
        for (const ActionID action : config_.scriptedActions) {
            const auto outcome = tools_->dispatch(action);
            std::cerr << "draw: scripted " << core::rawValue(action) << " -> " << describe(outcome)
                      << "\n";
        }
        requestFinish("scriptedActions");
    });
}

void DrawAppDelegate::installStatusItem() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        std::cerr << "draw: no system tray on this desktop; the menu is unavailable\n";
    }
    statusMenu_ = std::make_unique<QMenu>();
    rebuildStatusMenu();
    statusItem_ = std::make_unique<QSystemTrayIcon>();
    statusItem_->setToolTip(QStringLiteral("Scrawlet"));
    // No icon theme ships a pen for us: draw the glyph.
    QPixmap glyph(32, 32);
    glyph.fill(Qt::transparent);
    {
        QPainter painter(&glyph);
        QFont font = painter.font();
        font.setPixelSize(26);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(glyph.rect(), Qt::AlignCenter, QStringLiteral("\u270E"));
    }
    statusItem_->setIcon(QIcon(glyph));
    statusItem_->setContextMenu(statusMenu_.get());
    statusItem_->show();
}

void DrawAppDelegate::rebuildStatusMenu() {
    statusMenu_->clear();
    toolItems_.clear();
    for (const Tool tool : core::allCases<Tool>()) {
        QAction* item =
            statusMenu_->addAction(QString::fromStdString(capitalised(core::rawValue(tool))));
        item->setCheckable(true);
        item->setChecked(tool == tools_->tool());
        if (const auto reason = core::unavailableReason(tool)) {
            item->setEnabled(false);
            item->setToolTip(QString::fromStdString(std::string(*reason)));
        }
        connect(item, &QAction::triggered, this, [this, tool] { pickTool(tool); });
        toolItems_.emplace_back(tool, item);
    }
    statusMenu_->setToolTipsVisible(true);
    statusMenu_->addSeparator();
    if (hotkeys_ && !hotkeys_->conflicts().empty()) {
        statusMenu_
            ->addAction(QString::number(hotkeys_->conflicts().size()) +
                        QStringLiteral(" shortcut(s) taken by other apps"))
            ->setEnabled(false);
    }
    connect(statusMenu_->addAction(QStringLiteral("Quit")), &QAction::triggered, this,
            [this] { requestFinish("menu"); });
}

void DrawAppDelegate::pickTool(Tool tool) {
    const auto action = core::actionSelecting(tool);
    if (!action) {
        return;
    }
    // The tool change moves the check mark, whoever asked for it.
    tools_->dispatch(*action);
}

void DrawAppDelegate::installControlPanels() {
    if (!config_.controlPanel) {
        return;
    }
    panelOrigins_ = std::make_unique<ink::PreferencesOriginStore>();
    for (const Surface& surface : surfaces_) {
        QScreen* screen = screenNamed(surface.screenName);
        if (!screen) {
            std::cerr << "draw: no screen for display " << surface.displayID << "\n";
            continue;
        }
        addControlPanel(surface, screen);
    }
}

void DrawAppDelegate::addControlPanel(const Surface& surface, QScreen* screen) {
    ink::ControlPanelView view([this](Tool tool) { pickTool(tool); },
                               [this](Tool tool) {
                                   if (!hotkeys_ || !catalog_) {
                                       return QString();
                                   }
                                   return QString::fromStdString(shortcuts::toolKeyLabel(
                                       *catalog_, config_.shortcutOverrides, tool));
                               },
                               config_.controlPanelSentinel);
    auto panel =
        std::make_unique<ink::ControlPanel>(surface.displayID, std::move(view), *panelOrigins_);
    panel->setActiveTool(tools_->tool());
    panel->setScreen(screen);
    panel->place(screen->geometry());
    if (placer_) {
        // At the overlay's level, placed after it, so the strip stays above the ink.
        if (const auto placed = placer_->place(*panel, overlayPlacement(false)); !placed) {
            std::cerr << "draw: control panel placement: " << placed.error() << "\n";
        }
    }
    controlPanels_.push_back(std::move(panel));
    showControlPanels();
}

// A panel shows while panels are wanted, the overlay is annotating and its display is there.
void DrawAppDelegate::showControlPanels() {
    for (const auto& panel : controlPanels_) {
        const bool onScreen = std::any_of(
            surfaces_.begin(), surfaces_.end(),
            [&](const Surface& s) { return s.displayID == panel->displayID() && s.visible; });
        panel->setVisible(panelsShown_ && annotating_ && onScreen);
    }
}

}  // namespace scrawlet::shell
