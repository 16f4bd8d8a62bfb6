#include "core/settings_error.h"

#include "core/number_format.h"

namespace scrawlet::core {
namespace {

template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

}  // namespace

std::string SettingsError::description() const {
    return std::visit(
        Overloaded{
            [](const UnsupportedSchemaVersion& e) {
                return "settings schemaVersion " + std::to_string(e.found) +
                       " is not supported (this build reads " + std::to_string(e.supported) + ")";
            },
            [](const MalformedColour& e) {
                return "malformed colour \"" + e.text + "\": expected #RRGGBB or #RRGGBBAA";
            },
            [](const OutOfRange& e) {
                return e.field + " is " + shortestDecimal(e.value) + ", outside " +
                       shortestDecimal(e.lowerBound) + "..." + shortestDecimal(e.upperBound);
            },
            [](const WrongCount& e) {
                return e.field + " has " + std::to_string(e.found) + " entries, expected " +
                       std::to_string(e.expected);
            },
            [](const IndexOutOfBounds& e) {
                return e.field + " is " + std::to_string(e.index) + ", outside 0..<" +
                       std::to_string(e.count);
            },
        },
        error);
}

}  // namespace scrawlet::core
