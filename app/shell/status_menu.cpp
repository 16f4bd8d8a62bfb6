#include "app/shell/status_menu.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>
#include <iostream>

#include "app/settings/app_identity.h"
#include "core/action_id.h"

namespace scrawlet::shell {
namespace {

std::string capitalised(std::string_view name) {
    std::string text(name);
    if (!text.empty()) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    }
    return text;
}

// Without the bundled picture: the pen glyph.
QIcon penGlyph() {
    QPixmap glyph(32, 32);
    glyph.fill(Qt::transparent);
    QPainter painter(&glyph);
    QFont font = painter.font();
    font.setPixelSize(26);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(glyph.rect(), Qt::AlignCenter, QStringLiteral("\u270E"));
    painter.end();
    return QIcon(glyph);
}

}  // namespace

StatusMenu::StatusMenu(core::Tool tool, PickTool pick, std::function<void()> quit)
    : tool_(tool),
      pick_(std::move(pick)),
      quit_(std::move(quit)),
      menu_(std::make_unique<QMenu>()) {
    rebuild();
}

StatusMenu::~StatusMenu() = default;

void StatusMenu::show() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        std::cerr << "draw: no system tray on this desktop; the menu is unavailable\n";
    }
    icon_ = std::make_unique<QSystemTrayIcon>();
    icon_->setToolTip(QStringLiteral("Scrawlet"));
    icon_->setIcon(settings::AppIdentity::iconAvailable() ? settings::AppIdentity::trayIcon()
                                                          : penGlyph());
    icon_->setContextMenu(menu_.get());
    icon_->show();
}

void StatusMenu::setRefusedShortcutCount(std::size_t count) {
    if (count != refusedShortcuts_) {
        refusedShortcuts_ = count;
        rebuild();
    }
}

void StatusMenu::setAppItems(std::function<void()> about, std::function<void()> checkForUpdates) {
    about_ = std::move(about);
    checkForUpdates_ = std::move(checkForUpdates);
    rebuild();
}

void StatusMenu::setSettingsItem(std::function<void()> showSettings) {
    settings_ = std::move(showSettings);
    rebuild();
}

bool StatusMenu::notify(const QString& title, const QString& text) {
    if (!icon_ || !QSystemTrayIcon::isSystemTrayAvailable()) {
        return false;
    }
    icon_->showMessage(title, text, icon_->icon());
    return true;
}

void StatusMenu::toolChanged(core::Tool tool) {
    tool_ = tool;
    for (const auto& [itemTool, item] : toolItems_) {
        item->setChecked(itemTool == tool);
    }
}

void StatusMenu::setSection(std::function<void(QMenu&)> section) {
    section_ = std::move(section);
    rebuild();
}

std::optional<core::Tool> StatusMenu::checkedTool() const {
    for (const auto& [itemTool, item] : toolItems_) {
        if (item->isChecked()) {
            return itemTool;
        }
    }
    return std::nullopt;
}

void StatusMenu::rebuild() {
    toolGroup_.reset();
    menu_->clear();
    toolItems_.clear();
    // One tool at a time: the group makes the items radio items and unchecks the old one.
    toolGroup_ = std::make_unique<QActionGroup>(nullptr);
    toolGroup_->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);
    for (const core::Tool tool : core::allCases<core::Tool>()) {
        QAction* item = menu_->addAction(QString::fromStdString(capitalised(core::rawValue(tool))));
        item->setCheckable(true);
        item->setChecked(tool == tool_);
        toolGroup_->addAction(item);
        if (const auto reason = core::unavailableReason(tool)) {
            item->setEnabled(false);
            item->setToolTip(QString::fromStdString(std::string(*reason)));
        }
        // The tool change moves the check mark, whoever asked for it; a refused pick puts the
        // mark back where the tool is.
        connect(item, &QAction::triggered, this, [this, tool] {
            pick_(tool);
            toolChanged(tool_);
        });
        toolItems_.emplace_back(tool, item);
    }
    menu_->setToolTipsVisible(true);
    menu_->addSeparator();
    if (refusedShortcuts_ > 0) {
        menu_
            ->addAction(QString::number(refusedShortcuts_) +
                        QStringLiteral(" shortcut(s) taken by other apps"))
            ->setEnabled(false);
    }
    if (section_) {
        section_(*menu_);
        menu_->addSeparator();
    }
    if (settings_) {
        QAction* item = menu_->addAction(QStringLiteral("Settings\u2026"));
        item->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
        connect(item, &QAction::triggered, this, [this] { settings_(); });
    }
    if (about_) {
        connect(menu_->addAction(QStringLiteral("About Scrawlet\u2026")), &QAction::triggered, this,
                [this] { about_(); });
    }
    if (checkForUpdates_) {
        connect(menu_->addAction(QStringLiteral("Check for Updates\u2026")), &QAction::triggered,
                this, [this] { checkForUpdates_(); });
    }
    if (settings_ || about_ || checkForUpdates_) {
        menu_->addSeparator();
    }
    connect(menu_->addAction(QStringLiteral("Quit")), &QAction::triggered, this,
            [this] { quit_(); });
}

}  // namespace scrawlet::shell
