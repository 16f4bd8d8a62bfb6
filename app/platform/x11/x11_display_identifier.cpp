#include <QScreen>
#include <string>
#include <unordered_map>

#include "app/platform/display_identifier.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {

std::uint32_t displayIdentifier(const QString& screenName) {
    if (screenName.isEmpty())
        return XCB_NONE;
    // Atoms live as long as the server, so a name once interned never needs asking again.
    static std::unordered_map<std::string, xcb_atom_t> known;
    const std::string name = screenName.toStdString();
    if (const auto found = known.find(name); found != known.end())
        return found->second;
    const auto x = x11::qtConnection();
    if (!x)
        return XCB_NONE;
    const xcb_atom_t atom = x11::internAtom(x->connection, name);
    if (atom != XCB_NONE)
        known.emplace(name, atom);
    return atom;
}

std::uint32_t displayIdentifier(const QScreen* screen) {
    return screen ? displayIdentifier(screen->name()) : XCB_NONE;
}

}  // namespace scrawlet::platform
