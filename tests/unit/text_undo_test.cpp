#include <gtest/gtest.h>

#include "core/auto_erase.h"
#include "core/text_scene.h"
#include "core/undo_history.h"

namespace scrawlet::core {
namespace {

const StrokeStyle kText{Colour{0, 0, 0, 255}, 4, 1.0, InkBlend::normal};

TextSpan label(std::string text, ContentPoint at = {0, 0}) {
    return TextSpan(at, std::move(text), kText, 1);
}

ContentRect approximate(const TextSpan& s) {
    return TextScene::approximateBounds(s);
}

TEST(TextSceneHitTest, NewestWinsTombstonesNeverAndSlopGrowsEveryEdge) {
    TextScene scene(8);
    ASSERT_TRUE(scene.append(label("first", {0, 100})));
    ASSERT_TRUE(scene.append(label("second", {10, 100})));
    EXPECT_EQ(scene.hitTest({20, 110}, 0, approximate), 1);
    EXPECT_EQ(scene.hitTest({5, 110}, 0, approximate), 0);

    const auto measureBox = [](const TextSpan&) { return ContentRect{0, 0, 10, 10}; };
    EXPECT_EQ(scene.hitTest({-2, 12}, 2, measureBox), 1);
    EXPECT_FALSE(scene.hitTest({-2.01, 5}, 2, measureBox));

    const auto t = scene.appendTombstone();
    scene.supersede(1, *t);
    EXPECT_EQ(scene.hitTest({5, 5}, 0, measureBox), 0) << "tombstone and hidden item skipped";
}

using State = UndoHistory::State;

TEST(UndoHistoryCursor, UndoRedoWalkTheRecordedStates) {
    UndoHistory history(8);
    EXPECT_FALSE(history.canUndo());
    EXPECT_FALSE(history.canRedo());
    EXPECT_EQ(history.current(), (State{0, 0, 0}));
    history.record(1, 2, 0);
    history.record(2, 5, 1);
    EXPECT_EQ(history.undo(), (State{1, 2, 0}));
    EXPECT_EQ(history.undo(), (State{0, 0, 0}));
    EXPECT_FALSE(history.undo());
    EXPECT_EQ(history.redoableCount(), 2);
    EXPECT_EQ(history.redo(), (State{1, 2, 0}));
    EXPECT_EQ(history.redo(), (State{2, 5, 1}));
    EXPECT_FALSE(history.redo());
}

TEST(AutoEraseCurve, OpaqueThenLinearFadeEndingAtTheTimeToLive) {
    EXPECT_EQ(AutoErase::alpha(5, std::nullopt), 1);
    EXPECT_EQ(AutoErase::alpha(0, 1.0), 1);
    EXPECT_EQ(AutoErase::alpha(1, 1.0), 0);
    EXPECT_EQ(AutoErase::alpha(3, 0.0), 1);
    EXPECT_EQ(AutoErase::alpha(-1, 1.0), 1);
    struct Case {
        double ttl, age, alpha;
    };
    for (const Case& c :
         {Case{1, 0.6, 1}, Case{1, 0.8, 0.5}, Case{1, 0.9, 0.25}, Case{0.5, 0.25, 1},
          Case{0.5, 0.4, 0.4}, Case{10, 9.6, 1}, Case{10, 9.8, 0.5}, Case{10, 12, 0}}) {
        EXPECT_NEAR(AutoErase::alpha(c.age, c.ttl), c.alpha, 1e-12) << c.ttl << " " << c.age;
    }
    EXPECT_DOUBLE_EQ(AutoErase::fadeWindow(10), 0.4);
    EXPECT_DOUBLE_EQ(AutoErase::fadeWindow(0.5), 0.25);
}

}  // namespace
}  // namespace scrawlet::core
