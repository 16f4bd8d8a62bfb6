#include "app/settings/appcast.h"

#include <gtest/gtest.h>

namespace scrawlet::settings {
namespace {

QByteArray feed(const std::string& items, const std::string& prefix = "sp") {
    return QByteArray::fromStdString(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" xmlns:" + prefix +
        "=\"urn:example:appcast\"><channel><title>Scrawlet</"
        "title>" +
        "<link>https://scrawlet.org/</link>" + items + "</channel></rss>");
}

TEST(Appcast, NewestReleaseIsTheHighestVersionWhereverTheFeedPutsIt) {
    // Unsorted, versions as enclosure attributes, as elements, with and without a short version.
    const auto newest = Appcast::newestRelease(
        feed("<item><title>0.9</title><enclosure url=\"https://x/0.9.tar.gz\" sp:version=\"90\" "
             "sp:shortVersionString=\"0.9\"/></item>"
             "<item><title>Scrawlet 1.10</title><link>https://scrawlet.org/1.10</link>"
             "<sp:version>1.10.0</sp:version><enclosure url=\"https://x/1.10.tar.gz\"/></item>"
             "<item><title>1.9</title><sp:shortVersionString>1.9</sp:shortVersionString>"
             "<sp:version>400</sp:version></item>"
             "<item><title>2.0 beta</title><enclosure url=\"https://x/2.0b1\" sp:version=\"x\" "
             "sp:shortVersionString=\"2.0-beta.1\"/></item>"));
    ASSERT_TRUE(newest) << newest.error();
    EXPECT_EQ(*newest, (AppcastRelease{"2.0-beta.1", "2.0 beta", "https://x/2.0b1"}));

    const auto stable = Appcast::newestRelease(
        feed("<item><title>a</title><link>https://scrawlet.org/1.10</link>"
             "<s:version>1.10.0</s:version></item><item><s:version>1.9.9</s:version></item>",
             "s"));
    ASSERT_TRUE(stable) << stable.error();
    EXPECT_EQ(stable->version, "1.10.0") << "any namespace prefix, compared as numbers";
    EXPECT_EQ(stable->link, "https://scrawlet.org/1.10");
}

TEST(Appcast, FeedsWithoutAReadableReleaseSayWhy) {
    const std::pair<QByteArray, std::string> rows[] = {
        {QByteArray(), "the update feed is empty"},
        {QByteArray("   \n"), "the update feed is empty"},
        {feed(""), "the update feed lists no releases"},
        {feed("<item><title>no version</title></item><item><sp:version>soon</sp:version></item>"),
         "no release in the update feed has a version this build can read"},
        {QByteArray("<html><body>Not Found</body></html>"),
         "the update feed is not an RSS document"},
    };
    for (const auto& [bytes, reason] : rows) {
        const auto result = Appcast::newestRelease(bytes);
        ASSERT_FALSE(result) << bytes.toStdString();
        EXPECT_EQ(result.error(), reason) << bytes.toStdString();
    }
}

TEST(Appcast, HostileAndBrokenFeedsAreRefusedWithoutHarm) {
    const std::string laughs =
        "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\">"
        "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
        "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\"><!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;\">]>"
        "<rss><channel><item><title>&e;</title><version>9.0</version></item></channel></rss>";
    const std::string external =
        "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
        "<rss><channel><item><title>&x;</title><version>9.0</version></item></channel></rss>";
    for (const std::string& text :
         {laughs, std::string("<rss><channel><item><version>9.0</version>"),
          std::string("<rss><channel><item><version>9.0</version></item></channel></rss><rss/>"),
          std::string("\xff\xfe<\0r\0s\0s\0", 10)}) {
        const auto result = Appcast::newestRelease(QByteArray::fromStdString(text));
        EXPECT_FALSE(result) << text;
        if (!result) {
            EXPECT_FALSE(result.error().empty());
        }
    }
    // Never read: at most the reference stays unexpanded.
    const auto withExternal = Appcast::newestRelease(QByteArray::fromStdString(external));
    if (withExternal) {
        EXPECT_EQ(withExternal->title.find("root"), std::string::npos);
    }
    const auto truncated =
        Appcast::newestRelease("<rss><channel><item><version>9.0</version></item>");
    ASSERT_FALSE(truncated);
    EXPECT_EQ(truncated.error().rfind("the update feed is not valid XML (line 1: ", 0), 0u)
        << truncated.error();
}

TEST(Appcast, HugeFeedsAreCappedButLargeOnesRead) {
    std::string items;
    for (int i = 0; i < 5000; ++i) {
        items += "<item><title>r" + std::to_string(i) + "</title><version>1." + std::to_string(i) +
                 "</version></item>";
    }
    const auto large = Appcast::newestRelease(feed(items));
    ASSERT_TRUE(large) << large.error();
    EXPECT_EQ(large->version, "1.4999");

    QByteArray huge = feed("<item><version>1.0</version></item>");
    huge.append(QByteArray(Appcast::kMaximumFeedBytes, ' '));
    const auto refused = Appcast::newestRelease(huge);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), "the update feed is larger than 4 MB");
}

}  // namespace
}  // namespace scrawlet::settings
