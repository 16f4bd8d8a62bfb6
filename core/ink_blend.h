// How a stroke's ink combines with what lies under it: source-over, or the per-channel maximum
// that keeps overlapping highlighter marks from darkening each other.
#pragma once

#include <array>
#include <string_view>

#include "core/enum_traits.h"

namespace scrawlet::core {

enum class InkBlend { normal, maximum };

template <>
struct EnumTraits<InkBlend> {
    static constexpr std::array<std::string_view, 2> names{"normal", "maximum"};
};

}  // namespace scrawlet::core
