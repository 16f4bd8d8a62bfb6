// The failures of reading a settings document that the user can act on.
//
// A SettingsError is one of five cases, each with its payload, and `description()` is the exact
// message shown to the user. Decoding errors of the JSON layer (missing key, wrong type, unknown
// case name) are not SettingsErrors; see settings.h.
#pragma once

#include <string>
#include <variant>

namespace scrawlet::core {

struct SettingsError {
    struct UnsupportedSchemaVersion {
        long long found = 0;
        long long supported = 0;
        bool operator==(const UnsupportedSchemaVersion&) const = default;
    };
    struct MalformedColour {
        std::string text;  // the whole offending input, unchanged
        bool operator==(const MalformedColour&) const = default;
    };
    struct OutOfRange {
        std::string field;
        double value = 0;
        double lowerBound = 0;
        double upperBound = 0;
        bool operator==(const OutOfRange&) const = default;
    };
    struct WrongCount {
        std::string field;
        long long expected = 0;
        long long found = 0;
        bool operator==(const WrongCount&) const = default;
    };
    struct IndexOutOfBounds {
        std::string field;
        long long index = 0;
        long long count = 0;
        bool operator==(const IndexOutOfBounds&) const = default;
    };

    // Alternatives in case order.
    std::variant<UnsupportedSchemaVersion, MalformedColour, OutOfRange, WrongCount,
                 IndexOutOfBounds>
        error;

    std::string description() const;

    bool operator==(const SettingsError&) const = default;
};

}  // namespace scrawlet::core
