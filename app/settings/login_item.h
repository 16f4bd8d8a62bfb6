// Starting Scrawlet when the user logs in: the XDG autostart entry
// $XDG_CONFIG_HOME/autostart/scrawlet.desktop (~/.config when the variable is unset, empty or
// relative), written whole and atomically, or removed.
//
// `apply` brings the entry to the wanted state. An entry is enabled when it holds exactly what
// this build would write, so an entry left by a copy at another path, or one edited to be
// hidden, is written afresh. Failures come back as the user's text with the system's reason in
// parentheses; nothing is half-written.
#pragma once

#include <filesystem>
#include <string>
#include <variant>

namespace scrawlet::settings::LoginItem {

struct Changed {
    bool enabled = false;
    bool operator==(const Changed&) const = default;
};
struct Unchanged {
    bool enabled = false;
    bool operator==(const Unchanged&) const = default;
};
struct Failed {
    std::string message;
    bool operator==(const Failed&) const = default;
};
using Outcome = std::variant<Changed, Unchanged, Failed>;

// The autostart folder of the XDG base-directory rules for this process's environment.
std::filesystem::path autostartDirectory();
std::filesystem::path entryFile(const std::filesystem::path& directory = autostartDirectory());

// The entry that starts `executable`.
std::string entryText(const std::filesystem::path& executable);
// `path` as one argument of a desktop entry's Exec key: quoted when it needs to be, with the
// characters the format reserves escaped.
std::string execArgument(const std::string& path);

Outcome apply(bool wanted, const std::filesystem::path& executable,
              const std::filesystem::path& directory = autostartDirectory());

}  // namespace scrawlet::settings::LoginItem
