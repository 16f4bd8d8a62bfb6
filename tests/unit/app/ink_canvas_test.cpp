#include "app/ink/ink_canvas.h"

#include <gtest/gtest.h>

namespace scrawlet::ink {
namespace {

using core::ContentPoint;
using core::Tool;
using State = core::UndoHistory::State;

const core::StrokeStyle kPen{core::Colour{255, 0, 0, 255}, 4, 1, core::InkBlend::normal};

class RecordingListener : public InkCanvas::Listener {
  public:
    void frameRequested() override { ++frames; }
    bool captureKeyboard() override {
        ++captures;
        return keyboardAvailable;
    }
    void releaseKeyboard() override { ++releases; }
    int frames = 0;
    int captures = 0;
    int releases = 0;
    bool keyboardAvailable = true;
};

class InkCanvasTest : public ::testing::Test {
  protected:
    InkCanvasTest() : canvas({4096, 64, 0, 16}, kPen) { canvas.setListener(&listener); }

    void drag(std::initializer_list<ContentPoint> points, PointerModifiers mods = {}) {
        auto it = points.begin();
        canvas.pointerDown(*it, mods, 1, 1.0);
        const ContentPoint* last = it;
        for (++it; it != points.end(); ++it) {
            canvas.pointerDrag(*it, mods);
            last = it;
        }
        canvas.pointerUp(*last, mods, 1.0);
    }
    void type(const std::string& text) {
        for (const char c : text) {
            canvas.typeKey({TextKey::Kind::characters, std::string(1, c)}, 2.0);
        }
    }
    std::vector<ContentPoint> pointsOf(int span) const {
        const auto& s = canvas.scene().span(span);
        std::vector<ContentPoint> out;
        for (int k = 0; k < s.count; ++k) {
            out.push_back(canvas.scene().point(s.start + k));
        }
        return out;
    }

