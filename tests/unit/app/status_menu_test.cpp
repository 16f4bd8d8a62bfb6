#include "app/shell/status_menu.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenu>

namespace scrawlet::shell {
namespace {

QAction* item(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions()) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

int checkedCount(QMenu& menu) {
    int count = 0;
    for (QAction* action : menu.actions()) {
        count += action->isChecked() ? 1 : 0;
    }
    return count;
}

TEST(StatusMenu, ToolsAreOneExclusiveGroupThatFollowsTheController) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[] = "test";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    std::vector<core::Tool> picked;
    bool refuse = false;
    StatusMenu* menuPointer = nullptr;
    StatusMenu statusMenu(
        core::Tool::pen,
        [&](core::Tool tool) {
            picked.push_back(tool);
            if (!refuse) {
                menuPointer->toolChanged(tool);
            }
        },
        [] {});
    menuPointer = &statusMenu;
    QMenu& menu = statusMenu.menu();

    item(menu, "Line")->trigger();
    EXPECT_EQ(statusMenu.checkedTool(), core::Tool::line);
    EXPECT_EQ(checkedCount(menu), 1);
    item(menu, "Line")->trigger();
    EXPECT_EQ(statusMenu.checkedTool(), core::Tool::line) << "the active tool stays checked";

    refuse = true;
    item(menu, "Arrow")->trigger();
    EXPECT_EQ(statusMenu.checkedTool(), core::Tool::line) << "a refused pick changes nothing";
    EXPECT_EQ(checkedCount(menu), 1);
    EXPECT_EQ(picked,
              (std::vector<core::Tool>{core::Tool::line, core::Tool::line, core::Tool::arrow}));

    statusMenu.setRefusedShortcutCount(2);
    EXPECT_NE(item(menu, "2 shortcut(s) taken by other apps"), nullptr);
    EXPECT_EQ(statusMenu.checkedTool(), core::Tool::line) << "kept across a rebuild";
}

TEST(StatusMenu, AFeatureSectionSitsAboveQuitAndIsBuiltAgainOnRequest) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[] = "test";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    StatusMenu statusMenu(
        core::Tool::pen, [](core::Tool) {}, [] {});
    int entries = 0;
    statusMenu.setSection([&](QMenu& menu) {
        menu.addAction(QStringLiteral("Recent Captures"))->setEnabled(false);
        for (int i = 0; i < entries; ++i) {
            menu.addAction(QString::number(i));
        }
    });
    const auto texts = [&] {
        QStringList all;
        for (QAction* action : statusMenu.menu().actions()) {
            all << (action->isSeparator() ? QStringLiteral("-") : action->text());
        }
        return all;
    };
    ASSERT_GE(texts().size(), 3);
    EXPECT_EQ(texts().mid(texts().size() - 3),
              (QStringList{QStringLiteral("Recent Captures"), QStringLiteral("-"),
                           QStringLiteral("Quit")}));
    entries = 2;
    statusMenu.rebuild();
    EXPECT_EQ(texts().mid(texts().size() - 5),
              (QStringList{QStringLiteral("Recent Captures"), QStringLiteral("0"),
                           QStringLiteral("1"), QStringLiteral("-"), QStringLiteral("Quit")}));
    // The tools are still one group after a rebuild.
    EXPECT_EQ(checkedCount(statusMenu.menu()), 1);

    int about = 0;
    int checks = 0;
    statusMenu.setAppItems([&] { ++about; }, [&] { ++checks; });
    EXPECT_EQ(texts().mid(texts().size() - 6),
              (QStringList{QStringLiteral("1"), QStringLiteral("-"),
                           QStringLiteral("About Scrawlet\u2026"),
                           QStringLiteral("Check for Updates\u2026"), QStringLiteral("-"),
                           QStringLiteral("Quit")}));
    item(statusMenu.menu(), QStringLiteral("Check for Updates\u2026"))->trigger();
    statusMenu.rebuild();
    item(statusMenu.menu(), QStringLiteral("About Scrawlet\u2026"))->trigger();
    EXPECT_EQ(about, 1);
    EXPECT_EQ(checks, 1);

    int settings = 0;
    statusMenu.setSettingsItem([&] { ++settings; });
    EXPECT_EQ(texts().mid(texts().size() - 5),
              (QStringList{QStringLiteral("Settings\u2026"), QStringLiteral("About Scrawlet\u2026"),
                           QStringLiteral("Check for Updates\u2026"), QStringLiteral("-"),
                           QStringLiteral("Quit")}));
    item(statusMenu.menu(), QStringLiteral("Settings\u2026"))->trigger();
    EXPECT_EQ(settings, 1);
}

}  // namespace
}  // namespace scrawlet::shell
