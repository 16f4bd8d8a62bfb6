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

ContentRect approximate(const TextSpan& s) { return TextScene::approximateBounds(s); }

TEST(TextSceneCapacity, FullSceneRefusesUntilAnUndoFreesASlot) {
    TextScene scene(1);
    EXPECT_TRUE(scene.append(label("a")));
    EXPECT_FALSE(scene.append(label("b")));
    EXPECT_EQ(scene.droppedCount(), 1);
    EXPECT_FALSE(scene.appendTombstone());
    EXPECT_EQ(scene.droppedCount(), 2);
    scene.setVisible(0);
    EXPECT_TRUE(scene.append(label("c")));
    EXPECT_EQ(scene.count(), 1);
    EXPECT_EQ(scene.span(0).text, "c");
}

TEST(TextSceneVisibility, UndoneDeleteStaysUndoneAfterAnotherAppend) {
    TextScene scene(8);
    ASSERT_TRUE(scene.append(label("A")));
    const auto t = scene.appendTombstone();
    ASSERT_EQ(t, 1);
    scene.supersede(0, *t);
    EXPECT_FALSE(scene.isVisible(0));
    scene.setVisible(1);
    EXPECT_TRUE(scene.isVisible(0));
    ASSERT_TRUE(scene.append(label("B")));  // lands in the tombstone's old slot
    EXPECT_EQ(scene.span(0).supersededBy, -1);
    EXPECT_TRUE(scene.isVisible(0));
    EXPECT_TRUE(scene.isVisible(1));
    scene.clear();
    EXPECT_EQ(scene.visibleCount(), 0);
    EXPECT_FALSE(scene.isVisible(0));
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

TEST(TextSceneBounds, ApproximationCountsEmptyLinesAndCharacters) {
    const ContentRect r = TextScene::approximateBounds(label("ab\n\ncdef", {10, 100}));
    EXPECT_DOUBLE_EQ(r.x, 10);
    EXPECT_DOUBLE_EQ(r.width, 48);
    EXPECT_DOUBLE_EQ(r.height, 86.4);
    EXPECT_DOUBLE_EQ(r.y, 100 - 57.6);

    const ContentRect empty = TextScene::approximateBounds(label("", {0, 0}));
    EXPECT_DOUBLE_EQ(empty.width, 0);
    EXPECT_DOUBLE_EQ(empty.height, 28.8);
    // Two characters, four bytes.
    EXPECT_DOUBLE_EQ(TextScene::approximateBounds(label("\xC3\xA9\xC3\xA9")).width, 24);
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

TEST(UndoHistoryCursor, RecordingAfterUndoDropsTheFutureAndReportsWhereItForked) {
    UndoHistory history(8);
    EXPECT_FALSE(history.record(1, 1, 0));
    history.record(2, 2, 0);
    history.undo();
    EXPECT_EQ(history.record(3, 3, 0), (State{1, 1, 0}));
    EXPECT_FALSE(history.redo());
    EXPECT_EQ(history.undo(), (State{1, 1, 0}));
    history.record(1, 1, 0);
    history.record(1, 1, 0);
    EXPECT_EQ(history.stateCount(), 4) << "equal states are separate steps";
}

TEST(UndoHistoryCapacity, OldestStatesFallOffAndResetRestoresANewHistory) {
    UndoHistory history(2);
    history.record(1, 1, 0);
    history.record(2, 2, 0);
    EXPECT_EQ(history.droppedStateCount(), 1);
    EXPECT_EQ(history.undo(), (State{1, 1, 0}));
    EXPECT_FALSE(history.undo());
    history.reset();
    EXPECT_EQ(history, UndoHistory(2));
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
    for (const Case& c : {Case{1, 0.6, 1}, Case{1, 0.8, 0.5}, Case{1, 0.9, 0.25},
                         Case{0.5, 0.25, 1}, Case{0.5, 0.4, 0.4}, Case{10, 9.6, 1},
                         Case{10, 9.8, 0.5}, Case{10, 12, 0}}) {
        EXPECT_NEAR(AutoErase::alpha(c.age, c.ttl), c.alpha, 1e-12) << c.ttl << " " << c.age;
    }
    EXPECT_DOUBLE_EQ(AutoErase::fadeWindow(10), 0.4);
    EXPECT_DOUBLE_EQ(AutoErase::fadeWindow(0.5), 0.25);
}

TEST(AutoEraseCurve, DeathTimeAndModeCycle) {
    EXPECT_EQ(AutoErase::deathTime(100, 3.0), 103);
    EXPECT_FALSE(AutoErase::deathTime(100, 0.0));
    EXPECT_FALSE(AutoErase::deathTime(100, std::nullopt));
    EXPECT_EQ(nextAutoEraseMode(AutoEraseMode::fiveSeconds), AutoEraseMode::custom);
    EXPECT_EQ(nextAutoEraseMode(AutoEraseMode::custom), AutoEraseMode::off);
    EXPECT_EQ(nextAutoEraseMode(AutoEraseMode::off), AutoEraseMode::oneSecond);
}

}  // namespace
}  // namespace scrawlet::core
