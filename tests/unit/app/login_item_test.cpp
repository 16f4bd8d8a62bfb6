#include "app/settings/login_item.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::settings {
namespace {

using testing::TemporaryFolder;
namespace fs = std::filesystem;

TEST(LoginItem, EnablesOnceRewritesAStaleEntryAndRemovesIt) {
    TemporaryFolder tmp;
    const fs::path dir = tmp.path() / "config" / "autostart";
    const fs::path entry = LoginItem::entryFile(dir);

    EXPECT_EQ(LoginItem::apply(false, "/opt/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Unchanged{false}));
    EXPECT_FALSE(fs::exists(dir)) << "disabling makes no folder";

    EXPECT_EQ(LoginItem::apply(true, "/opt/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Changed{true}));
    const std::string text = TemporaryFolder::read(entry);
    EXPECT_EQ(text.rfind("[Desktop Entry]\n", 0), 0u);
    EXPECT_NE(text.find("\nExec=/opt/scrawlet\n"), std::string::npos);
    EXPECT_NE(text.find("\nType=Application\n"), std::string::npos);
    EXPECT_NE(text.find("\nIcon=org.scrawlet.Scrawlet\n"), std::string::npos);
    EXPECT_EQ(LoginItem::apply(true, "/opt/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Unchanged{true}));

    // A copy that moved, or an entry the user hid, is brought back to what the setting says.
    EXPECT_EQ(LoginItem::apply(true, "/usr/bin/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Changed{true}));
    EXPECT_NE(TemporaryFolder::read(entry).find("\nExec=/usr/bin/scrawlet\n"), std::string::npos);
    tmp.write("config/autostart/scrawlet.desktop", "[Desktop Entry]\nHidden=true\n");
    EXPECT_EQ(LoginItem::apply(true, "/usr/bin/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Changed{true}));

    EXPECT_EQ(LoginItem::apply(false, "/usr/bin/scrawlet", dir),
              LoginItem::Outcome(LoginItem::Changed{false}));
    EXPECT_FALSE(fs::exists(entry));
    for (const auto& file : fs::directory_iterator(dir)) {
        ADD_FAILURE() << "left behind: " << file.path();
    }
}

// Root may write anywhere, so the failures are made with things in the way, not permissions.
TEST(LoginItem, FailuresNameTheDirectionAndTheSystemsReason) {
    TemporaryFolder tmp;
    tmp.write("autostart", "a file where the folder should be");
    const auto added = LoginItem::apply(true, "/opt/scrawlet", tmp.path() / "autostart");
    ASSERT_TRUE(std::holds_alternative<LoginItem::Failed>(added));
    const std::string& message = std::get<LoginItem::Failed>(added).message;
    EXPECT_EQ(message.rfind("Could not add Scrawlet to your login items. (", 0), 0u) << message;
    EXPECT_NE(message.find((tmp.path() / "autostart").string()), std::string::npos) << message;
    EXPECT_EQ(message.back(), ')');
    EXPECT_EQ(TemporaryFolder::read(tmp.path() / "autostart"), "a file where the folder should be");

    const fs::path dir = tmp.path() / "other";
    tmp.write("other/scrawlet.desktop/keep", "x");
    const auto removed = LoginItem::apply(false, "/opt/scrawlet", dir);
    ASSERT_TRUE(std::holds_alternative<LoginItem::Failed>(removed));
    EXPECT_EQ(std::get<LoginItem::Failed>(removed).message.rfind(
                  "Could not remove Scrawlet from your login items. (", 0),
              0u);
    EXPECT_TRUE(fs::exists(dir / "scrawlet.desktop" / "keep"));
}

TEST(LoginItem, ExecArgumentQuotesWhatTheFormatReserves) {
    const std::pair<const char*, const char*> rows[] = {
        {"/opt/scrawlet/bin/scrawlet", "/opt/scrawlet/bin/scrawlet"},
        {"/home/a b/scrawlet", "\"/home/a b/scrawlet\""},
        {"/opt/100%/scrawlet", "/opt/100%%/scrawlet"},
        {"/x/$HOME/\"q\"", "\"/x/\\\\$HOME/\\\\\"q\\\\\"\""},
        {"/x/back\\slash", "\"/x/back\\\\\\\\slash\""},
        {"/x/a=b", "\"/x/a=b\""},
    };
    for (const auto& [path, expected] : rows) {
        EXPECT_EQ(LoginItem::execArgument(path), expected) << path;
    }
}

TEST(LoginItem, AutostartFolderFollowsTheXdgRules) {
    const char* savedConfig = std::getenv("XDG_CONFIG_HOME");
    const std::string config = savedConfig ? savedConfig : "";
    const char* savedHome = std::getenv("HOME");
    const std::string home = savedHome ? savedHome : "";
    ::setenv("HOME", "/home/someone", 1);
    ::setenv("XDG_CONFIG_HOME", "/xdg", 1);
    EXPECT_EQ(LoginItem::autostartDirectory(), fs::path("/xdg/autostart"));
    for (const char* ignored : {"", "relative/config"}) {
        ::setenv("XDG_CONFIG_HOME", ignored, 1);
        EXPECT_EQ(LoginItem::autostartDirectory(), fs::path("/home/someone/.config/autostart"))
            << '"' << ignored << '"';
    }
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(LoginItem::autostartDirectory(), fs::path("/home/someone/.config/autostart"));
    savedConfig ? ::setenv("XDG_CONFIG_HOME", config.c_str(), 1) : ::unsetenv("XDG_CONFIG_HOME");
    savedHome ? ::setenv("HOME", home.c_str(), 1) : ::unsetenv("HOME");
}

}  // namespace
}  // namespace scrawlet::settings
