#include "app/settings/update_checker.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSettings>
#include <QTest>
#include <optional>

#include "tests/support/feed_server.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::settings {
namespace {

using Kind = UpdateCheckResult::Kind;
using testing::FeedServer;
using testing::feedWithRelease;
using testing::TemporaryFolder;

class UpdateCheck : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(server.listening()); }

    std::optional<UpdateCheckResult> check(const std::string& url, const std::string& ours) {
        UpdateChecker checker(url, ours, preferences(), 0);
        std::optional<UpdateCheckResult> result;
        checker.setOnResult([&](const UpdateCheckResult& r) { result = r; });
        checker.checkNow();
        EXPECT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 10000)) << url;
        return result;
    }

    std::filesystem::path preferences() const { return tmp.path() / "preferences.ini"; }

    int argc = 1;
    char name[5] = "test";
    char* argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
    TemporaryFolder tmp;
    FeedServer server;
};

TEST_F(UpdateCheck, ComparesTheNewestReleaseWithOursAndRemembersWhen) {
    server.respond(200, feedWithRelease("0.2.0"));
    const auto newer = check(server.url(), "0.1.0");
    ASSERT_TRUE(newer);
    EXPECT_EQ(newer->kind, Kind::newerAvailable) << newer->failure;
    EXPECT_TRUE(newer->manual);
    EXPECT_EQ(newer->newestVersion, "0.2.0");
    EXPECT_EQ(newer->currentVersion, "0.1.0");
    EXPECT_EQ(newer->link, "https://scrawlet.org/releases/0.2.0");
    EXPECT_TRUE(UpdateChecker(server.url(), "0.1.0", preferences(), 0).lastCheck());

    for (const char* ours : {"0.2.0", "0.2", "0.3.0-rc.1"}) {
        const auto same = check(server.url(), ours);
        ASSERT_TRUE(same);
        EXPECT_EQ(same->kind, Kind::upToDate) << ours;
    }
    EXPECT_EQ(check(server.url(), "0.2.0-rc.2")->kind, Kind::newerAvailable);
}

TEST_F(UpdateCheck, FailuresSayWhyAndAreNotRememberedAsChecks) {
    server.respond(404, "gone");
    EXPECT_EQ(check(server.url(), "0.1.0")->failure, "the update server answered HTTP 404");
    server.respond(200, "<html>maintenance</html>");
    EXPECT_EQ(check(server.url(), "0.1.0")->failure, "the update feed is not an RSS document");

    std::string closedUrl;
    {
        FeedServer gone;
        closedUrl = gone.url();
    }
    const auto offline = check(closedUrl, "0.1.0");
    ASSERT_TRUE(offline);
    EXPECT_EQ(offline->kind, Kind::failed);
    EXPECT_EQ(offline->failure.rfind(
                  "the update server could not be reached; check the network connection (", 0),
              0u)
        << offline->failure;

    // Refused before any connection is made, so no test here needs a network.
    EXPECT_EQ(check("http://scrawlet.org/products/appcast.xml", "0.1.0")->failure,
              "the update feed address must start with https://");
    EXPECT_EQ(check("not a url", "0.1.0")->kind, Kind::failed);
    EXPECT_FALSE(UpdateChecker(server.url(), "0.1.0", preferences(), 0).lastCheck());
}

TEST_F(UpdateCheck, ACheckStillWaitingEndsSilentlyWithItsChecker) {
    server.respond(0, {});
    int results = 0;
    {
        UpdateChecker checker(server.url(), "0.1.0", preferences(), 0);
        checker.setOnResult([&](const UpdateCheckResult&) { ++results; });
        checker.checkNow();
        ASSERT_TRUE(QTest::qWaitFor([&] { return server.requests() == 1; }, 10000));
        EXPECT_TRUE(checker.checking());
    }
    QTest::qWait(100);
    EXPECT_EQ(results, 0);
}

TEST_F(UpdateCheck, AutomaticChecksWaitADayAfterTheLastOne) {
    server.respond(200, feedWithRelease("0.1.0"));
    {
        QSettings stored(QString::fromStdString(preferences().string()), QSettings::IniFormat);
        stored.setValue("updates.lastCheck",
                        QDateTime::currentDateTimeUtc().addSecs(-3600).toString(Qt::ISODateWithMs));
    }
    UpdateChecker recent(server.url(), "0.1.0", preferences(), 0);
    recent.setAutomaticChecks(true);
    QTest::qWait(300);
    EXPECT_EQ(server.requests(), 0) << "checked an hour ago";

    {
        QSettings stored(QString::fromStdString(preferences().string()), QSettings::IniFormat);
        stored.setValue("updates.lastCheck",
                        QDateTime::currentDateTimeUtc().addDays(-2).toString(Qt::ISODateWithMs));
    }
    std::optional<UpdateCheckResult> result;
    UpdateChecker due(server.url(), "0.1.0", preferences(), 0);
    due.setOnResult([&](const UpdateCheckResult& r) { result = r; });
    due.setAutomaticChecks(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return result.has_value(); }, 10000));
    EXPECT_FALSE(result->manual);
    EXPECT_EQ(result->kind, Kind::upToDate);
    EXPECT_EQ(server.requests(), 1);
}

}  // namespace
}  // namespace scrawlet::settings
