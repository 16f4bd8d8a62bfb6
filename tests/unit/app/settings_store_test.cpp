#include "app/settings/settings_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::settings {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;

std::string defaultsWith(const std::function<void(nlohmann::json&)>& edit) {
    auto json = nlohmann::json::parse(core::Settings::defaultDocument);
    edit(json);
    return json.dump(2);
}

std::vector<fs::path> setAsideFiles(const fs::path& folder) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with("settings.invalid-")) {
            found.push_back(entry.path());
        }
    }
    return found;
}

TEST(SettingsStoreLoad, FirstLaunchCreatesFolderAndSortedPrettyDefaults) {
    TemporaryFolder tmp;
    const auto file = tmp.path() / "a" / "b" / "settings.json";
    const auto result = SettingsStore::load(file);
    ASSERT_TRUE(result);
    EXPECT_TRUE(std::holds_alternative<SettingsStore::CreatedDefaults>(result->outcome));
    EXPECT_EQ(SettingsStore::startupLine(result->outcome, file),
              "draw: wrote default settings to " + file.string());

    const std::string text = TemporaryFolder::read(file);
    EXPECT_LT(text.find("\"annotation\""), text.find("\"capture\""));
    EXPECT_LT(text.find("\"autoErase\""), text.find("\"beautify\""));
    EXPECT_NE(text.find("\"toleranceFraction\": 0.08"), std::string::npos);
    EXPECT_NE(text.find("\n  \"schemaVersion\": 1"), std::string::npos) << "pretty-printed";

    const auto again = SettingsStore::load(file);
    ASSERT_TRUE(again);
    EXPECT_TRUE(std::holds_alternative<SettingsStore::Loaded>(again->outcome));
    EXPECT_EQ(again->settings, result->settings);
    EXPECT_FALSE(SettingsStore::startupLine(again->outcome, file));
}

TEST(SettingsStoreWrite, FollowsTheUmaskAndClearsWhatAnInterruptedWriteLeft) {
    TemporaryFolder tmp;
    const auto file = tmp.path() / "settings.json";
    const auto leftover = tmp.write(".settings.json.Ab12Cd", "{\"torn");
    const mode_t before = ::umask(077);
    const auto written = SettingsStore::write(core::Settings::builtInDefaults(), file);
    ::umask(before);
    ASSERT_TRUE(written) << written.error();
    struct stat info {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << "a private umask keeps the file private";
    EXPECT_FALSE(fs::exists(leftover));
}

TEST(SettingsStoreLoad, DefaultsThatCouldNotBeWrittenAreNotReportedAsWritten) {
    TemporaryFolder tmp;
    const auto file = tmp.write("plain-file", "x") / "settings.json";
    const auto result = SettingsStore::load(file);
    ASSERT_TRUE(result);
    EXPECT_TRUE(std::holds_alternative<SettingsStore::DefaultsUnwritten>(result->outcome));
    const auto line = SettingsStore::startupLine(result->outcome, file);
    ASSERT_TRUE(line);
    EXPECT_TRUE(line->starts_with("draw: could not write default settings (cannot create "))
        << *line;
    EXPECT_EQ(result->settings, core::Settings::builtInDefaults());
}

TEST(SettingsStoreLoad, OtherSchemaVersionsAreNeverTouched) {
    for (const int version : {0, 2}) {
        TemporaryFolder tmp;
        const std::string original = defaultsWith([&](auto& j) { j["schemaVersion"] = version; });
        const auto file = tmp.write("settings.json", original);
        const auto result = SettingsStore::load(file);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->outcome,
                  SettingsStore::Outcome(SettingsStore::RefusedNewerSchema{version, 1}));
        EXPECT_EQ(result->settings, core::Settings::builtInDefaults());
        EXPECT_EQ(TemporaryFolder::read(file), original);
        EXPECT_TRUE(setAsideFiles(tmp.path()).empty());
        EXPECT_EQ(SettingsStore::startupLine(result->outcome, file),
                  "draw: settings say schemaVersion " + std::to_string(version) +
                      " and this build supports 1; the file is untouched and defaults are in use");

        // Saves are held back so the other version's file survives.
        const auto saved = SettingsStore::save(
            file, [](core::Settings& s) { s.annotation.selectedPaletteIndex = 3; }, "draw: ");
        EXPECT_EQ(saved, SettingsStore::SaveOutcome::heldBack);
        EXPECT_EQ(TemporaryFolder::read(file), original);
    }
}

TEST(SettingsStoreLoad, UnusableFilesAreMovedAsideWithTheirReason) {
    struct Case {
        const char* name;
        std::string text;
        std::string reasonStart;
    };
    const Case cases[] = {
        {"palette of four", defaultsWith([](auto& j) { j["annotation"]["palette"].erase(0); }),
         "annotation.palette has 4 entries, expected 5"},
        {"not JSON", "this is not json {", "[json.exception.parse_error"},
        {"wrong type", defaultsWith([](auto& j) { j["zoom"]["level"] = "two"; }), "zoom"},
        {"unknown case", defaultsWith([](auto& j) { j["spotlight"]["shape"] = "star"; }), ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TemporaryFolder tmp;
        const auto file = tmp.write("settings.json", c.text);
        const auto result = SettingsStore::load(file);
        ASSERT_TRUE(result);
        const auto* replaced = std::get_if<SettingsStore::ReplacedInvalid>(&result->outcome);
        ASSERT_TRUE(replaced);
        EXPECT_TRUE(replaced->reason.starts_with(c.reasonStart)) << replaced->reason;
        EXPECT_FALSE(replaced->reason.empty());
        const auto aside = setAsideFiles(tmp.path());
        ASSERT_EQ(aside.size(), 1u);
        EXPECT_EQ(aside[0].string(), replaced->movedTo);
        EXPECT_EQ(TemporaryFolder::read(aside[0]), c.text) << "the user's file is kept";
        EXPECT_TRUE(SettingsStore::load(file)) << "defaults were written in its place";
        EXPECT_EQ(SettingsStore::startupLine(result->outcome, file),
                  "draw: settings were unreadable (" + replaced->reason + "); the old file is at " +
                      replaced->movedTo + " and defaults are in use");
    }
}

TEST(SettingsStoreWrite, SaveRoundTripsAndFailsWithAReadableReason) {
    TemporaryFolder tmp;
    const auto file = tmp.path() / "settings.json";
    EXPECT_EQ(SettingsStore::save(
                  file, [](core::Settings& s) { s.annotation.selectedPaletteIndex = 2; }, "draw: "),
              SettingsStore::SaveOutcome::written);
    const auto loaded = SettingsStore::load(file);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->settings.annotation.selectedPaletteIndex, 2);

    const auto blocked = tmp.write("plain-file", "x") / "settings.json";
    const auto written = SettingsStore::write(core::Settings::builtInDefaults(), blocked);
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().find("plain-file"), std::string::npos) << written.error();
}

}  // namespace
}  // namespace scrawlet::settings
