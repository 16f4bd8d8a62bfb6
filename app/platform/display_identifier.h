// The 32-bit identifier of a display: the X atom of its RandR monitor's name.
//
// Qt deletes and recreates QScreen objects when monitors change, so nothing may be keyed on a
// QScreen pointer; the name is what survives, and its atom stays the same for as long as the X
// server runs, so a monitor that comes back gets its old identifier. 0 means "no identifier":
// no screen, or no X connection. Main thread only.
#pragma once

#include <QString>
#include <cstdint>

class QScreen;

namespace scrawlet::platform {

std::uint32_t displayIdentifier(const QScreen* screen);
// For a display known only by the name kept from an earlier QScreen.
std::uint32_t displayIdentifier(const QString& screenName);

}  // namespace scrawlet::platform
