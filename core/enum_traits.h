// Raw string values of the model's enumerations.
//
// Every enumeration of the model keeps its cases in declaration order with a string raw value
// that is also its JSON and log form. An enumeration opts in by specialising EnumTraits with a
// `names` array in case order; rawValue/fromRawValue/allCases then work for it. Conversion is
// exact and case-sensitive both ways.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace scrawlet::core {

template <class E>
struct EnumTraits;

template <class E>
constexpr std::size_t caseCount() {
    return EnumTraits<E>::names.size();
}

template <class E>
constexpr std::string_view rawValue(E value) {
    const auto index = static_cast<std::size_t>(value);
    return EnumTraits<E>::names[index];
}

template <class E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
    for (std::size_t i = 0; i < caseCount<E>(); ++i) {
        if (EnumTraits<E>::names[i] == text) {
            return static_cast<E>(i);
        }
    }
    return std::nullopt;
}

template <class E>
constexpr std::array<E, caseCount<E>()> allCases() {
    std::array<E, caseCount<E>()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        cases[i] = static_cast<E>(i);
    }
    return cases;
}

}  // namespace scrawlet::core
