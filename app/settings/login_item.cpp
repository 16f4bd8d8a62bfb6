#include "app/settings/login_item.h"

#include "app/platform/atomic_file.h"
#include "app/platform/file_io.h"
#include "app/settings/settings_store.h"

namespace scrawlet::settings::LoginItem {
namespace fs = std::filesystem;
namespace {

std::string failure(bool wanted, const std::string& reason) {
    return std::string("Could not ") + (wanted ? "add Scrawlet to" : "remove Scrawlet from") +
           " your login items. (" + reason + ")";
}

}  // namespace

fs::path autostartDirectory() {
    return SettingsStore::configHome() / "autostart";
}

fs::path entryFile(const fs::path& directory) {
    return directory / "scrawlet.desktop";
}

std::string execArgument(const std::string& path) {
    // Field codes start with "%"; a literal one is doubled in every case.
    std::string percentSafe;
    for (const char c : path) {
        percentSafe += c;
        if (c == '%') {
            percentSafe += '%';
        }
    }
    const bool needsQuotes =
        percentSafe.find_first_of(" \t\n\"'\\><~|&;$*?#()`=") != std::string::npos;
    if (!needsQuotes) {
        return percentSafe;
    }
    // Inside quotes, backslash escapes these four; the string-value level then doubles every
    // backslash once more.
    std::string quoted = "\"";
    for (const char c : percentSafe) {
        if (c == '\\') {
            quoted += "\\\\\\\\";
            continue;
        }
        if (c == '"' || c == '`' || c == '$') {
            quoted += "\\\\";
        }
        if (c == '\n') {
            quoted += "\\n";
            continue;
        }
        quoted += c;
    }
    return quoted + "\"";
}

std::string entryText(const fs::path& executable) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Scrawlet\n"
           "Comment=Draw, highlight and zoom on top of every display\n"
           "Exec=" +
           execArgument(executable.string()) +
           "\n"
           "Icon=org.scrawlet.Scrawlet\n"
           "Terminal=false\n"
           "StartupNotify=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

Outcome apply(bool wanted, const fs::path& executable, const fs::path& directory) {
    const fs::path file = entryFile(directory);
    std::error_code error;
    const bool present = fs::exists(fs::symlink_status(file, error));
    if (!wanted) {
        if (!present) {
            return Unchanged{false};
        }
        if (!fs::remove(file, error)) {
            return Failed{failure(false, "cannot remove " + file.string() + ": " +
                                             (error ? error.message() : "it is gone"))};
        }
        return Changed{false};
    }
    const std::string text = entryText(executable);
    if (present) {
        if (const auto current = platform::readFileText(file); current && *current == text) {
            return Unchanged{true};
        }
    }
    fs::create_directories(directory, error);
    if (error) {
        return Failed{
            failure(true, "cannot create " + directory.string() + ": " + error.message())};
    }
    // A desktop entry is not secret; the umask decides who may read it, as for any file made.
    if (const auto written =
            platform::writeFileAtomically(file, text, {.permissions = 0644, .applyUmask = true});
        !written) {
        return Failed{failure(true, written.error())};
    }
    return Changed{true};
}

}  // namespace scrawlet::settings::LoginItem
