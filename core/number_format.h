// Number texts shared by error messages and machine-readable output.
#pragma once

#include <string>

namespace scrawlet::core {

// Shortest text that reads back as the same double, always with a fractional part or an
// exponent: 1 -> "1.0", 0.0001 -> "0.0001", 100000 -> "100000.0"; below 0.0001 and from 2^53
// on in exponent form, 1e-05 -> "1e-05".
std::string shortestDecimal(double value);

}  // namespace scrawlet::core
