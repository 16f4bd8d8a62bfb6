// Pieces of hand-built JSON for output whose key order and number formats are fixed
// (event-log lines, run summaries), where a general serialiser would reorder or reformat.
#pragma once

#include <string>
#include <string_view>

namespace scrawlet::core {

// Appends `text` as a JSON string literal: quotes, backslashes and control characters escaped,
// everything else (UTF-8 included) kept byte for byte.
void appendJsonString(std::string& out, std::string_view text);

std::string jsonString(std::string_view text);

// printf-style "%.<digits>f" in the C locale; NaN and infinities are written as 0.
std::string fixedDecimal(double value, int digits);
// The same appended to `out`, which allocates nothing once `out` has room.
void appendFixedDecimal(std::string& out, double value, int digits);

}  // namespace scrawlet::core
