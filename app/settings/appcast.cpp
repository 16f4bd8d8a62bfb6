#include "app/settings/appcast.h"

#include <QXmlStreamReader>
#include <optional>

#include "core/release_version.h"

namespace scrawlet::settings::Appcast {
namespace {

struct Candidate {
    std::string version;
    std::string shortVersion;
    std::string title;
    std::string link;
    std::string enclosureUrl;
};

std::string text(QStringView value) {
    return value.toString().trimmed().toStdString();
}

// The reader stands on an <item>; reads it whole.
Candidate readItem(QXmlStreamReader& reader) {
    Candidate item;
    int depth = 0;
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        if (token == QXmlStreamReader::EndElement) {
            if (depth == 0) {
                break;
            }
            --depth;
            continue;
        }
        if (token != QXmlStreamReader::StartElement) {
            continue;
        }
        const QStringView name = reader.name();
        if (depth > 0) {
            ++depth;
            continue;
        }
        if (name == u"enclosure") {
            for (const QXmlStreamAttribute& attribute : reader.attributes()) {
                const QStringView attributeName = attribute.name();
                if (attributeName == u"version" && item.version.empty()) {
                    item.version = text(attribute.value());
                } else if (attributeName == u"shortVersionString" && item.shortVersion.empty()) {
                    item.shortVersion = text(attribute.value());
                } else if (attributeName == u"url") {
                    item.enclosureUrl = text(attribute.value());
                }
            }
            ++depth;
        } else if (name == u"version" || name == u"shortVersionString" || name == u"title" ||
                   name == u"link") {
            const bool isVersion = name == u"version";
            const bool isShort = name == u"shortVersionString";
            const bool isTitle = name == u"title";
            const std::string value =
                text(reader.readElementText(QXmlStreamReader::IncludeChildElements));
            std::string& field = isVersion ? item.version
                                 : isShort ? item.shortVersion
                                 : isTitle ? item.title
                                           : item.link;
            if (field.empty()) {
                field = value;
            }
        } else {
            ++depth;
        }
    }
    return item;
}

}  // namespace

std::expected<AppcastRelease, std::string> newestRelease(const QByteArray& feed) {
    if (feed.size() > kMaximumFeedBytes) {
        return std::unexpected("the update feed is larger than " +
                               std::to_string(kMaximumFeedBytes / (1024 * 1024)) + " MB");
    }
    if (feed.trimmed().isEmpty()) {
        return std::unexpected(std::string("the update feed is empty"));
    }
    QXmlStreamReader reader(feed);
    // A billion-laughs feed stops here instead of filling memory.
    reader.setEntityExpansionLimit(1024);
    bool sawRss = false;
    int items = 0;
    std::optional<AppcastRelease> newest;
    std::optional<core::ReleaseVersion> newestVersion;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (!sawRss) {
            if (reader.name() != u"rss") {
                return std::unexpected(std::string("the update feed is not an RSS document"));
            }
            sawRss = true;
            continue;
        }
        if (reader.name() != u"item") {
            continue;
        }
        ++items;
        const Candidate item = readItem(reader);
        const std::string& compared = item.shortVersion.empty() ? item.version : item.shortVersion;
        const auto version = core::ReleaseVersion::parse(compared);
        if (!version) {
            continue;
        }
        if (!newestVersion || core::compare(*version, *newestVersion) > 0) {
            newestVersion = version;
            newest = AppcastRelease{compared, item.title,
                                    item.link.empty() ? item.enclosureUrl : item.link};
        }
    }
    if (reader.hasError()) {
        return std::unexpected("the update feed is not valid XML (line " +
                               std::to_string(reader.lineNumber()) + ": " +
                               reader.errorString().toStdString() + ")");
    }
    if (!sawRss) {
        return std::unexpected(std::string("the update feed is not an RSS document"));
    }
    if (!newest) {
        return std::unexpected(items == 0
                                   ? std::string("the update feed lists no releases")
                                   : std::string("no release in the update feed has a version "
                                                 "this build can read"));
    }
    return *newest;
}

}  // namespace scrawlet::settings::Appcast
