// What the program says about itself: name, version, build, maker, web address, update feed
// and icon. The values come from the build (CMake's project version and the SCRAWLET_MAKER,
// SCRAWLET_WEBSITE, SCRAWLET_BUILD_ID and SCRAWLET_UPDATE_FEED_URL cache settings); a build
// made without them falls back to "Scrawlet", "0.0.0" and "0". Main thread only for the icon.
#pragma once

#include <QIcon>
#include <QPixmap>
#include <string>

namespace scrawlet::settings::AppIdentity {

inline constexpr const char* kAppId = "org.scrawlet.Scrawlet";
// Inside the program's resources.
inline constexpr const char* kIconResource = ":/scrawlet/org.scrawlet.Scrawlet.svg";

std::string name();
std::string shortVersion();
std::string buildNumber();
// "the Scrawlet contributors": the about window says "Built by " and this.
std::string maker();
std::string website();
// SCRAWLET_UPDATE_FEED_URL when set and not empty, else the built-in address.
std::string updateFeedUrl();

// The icon drawn at `sizePoints` for a screen of `devicePixelRatio`. When the bundled picture
// cannot be read, a blue rounded square with a white pencil glyph stands in; `fromBundle`
// says which it was.
QPixmap icon(int sizePoints, qreal devicePixelRatio, bool* fromBundle = nullptr);
// The same picture at the sizes trays ask for.
QIcon trayIcon();
bool iconAvailable();

}  // namespace scrawlet::settings::AppIdentity
