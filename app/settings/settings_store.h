// The one settings file: where it lives, how it is read and repaired, how it is written.
//
// No state of its own beyond a once-only warning flag: every reader loads afresh, so the file is
// the single source of truth. An unusable file is moved aside (never deleted) and replaced by
// the defaults; a file of another schema version is never touched, and saves are held back
// while it is there so that it survives. Writes are atomic (temporary file, then rename).
// Main thread only.
#pragma once

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "core/settings.h"

namespace scrawlet::settings {

class SettingsStore {
  public:
    struct ReplacedInvalid {
        std::string movedTo;
        std::string reason;
        bool operator==(const ReplacedInvalid&) const = default;
    };
    struct RefusedNewerSchema {
        long long found = 0;
        long long supported = 0;
        bool operator==(const RefusedNewerSchema&) const = default;
    };
    struct Loaded {
        bool operator==(const Loaded&) const = default;
    };
    struct CreatedDefaults {
        bool operator==(const CreatedDefaults&) const = default;
    };
    // The file was unusable and could not be moved aside, so it was left as it is and nothing
    // was written over it.
    struct KeptInvalid {
        std::string reason;
        std::string moveError;
        bool operator==(const KeptInvalid&) const = default;
    };
    // There was no file and the defaults could not be written; they are in use all the same.
    struct DefaultsUnwritten {
        std::string error;
        bool operator==(const DefaultsUnwritten&) const = default;
    };
    using Outcome = std::variant<ReplacedInvalid, RefusedNewerSchema, Loaded, CreatedDefaults,
                                 KeptInvalid, DefaultsUnwritten>;

    struct Result {
        core::Settings settings;
        Outcome outcome;
    };

    // $XDG_CONFIG_HOME, else ~/.config.
    static std::filesystem::path configHome();
    // Its scrawlet folder. Not created here.
    static std::filesystem::path directory();
    static std::filesystem::path settingsFile() { return directory() / "settings.json"; }

    // None only when the built-in default document does not decode.
    static std::optional<Result> load(const std::filesystem::path& file);
    // Pretty-printed, keys sorted at every level, folders created, atomic replace. The error is
    // a readable description.
    static std::expected<void, std::string> write(const core::Settings& settings,
                                                  const std::filesystem::path& file);

    enum class SaveOutcome { written, heldBack, failed, noDocument };
    // Loads the document, lets `change` edit it and writes it back. While the file carries
    // another schema version nothing is written (said once per process on standard error).
    // A failed write is reported as "<prefix>could not save settings: <why>".
    static SaveOutcome save(const std::filesystem::path& file,
                            const std::function<void(core::Settings&)>& change,
                            std::string_view messagePrefix);

    // The start-up line of an outcome (no line feed), or nothing for `loaded`.
    static std::optional<std::string> startupLine(const Outcome& outcome,
                                                  const std::filesystem::path& file);

    // "settings.invalid-<UTC stamp without colons>.json".
    static std::string setAsideName(std::time_t now);
};

}  // namespace scrawlet::settings
