// Number texts shared by error messages and machine-readable output.
#pragma once

#include <string>

namespace scrawlet::core {

// Shortest text that reads back as the same double, always with a fractional part or an
// exponent: 1 -> "1.0", 0.001 -> "0.001", 400 -> "400.0".
std::string shortestDecimal(double value);

}  // namespace scrawlet::core
