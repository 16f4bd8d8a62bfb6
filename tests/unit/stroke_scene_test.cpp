#include "core/stroke_scene.h"

#include <gtest/gtest.h>

namespace scrawlet::core {
namespace {

const StrokeStyle kPen{Colour{255, 0, 0, 255}, 4, 1.0, InkBlend::normal};

// Draws a finished stroke through the given points.
void draw(StrokeScene& scene, std::initializer_list<ContentPoint> points,
          const StrokeStyle& style = kPen, double birth = 1) {
    auto it = points.begin();
    ASSERT_TRUE(scene.begin(*it, style, birth));
    for (++it; it != points.end(); ++it) {
        scene.extend(*it);
    }
    scene.end();
}

TEST(StrokeSceneDrawing, StrokesAreContiguousSpansAndOnlyTheOpenOneTakesPoints) {
    StrokeScene scene(100, 10, 0);
    EXPECT_EQ(scene.extend({1, 1}), StrokePointOutcome::noStrokeInProgress);
    EXPECT_FALSE(scene.end());
    draw(scene, {{0, 0}, {1, 0}, {2, 0}});
    EXPECT_EQ(scene.extend({3, 3}), StrokePointOutcome::noStrokeInProgress);
    EXPECT_FALSE(scene.cancel());
    ASSERT_TRUE(scene.begin({5, 5}, kPen, 2));
    scene.extend({15, 5});
    ASSERT_TRUE(scene.begin({6, 9}, kPen, 3));  // closes the open stroke
    EXPECT_EQ(scene.extend({7, 9}), StrokePointOutcome::appended);
    ASSERT_EQ(scene.spanCount(), 3);
    EXPECT_EQ(scene.span(1).start, 3);
    EXPECT_EQ(scene.span(1).count, 2);
    EXPECT_EQ(scene.span(2).start, 5);
    EXPECT_EQ(scene.point(5), (ContentPoint{6, 9}));
    EXPECT_EQ(scene.visiblePointCount(), 7);
    EXPECT_EQ(scene.hitTest({12, 5}, 0), 1) << "the closed stroke is searchable";

    EXPECT_TRUE(scene.cancel());
    EXPECT_EQ(scene.spanCount(), 2);
    EXPECT_EQ(scene.visiblePointCount(), 5);
    EXPECT_EQ(scene.pointCount(), 5);
    EXPECT_FALSE(scene.isDrawing());
}

TEST(StrokeSceneCapacity, FullStoresRefuseAndCountWithoutChangingTheScene) {
    StrokeScene strokesFull(100, 2, 0);
    draw(strokesFull, {{0, 0}});
    draw(strokesFull, {{1, 1}});
    EXPECT_FALSE(strokesFull.begin({2, 2}, kPen, 0));
    EXPECT_FALSE(strokesFull.appendTombstone());
    EXPECT_EQ(strokesFull.droppedStrokeCount(), 2);
    EXPECT_EQ(strokesFull.droppedPointCount(), 0);
    // The hidden future still counts until the scene is cleared.
    strokesFull.setVisible(1, 1);
    EXPECT_FALSE(strokesFull.begin({2, 2}, kPen, 0));
    EXPECT_EQ(strokesFull.spanCount(), 2) << "a refused begin must not truncate";
    strokesFull.clear();
    EXPECT_EQ(strokesFull.droppedStrokeCount(), 3) << "clear keeps the dropped counters";
    EXPECT_EQ(strokesFull.strokeStorageCapacity(), 2u);
    EXPECT_TRUE(strokesFull.begin({2, 2}, kPen, 0));

    StrokeScene pointsFull(3, 10, 0);
    ASSERT_TRUE(pointsFull.begin({0, 0}, kPen, 0));
    EXPECT_EQ(pointsFull.extend({1, 0}), StrokePointOutcome::appended);
    EXPECT_EQ(pointsFull.extend({2, 0}), StrokePointOutcome::appended);
    EXPECT_EQ(pointsFull.extend({3, 0}), StrokePointOutcome::pointCapacityReached);
    EXPECT_TRUE(pointsFull.isDrawing()) << "the stroke stays open after a refused point";
    pointsFull.end();
    EXPECT_FALSE(pointsFull.begin({9, 9}, kPen, 0));
    EXPECT_EQ(pointsFull.droppedPointCount(), 2);
    EXPECT_EQ(pointsFull.droppedStrokeCount(), 1);
    EXPECT_EQ(pointsFull.spanCount(), 1);
}

TEST(StrokeSceneVisibility, DeleteUndoThenNewStrokeRevivesTheOriginal) {
    StrokeScene scene(100, 10, 0);
    draw(scene, {{0, 0}, {10, 0}});
    const auto tombstone = scene.appendTombstone();
    ASSERT_EQ(tombstone, 1);
    scene.supersede(0, *tombstone);
    EXPECT_FALSE(scene.isVisible(0));
    EXPECT_EQ(scene.segmentCount(), 1) << "superseded spans of the prefix still count";
    scene.setVisible(1, 2);  // undo the delete
    EXPECT_TRUE(scene.isVisible(0));
    EXPECT_EQ(scene.span(0).supersededBy, 1) << "undo moves counters only";

    draw(scene, {{50, 50}});  // truncates the tombstone and takes its slot
    EXPECT_EQ(scene.span(0).supersededBy, -1);
    EXPECT_EQ(scene.spanCount(), 2);
    EXPECT_EQ(scene.span(1).count, 1);
    EXPECT_TRUE(scene.isVisible(0));
}

TEST(StrokeSceneHitTest, PrefersNewestAndSkipsHiddenAndTombstones) {
    StrokeScene scene(100, 10, 0);
    draw(scene, {{0, 0}, {100, 0}});
    draw(scene, {{50, -50}, {50, 50}});
    EXPECT_EQ(scene.hitTest({50, 0}, 1), 1);
    EXPECT_EQ(scene.hitTest({10, 0}, 1), 0);
    scene.supersede(1, *scene.appendTombstone());
    EXPECT_EQ(scene.hitTest({50, 0}, 1), 0);
    EXPECT_FALSE(scene.hitTest({50, 40}, 1));
    EXPECT_FALSE(scene.hitTest({0, 0}, -100)) << "negative reach hits nothing";
}

}  // namespace
}  // namespace scrawlet::core
