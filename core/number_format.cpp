#include "core/number_format.h"

#include <array>
#include <charconv>
#include <cmath>

namespace scrawlet::core {

std::string shortestDecimal(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-inf" : "inf";
    }
    // Plain decimals from 0.0001 up to the last integer a double holds exactly, as people
    // write them ("0.0001", "100000.0"); exponents only beyond, where digits would run on.
    const double magnitude = std::abs(value);
    const bool plain = magnitude == 0 || (magnitude >= 1e-4 && magnitude < 0x1p53);
    std::array<char, 400> buffer{};
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                      plain ? std::chars_format::fixed : std::chars_format::scientific);
    std::string text(buffer.data(), end);
    if (plain && text.find('.') == std::string::npos) {
        text += ".0";
    }
    return text;
}

}  // namespace scrawlet::core
