// Writes one JSON object member by member onto the end of a string, in call order: for output
// whose key order is part of its format (run summaries, harness logs), so no map sits in
// between. Nothing is allocated once the string has room, so a writer can fill a buffer
// reserved for a whole file. `Self` is the type the member calls return, so that a writer with
// members of its own chains them with these; `JsonObject` is the plain one.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/json_text.h"
#include "core/number_format.h"

namespace scrawlet::core {

template <class Self>
class BasicJsonObject {
  public:
    explicit BasicJsonObject(std::string& out) : out_(out) { out_ += '{'; }
    BasicJsonObject(const BasicJsonObject&) = delete;
    BasicJsonObject& operator=(const BasicJsonObject&) = delete;

    Self& text(std::string_view key, std::string_view value) {
        name(key);
        appendJsonString(out_, value);
        return self();
    }
    Self& flag(std::string_view key, bool value) {
        name(key);
        out_ += value ? "true" : "false";
        return self();
    }
    template <std::integral T>
    requires(!std::same_as<T, bool>) Self& count(std::string_view key, T value) {
        name(key);
        char digits[24];
        out_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
        return self();
    }
    // null when there is no value.
    Self& count(std::string_view key, std::optional<std::int64_t> value) {
        if (value) {
            return count(key, *value);
        }
        name(key);
        out_ += "null";
        return self();
    }
    // The shortest text that reads back as the same double; 0 for NaN and infinities.
    Self& number(std::string_view key, double value) {
        name(key);
        out_ += shortestDecimal(std::isfinite(value) ? value : 0.0);
        return self();
    }
    Self& fixed(std::string_view key, double value, int digits) {
        name(key);
        appendFixedDecimal(out_, value, digits);
        return self();
    }
    // null when there is no value or it is not finite.
    Self& fixedOrNull(std::string_view key, std::optional<double> value, int digits) {
        if (value && std::isfinite(*value)) {
            return fixed(key, *value, digits);
        }
        name(key);
        out_ += "null";
        return self();
    }
    // A value already in JSON form: an array or a nested object.
    Self& json(std::string_view key, std::string_view value) {
        name(key);
        out_ += value;
        return self();
    }

    void close() { out_ += '}'; }

  private:
    Self& self() { return static_cast<Self&>(*this); }
    void name(std::string_view key) {
        if (!first_) {
            out_ += ',';
        }
        first_ = false;
        appendJsonString(out_, key);
        out_ += ':';
    }

    std::string& out_;
    bool first_ = true;
};

class JsonObject final : public BasicJsonObject<JsonObject> {
  public:
    using BasicJsonObject::BasicJsonObject;
};

}  // namespace scrawlet::core
