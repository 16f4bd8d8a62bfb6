#include "core/tool.h"

#include <gtest/gtest.h>

#include "core/auto_erase.h"
#include "core/stroke_scene.h"

namespace scrawlet::core {
namespace {

TEST(ToolTable, RawValuesAreExactAndInPanelOrder) {
    const auto tools = allCases<Tool>();
    ASSERT_EQ(tools.size(), 9u);
    EXPECT_EQ(rawValue(tools.front()), "pen");
    EXPECT_EQ(rawValue(tools.back()), "select");
    for (const Tool t : tools) {
        EXPECT_EQ(fromRawValue<Tool>(rawValue(t)), t);
    }
    EXPECT_FALSE(fromRawValue<Tool>("Pen"));
    EXPECT_FALSE(fromRawValue<Tool>(""));
    EXPECT_FALSE(fromRawValue<Tool>("select "));
    EXPECT_EQ(fromRawValue<Tool>("select"), Tool::select);
}

TEST(ToolTable, ColumnsMatchTheToolSet) {
    struct Row {
        Tool tool;
        ToolEffect effect;
        ToolCursor cursor;
        std::optional<ShapeKind> shape;
        bool draws;
    };
    const Row rows[] = {
        {Tool::pen, ToolEffect::ink, ToolCursor::crosshair, std::nullopt, true},
        {Tool::line, ToolEffect::ink, ToolCursor::crosshair, ShapeKind::line, true},
        {Tool::arrow, ToolEffect::ink, ToolCursor::crosshair, ShapeKind::arrow, true},
        {Tool::rectangle, ToolEffect::ink, ToolCursor::crosshair, ShapeKind::rectangle, true},
        {Tool::ellipse, ToolEffect::ink, ToolCursor::crosshair, ShapeKind::ellipse, true},
        {Tool::highlighter, ToolEffect::ink, ToolCursor::crosshair, std::nullopt, true},
        {Tool::text, ToolEffect::ink, ToolCursor::iBeam, std::nullopt, true},
        {Tool::eraser, ToolEffect::none, ToolCursor::arrow, std::nullopt, false},
        {Tool::select, ToolEffect::selection, ToolCursor::arrow, std::nullopt, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(rawValue(r.tool));
        EXPECT_EQ(effect(r.tool), r.effect);
        EXPECT_EQ(cursor(r.tool), r.cursor);
        EXPECT_EQ(shapeKind(r.tool), r.shape);
        EXPECT_EQ(drawsToday(r.tool), r.draws);
        EXPECT_EQ(blend(r.tool), r.tool == Tool::highlighter ? InkBlend::maximum : InkBlend::normal);
        EXPECT_EQ(unavailableReason(r.tool).has_value(), r.tool == Tool::eraser);
    }
    EXPECT_EQ(unavailableReason(Tool::eraser), "AN-08 is P1, not in M1's P0 set");
}

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

TEST(SelectionTargetValue, KindAndIndexBothDistinguish) {
    EXPECT_EQ(SelectionTarget::stroke(3), SelectionTarget::stroke(3));
    EXPECT_NE(SelectionTarget::stroke(3), SelectionTarget::text(3));
    EXPECT_NE(SelectionTarget::text(3), SelectionTarget::text(4));
}

}  // namespace
}  // namespace scrawlet::core
