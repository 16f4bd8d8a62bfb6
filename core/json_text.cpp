#include "core/json_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace scrawlet::core {

void appendJsonString(std::string& out, std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (const char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    out += "\\u00";
                    out += kHex[(c >> 4) & 0xf];
                    out += kHex[c & 0xf];
                } else {
                    out += c;
                }
        }
    }
    out += '"';
}

std::string jsonString(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 2);
    appendJsonString(out, text);
    return out;
}

void appendFixedDecimal(std::string& out, double value, int digits) {
    // JSON has no NaN or infinity; a broken clock must not break the line.
    if (!std::isfinite(value)) {
        value = 0;
    }
    // Wide enough for the largest double in fixed notation; to_chars ignores the locale.
    std::array<char, 512> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::fixed, digits);
    out.append(buffer.data(), result.ptr);
}

std::string fixedDecimal(double value, int digits) {
    std::string out;
    appendFixedDecimal(out, value, digits);
    return out;
}

}  // namespace scrawlet::core
