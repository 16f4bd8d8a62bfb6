#include "app/settings/onboarding_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>

#include "app/settings/about_window.h"
#include "app/settings/app_identity.h"

namespace scrawlet::settings {
namespace {

class Windows : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

    static QStringList texts(const QWidget& window) {
        QStringList found;
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            found << label->text();
        }
        return found;
    }

    static QPushButton* button(const QWidget& window, const QString& text) {
        for (QPushButton* candidate : window.findChildren<QPushButton*>()) {
            if (candidate->text() == text) {
                return candidate;
            }
        }
        return nullptr;
    }

    int argc = 1;
    char name[5] = "test";
    char* argv[2] = {name, nullptr};
    QApplication application{argc, argv};
};

TEST_F(Windows, EveryWayOutOfTheWelcomeWindowReportsOnceWithItsNote) {
    struct Row {
        const char* way;
        std::function<void(OnboardingWindowController&)> leave;
        const char* note;
    };
    const Row rows[] = {
        {"Skip", [](auto& w) { button(w, "Skip")->click(); }, "skipped"},
        {"Get Started", [](auto& w) { button(w, "Get Started")->click(); }, "completed"},
        {"close button", [](auto& w) { w.close(); }, "skipped"},
        {"owner", [](auto& w) { w.dismiss("auto"); }, "auto"},
    };
    for (const Row& row : rows) {
        OnboardingWindowController window({true, true});
        std::vector<std::string> notes;
        window.onDismiss = [&](const std::string& note) { notes.push_back(note); };
        window.show();
        row.leave(window);
        window.close();
        button(window, "Skip")->click();
        EXPECT_EQ(notes, std::vector<std::string>{row.note}) << row.way;
        EXPECT_FALSE(window.isVisible()) << row.way;
    }
    OnboardingWindowController window({true, true});
    EXPECT_TRUE(button(window, "Get Started")->isDefault()) << "Return means Get Started";
    EXPECT_EQ(window.windowTitle(), "Welcome to Scrawlet");
}

TEST_F(Windows, AGrantThatIsMissingSaysHowToGetIt) {
    const QString hint = "Grant it by logging in to an X11 session, then quit and reopen Scrawlet.";
    const OnboardingWindowController missing({false, true});
    const QStringList shown = texts(missing);
    EXPECT_TRUE(shown.contains("Screen Recording: Not granted yet"));
    EXPECT_TRUE(shown.contains("Needed for the zoom lens, full-screen zoom, and screenshots."));
    EXPECT_TRUE(shown.contains("Accessibility: Granted"));
    EXPECT_TRUE(shown.contains("Needed for global keyboard shortcuts and the keystroke display."));
    EXPECT_EQ(shown.count(hint), 1) << "only below the missing grant";

    const OnboardingWindowController both({true, true});
    EXPECT_EQ(texts(both).count(hint), 0);
}

TEST_F(Windows, TheAboutWindowNamesVersionBuildMakerAndAddress) {
    const AboutWindowController about;
    EXPECT_EQ(about.windowTitle(), "About Scrawlet");
    const QStringList shown = texts(about);
    EXPECT_TRUE(shown.contains("Scrawlet"));
    EXPECT_TRUE(shown.contains("Built by the Scrawlet contributors"));
    EXPECT_TRUE(about.iconFromBundle()) << "the SVG is compiled in";
    const QString version = QString::fromStdString(AboutWindowController::versionLine());
    EXPECT_TRUE(shown.contains(version));
    EXPECT_NE(AppIdentity::shortVersion(), "0.0.0") << "the build passes its version";
    EXPECT_TRUE(
        version.startsWith(QString::fromStdString("Version " + AppIdentity::shortVersion() + " (")))
        << version.toStdString();
    EXPECT_TRUE(version.endsWith(")"));
    EXPECT_EQ(shown.filter("href=\"https://").size(), 1);
}

}  // namespace
}  // namespace scrawlet::settings
