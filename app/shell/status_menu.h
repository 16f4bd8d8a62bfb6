// The tray icon and its menu: the tools as one exclusive group, a line when other programs hold
// some of our shortcuts, the features' sections (the capture history), "About Scrawlet…" and
// "Check for Updates…" when their owners are given, and Quit. Main thread only.
#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

#include "app/ink/tool_controller.h"

class QAction;
class QActionGroup;
class QMenu;
class QSystemTrayIcon;

namespace scrawlet::shell {

class StatusMenu : public QObject, public ink::ToolController::Observer {
    Q_OBJECT

  public:
    using PickTool = std::function<void(core::Tool)>;

    StatusMenu(core::Tool tool, PickTool pick, std::function<void()> quit);
    ~StatusMenu() override;

    // Shows the icon; says so once when the desktop has no tray.
    void show();
    void setRefusedShortcutCount(std::size_t count);
    // A feature's items, added above Quit each time the menu is built; `rebuild` builds it
    // again when they change.
    void setSection(std::function<void(QMenu&)> section);
    // The application items; an empty function leaves its item out.
    void setAppItems(std::function<void()> about, std::function<void()> checkForUpdates);
    // "Settings…", above the application items.
    void setSettingsItem(std::function<void()> showSettings);
    // A passing message from the tray icon; false when there is no tray to show it.
    bool notify(const QString& title, const QString& text);
    void rebuild();
    void toolChanged(core::Tool tool) override;

    QMenu& menu() { return *menu_; }
    // The checked tool item's tool; for tests and the summary.
    std::optional<core::Tool> checkedTool() const;

  private:
    core::Tool tool_;
    PickTool pick_;
    std::function<void()> quit_;
    std::size_t refusedShortcuts_ = 0;
    std::function<void(QMenu&)> section_;
    std::function<void()> settings_;
    std::function<void()> about_;
    std::function<void()> checkForUpdates_;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QActionGroup> toolGroup_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    std::vector<std::pair<core::Tool, QAction*>> toolItems_;
};

}  // namespace scrawlet::shell
