#include "app/shell/environment.h"

#include <locale.h>
#include <unistd.h>

#include <cctype>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>

namespace scrawlet::shell {

Environment Environment::fromProcess() {
    std::map<std::string, std::string> values;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view pair(*entry);
        const auto equals = pair.find('=');
        if (equals != std::string_view::npos) {
            values.emplace(pair.substr(0, equals), pair.substr(equals + 1));
        }
    }
    return Environment(values);
}

std::optional<std::string_view> Environment::value(std::string_view name) const {
    const auto it = values_.find(name);
    if (it == values_.end()) {
        return std::nullopt;
    }
    return std::string_view(it->second);
}

bool Environment::flag(std::string_view name) const {
    return value(name) == "1";
}

bool Environment::notZero(std::string_view name, bool absent) const {
    const auto v = value(name);
    return v ? *v != "0" : absent;
}

std::optional<std::int64_t> Environment::integer(std::string_view name) const {
    const auto v = value(name);
    return v ? parseInteger(*v) : std::nullopt;
}

std::optional<double> Environment::number(std::string_view name) const {
    const auto v = value(name);
    return v ? parseNumber(*v) : std::nullopt;
}

std::optional<std::string> Environment::text(std::string_view name) const {
    const auto v = value(name);
    return v ? std::optional<std::string>(*v) : std::nullopt;
}

std::optional<std::int64_t> Environment::parseInteger(std::string_view text) {
    // from_chars takes no "+"; strip it ourselves but not a second sign after it.
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') {
            return std::nullopt;
        }
    }
    if (text.empty()) {
        return std::nullopt;
    }
    std::int64_t result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return result;
}

namespace {

// Digits with at most one point and at least one digit, then an optional exponent: what a
// person writes. strtod alone would also take hex, "inf", "nan" and "infinity".
bool isDecimalNumber(std::string_view text) {
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t start = i;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) {
            ++i;
        }
        return i - start;
    };
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    std::size_t mantissa = digits();
    if (i < text.size() && text[i] == '.') {
        ++i;
        mantissa += digits();
    }
    if (mantissa == 0) {
        return false;
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
            ++i;
        }
        if (digits() == 0) {
            return false;
        }
    }
    return i == text.size();
}

}  // namespace

std::optional<double> Environment::parseNumber(std::string_view text) {
    if (!isDecimalNumber(text)) {
        return std::nullopt;
    }
    // The C locale whatever the process locale is: Qt switches to the user's locale.
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    const std::string copy(text);
    const double result = strtod_l(copy.c_str(), nullptr, cLocale);
    // "1e999" is decimal but no number a run can use.
    if (!std::isfinite(result)) {
        return std::nullopt;
    }
    return result;
}

}  // namespace scrawlet::shell
