// A snapshot of the process environment and the value rules of run configuration.
//
// Every rule falls back to its default on a malformed value without a message; the callers that
// must refuse a value say so themselves.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace scrawlet::shell {

class Environment {
  public:
    Environment() = default;
    explicit Environment(const std::map<std::string, std::string>& values)
        : values_(values.begin(), values.end()) {}

    static Environment fromProcess();

    std::optional<std::string_view> value(std::string_view name) const;
    bool has(std::string_view name) const { return value(name).has_value(); }

    // Present and exactly "1".
    bool flag(std::string_view name) const;
    // Present and not "0"; `absent` otherwise.
    bool notZero(std::string_view name, bool absent) const;
    // A whole decimal integer with an optional sign, in the signed 64-bit range.
    std::optional<std::int64_t> integer(std::string_view name) const;
    // A whole decimal number in the C locale ("-1.5", "2e3"), finite, no blanks around it;
    // hex, "inf" and "nan" are malformed.
    std::optional<double> number(std::string_view name) const;
    std::optional<std::string> text(std::string_view name) const;

    static std::optional<std::int64_t> parseInteger(std::string_view text);
    static std::optional<double> parseNumber(std::string_view text);

  private:
    std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace scrawlet::shell
