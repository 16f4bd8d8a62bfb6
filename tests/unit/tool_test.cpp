#include "core/tool.h"

#include <gtest/gtest.h>

#include "core/auto_erase.h"
#include "core/stroke_scene.h"

namespace scrawlet::core {
namespace {

// Raw values are the JSON and log form: a renamed case would break files and logs.
TEST(EnumerationRawValues, EveryCaseConvertsBothWaysInDeclarationOrder) {
    const auto check = []<class E>(std::initializer_list<std::string_view> names) {
        ASSERT_EQ(caseCount<E>(), names.size());
        std::size_t i = 0;
        for (const std::string_view name : names) {
            const E value = allCases<E>()[i++];
            EXPECT_EQ(rawValue(value), name);
            EXPECT_EQ(fromRawValue<E>(name), value);
        }
    };
    check.template operator()<ToolEffect>({"ink", "selection", "none"});
    check.template operator()<ToolCursor>({"arrow", "crosshair", "iBeam"});
    check.template operator()<ShapeKind>({"line", "arrow", "rectangle", "ellipse"});
    check.template operator()<InkBlend>({"normal", "maximum"});
    check.template operator()<AutoEraseMode>(
        {"off", "oneSecond", "threeSeconds", "fiveSeconds", "custom"});
    check.template operator()<StrokePointOutcome>(
        {"appended", "coincident", "pointCapacityReached", "noStrokeInProgress"});
    EXPECT_FALSE(fromRawValue<AutoEraseMode>("OFF"));
}

}  // namespace
}  // namespace scrawlet::core
