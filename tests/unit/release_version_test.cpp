#include "core/release_version.h"

#include <gtest/gtest.h>

namespace scrawlet::core {
namespace {

// Each row is strictly older than the next.
TEST(ReleaseVersion, AscendingLadder) {
    const char* ladder[] = {
        "0.9",
        "0.10",
        "1.0-alpha",
        "1.0-alpha.1",
        "1.0-alpha.beta",
        "1.0-beta",
        "1.0-beta.2",
        "1.0-beta.11",
        "1.0-rc.1",
        "1.0",
        "1.0.1",
        "1.2b9",
        "1.2b10",
        "1.2",
        "1.10",
        "2",
        "2.0.0.1",
        "10.0",
        "99999999999999999999999.1",
        "100000000000000000000000",
    };
    for (std::size_t i = 0; i + 1 < std::size(ladder); ++i) {
        EXPECT_EQ(compareVersions(ladder[i], ladder[i + 1]), std::strong_ordering::less)
            << ladder[i] << " < " << ladder[i + 1];
        EXPECT_EQ(compareVersions(ladder[i + 1], ladder[i]), std::strong_ordering::greater)
            << ladder[i + 1] << " > " << ladder[i];
    }
}

TEST(ReleaseVersion, SpellingsOfOneRelease) {
    const std::pair<const char*, const char*> same[] = {
        {"1.2", "1.2.0"},  {"1.2", "1.2.0.0"},           {"v1.2", "1.2"},   {"V1.2.0", "1.2"},
        {"01.002", "1.2"}, {"1.2+build.7", "1.2"},       {" 1.2\n", "1.2"}, {"1.2-RC1", "1.2-rc1"},
        {"0", "0.0.0"},    {"1.0-rc.1+x", "1.0.0-rc.1"},
    };
    for (const auto& [a, b] : same) {
        EXPECT_EQ(compareVersions(a, b), std::strong_ordering::equal) << a << " vs " << b;
    }
}

TEST(ReleaseVersion, RefusesTextWithoutALeadingNumber) {
    for (const char* text :
         {"", "v", "release", ".1", "1.", "1-", "-1", "1.2 beta", "1.2-\xff", "1.2-rc/1", "+5"}) {
        EXPECT_FALSE(ReleaseVersion::parse(text)) << '"' << text << '"';
        EXPECT_FALSE(compareVersions(text, "1.0")) << '"' << text << '"';
    }
}

}  // namespace
}  // namespace scrawlet::core
