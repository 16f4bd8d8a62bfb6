// The 32-bit identifier of a display: the X atom of its RandR monitor's name.
//
// Qt deletes and recreates QScreen objects when monitors change, so nothing may be keyed on a
// QScreen pointer; the name is what survives, and its atom stays the same for as long as the X
// server runs, so a monitor that comes back gets its old identifier. 0 means "no identifier":
// no screen, or no X connection. Main thread only.
#pragma once

#include <QString>
#include <cstdint>
#include <string>

class QScreen;

namespace scrawlet::platform {

// What names one display: the identifier for this X session and the monitor's name, which is
// what lasts across sessions (atoms are numbered afresh by each X server).
struct DisplayKey {
    std::uint32_t id = 0;
    std::string name;
    bool operator==(const DisplayKey&) const = default;
};

std::uint32_t displayIdentifier(const QScreen* screen);
// For a display known only by the name kept from an earlier QScreen.
std::uint32_t displayIdentifier(const QString& screenName);

}  // namespace scrawlet::platform