    RecordingListener listener;
    InkCanvas canvas;
};

TEST_F(InkCanvasTest, ShapesCommitTheirExpansionAndCollapseToADotWhenReleasedInPlace) {
    canvas.setTool(Tool::rectangle, 0);
    drag({{10, 10}, {20, 15}, {30, 20}});
    EXPECT_EQ(pointsOf(0),
              (std::vector<ContentPoint>{{10, 10}, {30, 10}, {30, 20}, {10, 20}, {10, 10}}));
    EXPECT_FALSE(canvas.liveShape());

    canvas.setTool(Tool::line, 0);
    drag({{0, 0}, {10, 1}}, {true, false});  // Shift snaps to 0°
    const auto snapped = pointsOf(1);
    ASSERT_EQ(snapped.size(), 2u);
    EXPECT_NEAR(snapped[1].y, 0, 1e-9);

    canvas.setTool(Tool::ellipse, 0);
    drag({{5, 5}, {8, 9}}, {false, true});  // Alt: origin is the centre
    const auto ellipse = pointsOf(2);
    EXPECT_EQ(ellipse.size(), 65u);
    EXPECT_EQ(ellipse.front(), ellipse.back());

    for (const Tool tool : {Tool::line, Tool::arrow, Tool::rectangle, Tool::ellipse}) {
        canvas.setTool(tool, 0);
        const int before = canvas.history().stateCount();
        drag({{50, 50}, {60, 60}, {50, 50}});
        EXPECT_EQ(canvas.scene().span(canvas.scene().spanCount() - 1).count, 1)
            << core::rawValue(tool);
        EXPECT_EQ(canvas.history().stateCount(), before + 1);
    }
}

TEST_F(InkCanvasTest, SelectMoveUndoAndZeroMoves) {
    drag({{0, 0}, {100, 0}});
    canvas.setTool(Tool::select, 0);
    canvas.pointerDown({50, 3}, {}, 1, 2);
    ASSERT_EQ(canvas.selection(), core::SelectionTarget::stroke(0));
    canvas.pointerDrag({50, 23}, {});
    EXPECT_EQ(canvas.selectionOutline(), (core::ContentRect{-2, 18, 104, 4}));
    canvas.pointerUp({50, 23}, {}, 2);
    EXPECT_FALSE(canvas.scene().isVisible(0));
    EXPECT_EQ(pointsOf(1), (std::vector<ContentPoint>{{0, 20}, {100, 20}}));
    EXPECT_EQ(canvas.scene().span(1).birth, canvas.scene().span(0).birth);
    EXPECT_EQ(canvas.selection(), core::SelectionTarget::stroke(1));

    const int states = canvas.history().stateCount();
    canvas.pointerDown({50, 20}, {}, 1, 3);
    canvas.pointerUp({50, 20}, {}, 3);
    EXPECT_EQ(canvas.history().stateCount(), states) << "a zero move records nothing";

    EXPECT_TRUE(canvas.undo());
    EXPECT_TRUE(canvas.scene().isVisible(0));
    EXPECT_FALSE(canvas.scene().isVisible(1));
}

TEST_F(InkCanvasTest, DeleteUndoRedoAndClearAll) {
    drag({{0, 0}, {10, 0}});
    canvas.setTool(Tool::select, 0);
    EXPECT_FALSE(canvas.deleteSelection()) << "nothing selected";
    canvas.pointerDown({5, 0}, {}, 1, 1);
    canvas.pointerUp({5, 0}, {}, 1);
    EXPECT_TRUE(canvas.deleteSelection());
    EXPECT_FALSE(canvas.scene().isVisible(0));
    EXPECT_FALSE(canvas.selection());
    EXPECT_TRUE(canvas.undo());
    EXPECT_TRUE(canvas.scene().isVisible(0));
    EXPECT_TRUE(canvas.redo());
    EXPECT_FALSE(canvas.scene().isVisible(0));
    EXPECT_FALSE(canvas.clearAll()) << "nothing visible";
    EXPECT_TRUE(canvas.undo());
    EXPECT_TRUE(canvas.clearAll());
    EXPECT_EQ(canvas.scene().visibleSpanCount(), 0);
    EXPECT_TRUE(canvas.undo()) << "clear-all is undoable";
    EXPECT_TRUE(canvas.scene().isVisible(0));
}

TEST_F(InkCanvasTest, TextEntryCommitsOnEscapeAndReEditingSupersedes) {
    canvas.setTool(Tool::text, 0);
    canvas.pointerDown({100, 200}, {}, 1, 1);
    ASSERT_TRUE(canvas.textSession());
    type("hi");
    canvas.typeKey({TextKey::Kind::lineFeed, ""}, 2);
    type("xy");
    canvas.typeKey({TextKey::Kind::backspace, ""}, 2);
    canvas.typeKey({TextKey::Kind::characters, "\x01\xC3\xA9"}, 2);
    canvas.typeKey({TextKey::Kind::escape, ""}, 3);
    EXPECT_FALSE(canvas.textSession());
    EXPECT_EQ(listener.releases, 1);
    ASSERT_EQ(canvas.textScene().count(), 1);
    EXPECT_EQ(canvas.textScene().span(0).text, "hi\nx\xC3\xA9");
    EXPECT_EQ(canvas.textScene().span(0).birth, 3);
    EXPECT_EQ(canvas.history().current(), (State{0, 0, 1}));

    canvas.setTool(Tool::select, 3);
    canvas.pointerDown({101, 190}, {}, 2, 4);
    ASSERT_TRUE(canvas.textSession());
    EXPECT_EQ(canvas.textSession()->buffer, "hi\nx\xC3\xA9");
    canvas.typeKey({TextKey::Kind::characters, "!"}, 5);
    canvas.typeKey({TextKey::Kind::escape, ""}, 5);
    EXPECT_FALSE(canvas.textScene().isVisible(0));
    EXPECT_TRUE(canvas.textScene().isVisible(1));
    EXPECT_EQ(canvas.textScene().span(1).position, (ContentPoint{100, 200}));
}

TEST_F(InkCanvasTest, AnEditWhileAShapeIsDraggedLeavesTheShapeToCommit) {
    drag({{10, 10}, {60, 10}});
    canvas.setTool(Tool::rectangle, 1);
    canvas.pointerDown({100, 100}, {}, 1, 2);
    canvas.pointerDrag({160, 140}, {});
    ASSERT_TRUE(canvas.liveShape());
    EXPECT_TRUE(canvas.undo());  // a shortcut pressed mid-drag
    EXPECT_TRUE(canvas.liveShape()) << "still under the pointer";
    canvas.pointerUp({160, 140}, {}, 2);
    EXPECT_EQ(canvas.scene().visibleSpanCount(), 1) << "the rectangle replaced the undone line";
    EXPECT_GE(canvas.scene().span(0).count, 5);
}

}  // namespace
}  // namespace scrawlet::ink
