#include "app/settings/settings_store.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <nlohmann/json.hpp>

#include "app/platform/atomic_file.h"
#include "app/platform/file_io.h"

namespace scrawlet::settings {
namespace fs = std::filesystem;
namespace {

// A free name for the set-aside file: two failures within one second must not overwrite.
fs::path freeSetAsidePath(const fs::path& folder, std::time_t now) {
    const std::string name = SettingsStore::setAsideName(now);
    fs::path candidate = folder / name;
    const std::string stem = name.substr(0, name.size() - 5);
    for (int n = 2; fs::exists(fs::symlink_status(candidate)); ++n) {
        candidate = folder / (stem + "-" + std::to_string(n) + ".json");
    }
    return candidate;
}

bool heldBackSaid = false;

}  // namespace

fs::path SettingsStore::configHome() {
    // Relative values are ignored, as the XDG base-directory rules say.
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && config[0] == '/') {
        return fs::path(config);
    }
    const char* home = std::getenv("HOME");
    if (!home || home[0] != '/') {
        const passwd* entry = getpwuid(getuid());
        home = entry && entry->pw_dir ? entry->pw_dir : "/";
    }
    return fs::path(home) / ".config";
}

fs::path SettingsStore::directory() {
    return configHome() / "scrawlet";
}

std::string SettingsStore::setAsideName(std::time_t now) {
    std::tm utc{};
    gmtime_r(&now, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H%M%SZ", &utc);
    return std::string("settings.invalid-") + stamp + ".json";
}

std::optional<SettingsStore::Result> SettingsStore::load(const fs::path& file) {
    auto defaults = core::Settings::decode(core::Settings::defaultDocument);
    if (!defaults) {
        std::cerr << "settings: built-in defaults did not decode; using none\n";
        return std::nullopt;
    }
    std::error_code error;
    if (!fs::exists(fs::symlink_status(file, error))) {
        if (const auto written = write(*defaults, file); !written) {
            return Result{*defaults, DefaultsUnwritten{written.error()}};
        }
        return Result{*defaults, CreatedDefaults{}};
    }

    std::string reason;
    if (const auto text = platform::readFileText(file); !text) {
        reason = "cannot read " + file.string() + ": " + text.error();
    } else if (auto decoded = core::Settings::decode(*text)) {
        return Result{std::move(*decoded), Loaded{}};
    } else {
        const core::SettingsError* settingsError = decoded.error().settingsError();
        const auto* version =
            settingsError
                ? std::get_if<core::SettingsError::UnsupportedSchemaVersion>(&settingsError->error)
                : nullptr;
        if (version) {
            return Result{*defaults, RefusedNewerSchema{version->found, version->supported}};
        }
        reason = decoded.error().description();
    }

    const fs::path movedTo = freeSetAsidePath(file.parent_path(), std::time(nullptr));
    fs::rename(file, movedTo, error);
    if (error) {
        return Result{*defaults, KeptInvalid{reason, error.message()}};
    }
    (void)write(*defaults, file);
    return Result{*defaults, ReplacedInvalid{movedTo.string(), reason}};
}

std::expected<void, std::string> SettingsStore::write(const core::Settings& settings,
                                                      const fs::path& file) {
    std::error_code error;
    const fs::path folder = file.parent_path().empty() ? fs::path(".") : file.parent_path();
    fs::create_directories(folder, error);
    if (error) {
        return std::unexpected("cannot create " + folder.string() + ": " + error.message());
    }
    // nlohmann's objects are ordered maps, so every level comes out sorted.
    // Text built in memory may hold invalid UTF-8; replace it rather than fail the save.
    const std::string text =
        settings.encode().dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";

    // Like any file the user makes: the umask decides who else may read it.
    return platform::writeFileAtomically(file, text, {.permissions = 0666, .applyUmask = true});
}

SettingsStore::SaveOutcome SettingsStore::save(const fs::path& file,
                                               const std::function<void(core::Settings&)>& change,
                                               std::string_view messagePrefix) {
    auto loaded = load(file);
    if (!loaded) {
        return SaveOutcome::noDocument;
    }
    if (const auto* newer = std::get_if<RefusedNewerSchema>(&loaded->outcome)) {
        if (!heldBackSaid) {
            heldBackSaid = true;
            std::cerr << messagePrefix << "not saving settings: " << file.string()
                      << " says schemaVersion " << newer->found
                      << " and is kept as it is; changes last until quit\n";
        }
        return SaveOutcome::heldBack;
    }
    if (std::holds_alternative<KeptInvalid>(loaded->outcome)) {
        return SaveOutcome::heldBack;
    }
    change(loaded->settings);
    if (const auto written = write(loaded->settings, file); !written) {
        std::cerr << messagePrefix << "could not save settings: " << written.error() << "\n";
        return SaveOutcome::failed;
    }
    return SaveOutcome::written;
}

std::optional<std::string> SettingsStore::startupLine(const Outcome& outcome,
                                                      const fs::path& file) {
    if (const auto* replaced = std::get_if<ReplacedInvalid>(&outcome)) {
        return "draw: settings were unreadable (" + replaced->reason + "); the old file is at " +
               replaced->movedTo + " and defaults are in use";
    }
    if (const auto* newer = std::get_if<RefusedNewerSchema>(&outcome)) {
        return "draw: settings say schemaVersion " + std::to_string(newer->found) +
               " and this build supports " + std::to_string(newer->supported) +
               "; the file is untouched and defaults are in use";
    }
    if (std::holds_alternative<CreatedDefaults>(outcome)) {
        return "draw: wrote default settings to " + file.string();
    }
    if (const auto* unwritten = std::get_if<DefaultsUnwritten>(&outcome)) {
        return "draw: could not write default settings (" + unwritten->error +
               "); defaults are in use";
    }
    if (const auto* kept = std::get_if<KeptInvalid>(&outcome)) {
        return "draw: settings were unreadable (" + kept->reason +
               ") and could not be moved aside (" + kept->moveError +
               "); the file is untouched and defaults are in use";
    }
    return std::nullopt;
}

}  // namespace scrawlet::settings
