// A release's version text as feeds and builds write it, and its order.
//
// "1.2", "v1.2.0", "1.10.3-rc.2", "2.0b1" and "1.4+git5" all parse: an optional leading "v",
// dotted decimal components (any length; missing ones count as 0, so "1.2" equals "1.2.0"),
// then an optional pre-release label, introduced by "-" or starting straight after a digit,
// then optional build metadata after "+", which never affects the order. A pre-release comes
// before its release ("2.0-rc1" < "2.0"); labels compare piece by piece, digits as numbers
// ("beta.2" < "beta.10", "b9" < "b10") and words by their characters ("alpha" < "beta" < "rc").
// Text without a leading number does not parse.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scrawlet::core {

struct ReleaseVersion {
    // Decimal digits without leading zeros ("0" for zero), so that numbers of any size compare.
    std::vector<std::string> components;
    std::string preRelease;

    static std::optional<ReleaseVersion> parse(std::string_view text);
};

std::strong_ordering compare(const ReleaseVersion& a, const ReleaseVersion& b);

// The order of two version texts; none when either does not parse.
std::optional<std::strong_ordering> compareVersions(std::string_view a, std::string_view b);

}  // namespace scrawlet::core
