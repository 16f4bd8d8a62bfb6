#include "app/ink/stroke_instances.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/auto_erase.h"

namespace scrawlet::ink {
namespace {

using core::InkBlend;
using Runs = std::vector<InstanceRun>;

const core::StrokeStyle kPen{{255, 0, 51, 255}, 4, 1.0, InkBlend::normal};
const core::StrokeStyle kHighlighter{{255, 255, 0, 255}, 16, 0.5, InkBlend::maximum};
const core::DisplayTransform kIdentity({0, 0}, 1, 1);

struct Ink {
    explicit Ink(int capacity = 64)
        : storage(static_cast<std::size_t>(capacity)), builder(storage.data(), capacity, 16) {}
    void draw(std::initializer_list<core::ContentPoint> points,
              const core::StrokeStyle& style = kPen, bool finish = true) {
        scene.begin(*points.begin(), style, 7);
        for (auto it = points.begin() + 1; it != points.end(); ++it) {
            scene.extend(*it);
        }
        if (finish) {
            scene.end();
        }
    }
    bool sync(const core::DisplayTransform& transform = kIdentity) {
        return builder.sync(scene, transform);
    }
    Runs runs() const { return {builder.runs().begin(), builder.runs().end()}; }
    // Whatever path led here, the result must be what a first sync of the scene builds.
    void expectSameAsFreshBuild(const core::DisplayTransform& transform = kIdentity) const {
        Ink fresh;
        fresh.builder.sync(scene, transform);
        ASSERT_EQ(builder.instanceCount(), fresh.builder.instanceCount());
        for (std::size_t i = 0; i < static_cast<std::size_t>(builder.instanceCount()); ++i) {
            const auto &got = builder.instances()[i], &want = fresh.builder.instances()[i];
            EXPECT_EQ(0, std::memcmp(got.a, want.a, 24)) << i;
            EXPECT_EQ(0, std::memcmp(got.colour, want.colour, 16)) << i;
        }
        EXPECT_EQ(runs(), fresh.runs());
    }

    core::StrokeScene scene{100, 16, 0};
    std::vector<SegmentInstance> storage;
    StrokeInstanceBuilder builder;
};

TEST(StrokeInstances, StrokesBecomeStartDotPlusCapsulesInRunsOfEqualBlend) {
    Ink ink;
    ink.draw({{10, 20}, {11, 20}, {11, 22}});
    ink.draw({{0, 0}}, kHighlighter);
    ink.draw({{0, 0}}, {{0, 0, 0, 128}, 0.25, 4, InkBlend::normal});
    const core::DisplayTransform transform({10, 20}, 2, 1.5);
    EXPECT_TRUE(ink.sync(transform));
    const auto in = ink.builder.instances();
    ASSERT_EQ(in.size(), 5u);
    const float ends[4][4] = {{0, 0, 0, 0}, {0, 0, 3, 0}, {3, 0, 3, 6}, {-30, -60, -30, -60}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(std::ranges::equal(std::array{in[i].a[0], in[i].a[1], in[i].b[0], in[i].b[1]},
                                       ends[i]));
    }
    EXPECT_EQ(in[0].radius, 6.0f);  // 1.5 × 2 × 4 / 2
    EXPECT_EQ(in[0].birth, 7.0f);
    EXPECT_TRUE(std::ranges::equal(in[0].colour, std::array{1.0f, 0.0f, 0.2f, 1.0f}));
    EXPECT_EQ(in[3].colour[3], 0.5f);  // opacity
    EXPECT_EQ(in[4].radius, 0.5f);     // floor
    EXPECT_EQ(in[4].colour[3], 1.0f);  // clamped
    EXPECT_EQ(
        ink.runs(),
        (Runs{{0, 3, InkBlend::normal}, {3, 1, InkBlend::maximum}, {4, 1, InkBlend::normal}}));
    // Deleting the highlighter joins the pens into one run.
    ink.scene.supersede(1, *ink.scene.appendTombstone());
    EXPECT_TRUE(ink.sync(transform));
    EXPECT_EQ(ink.runs(), (Runs{{0, 4, InkBlend::normal}}));
}

TEST(StrokeInstances, RebuildsAfterUndoSupersedeRedoAndTransformChange) {
    Ink ink;
    ink.draw({{0, 0}, {1, 0}, {2, 0}});
    ink.draw({{5, 5}, {6, 6}});
    ink.sync();
    ink.scene.setVisible(1, 3);  // undo
    EXPECT_TRUE(ink.sync());
    EXPECT_EQ(ink.builder.instanceCount(), 3);

    ink.draw({{8, 8}});
    ink.scene.supersede(0, *ink.scene.appendTombstone());  // delete
    EXPECT_TRUE(ink.sync());
    ink.expectSameAsFreshBuild();
    ink.scene.setVisible(2, 4);  // undo the delete, then redo it
    ink.sync();
    ink.scene.setVisible(3, 4);
    EXPECT_TRUE(ink.sync());
    EXPECT_EQ(ink.builder.instanceCount(), 1);

    ink.draw({{18, 18}, {19, 19}});
    ink.scene.supersede(1, 3);  // move: a replacement hides the original
    ink.sync();
    ink.expectSameAsFreshBuild();

    const core::DisplayTransform zoomed({1, 1}, 2, 2);
    EXPECT_TRUE(ink.sync(zoomed));
    ink.expectSameAsFreshBuild(zoomed);
}

// Undo then a different delete between two frames leaves every count as it was.
TEST(StrokeInstances, TwoEditsBetweenFramesWithUnchangedCountsStillRebuild) {
    Ink ink;
    ink.draw({{0, 0}, {10, 0}});
    ink.draw({{0, 50}, {10, 50}});
    ink.scene.supersede(0, *ink.scene.appendTombstone());
    ink.sync();
    ink.scene.setVisible(2, 4);
    ink.scene.supersede(1, *ink.scene.appendTombstone());
    EXPECT_TRUE(ink.sync());
    ink.expectSameAsFreshBuild();
}

TEST(StrokeInstances, BirthsAfterWeeksOfUptimeFadeSmoothlyAgainstTheEpoch) {
    // 46 days after boot a float step is a quarter second: longer than the fade window.
    const double birth = 4.0e6 + 0.123;
    core::StrokeScene scene(16, 4, 0);
    scene.begin({0, 0}, kPen, birth);
    scene.end();
    std::vector<SegmentInstance> storage(16);
    StrokeInstanceBuilder builder(storage.data(), 16, 4);
    builder.setEpoch(4.0e6 - 30);
    builder.sync(scene, kIdentity);
    const double ttl = 2, window = core::AutoErase::fadeWindow(ttl);
    for (const double into : {0.1, 0.2, 0.3}) {
        const double now = birth + ttl - window + into;
        const float f =
            fadeFactor(FadeUniform::at(now - builder.epoch(), ttl), builder.instances()[0].birth);
        EXPECT_NEAR(f, 1 - into / window, 1e-3) << into;
    }
}

}  // namespace
}  // namespace scrawlet::ink
