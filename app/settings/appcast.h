// Reading an appcast: the RSS 2.0 feed that lists Scrawlet's releases.
//
// Each <item> of the channel is a release. Feed writers put its version in one of two places,
// and both are read: attributes of the item's <enclosure> (`version`, `shortVersionString`) or
// child elements of the item with those names. The names are matched whatever namespace
// prefix carries them, since feeds differ in the prefix they declare. `shortVersionString` is
// the version people see and the one compared with ours (our build identifier is not ordered);
// `version` stands in when it is absent. The newest release is the item with the highest
// version, not the first one: feeds are not always sorted. Items without a readable version
// are skipped. The page to open is the item's <link>, else its enclosure's url.
//
// The feed comes from the network: it is read with a size cap, no external entities, a cap on
// entity expansion, and every failure is a readable reason, never an exception.
#pragma once

#include <QByteArray>
#include <expected>
#include <string>

namespace scrawlet::settings {

struct AppcastRelease {
    std::string version;  // as compared: shortVersionString, else version
    std::string title;
    std::string link;
    bool operator==(const AppcastRelease&) const = default;
};

namespace Appcast {

inline constexpr qsizetype kMaximumFeedBytes = 4 * 1024 * 1024;

std::expected<AppcastRelease, std::string> newestRelease(const QByteArray& feed);

}  // namespace Appcast
}  // namespace scrawlet::settings
