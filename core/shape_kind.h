// The figures that shape tools drag out.
#pragma once

#include <array>
#include <string_view>

#include "core/enum_traits.h"

namespace scrawlet::core {

enum class ShapeKind { line, arrow, rectangle, ellipse };

template <>
struct EnumTraits<ShapeKind> {
    static constexpr std::array<std::string_view, 4> names{"line", "arrow", "rectangle", "ellipse"};
};

}  // namespace scrawlet::core
