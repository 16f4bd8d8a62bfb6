#include "app/gl/frame_scheduler.h"

#include <gtest/gtest.h>

namespace scrawlet::gl {
namespace {

constexpr double kInterval = 1.0 / 60;

TEST(FrameSchedulerPacing, InputIsDueAtOnceWhileAnimationKeepsTheRefreshCadence) {
    FrameScheduler clock(kInterval);
    EXPECT_FALSE(clock.isRunning());
    clock.requestFrame();
    EXPECT_TRUE(clock.isRunning());
    EXPECT_LE(clock.nextTickTime(), 100.0) << "no frame yet: draw now";
    ASSERT_EQ(clock.tick(100.0, false), FrameScheduler::TickOutcome::draw);
    clock.frameFinished(100.0, true);

    clock.requestFrame();  // input 2 ms later does not wait for the display
    EXPECT_LE(clock.nextTickTime(), 100.002);
    EXPECT_EQ(clock.tick(100.002, true), FrameScheduler::TickOutcome::draw);
    clock.frameFinished(100.002, true);
    // Fading alone ticks once a refresh interval.
    EXPECT_DOUBLE_EQ(clock.nextTickTime(), 100.002 + kInterval);
}

TEST(FrameSchedulerPacing, AHostThatCannotDrawOwesNothingUntilAskedAgain) {
    FrameScheduler clock(kInterval);
    clock.requestFrame();
    clock.suspend();
    EXPECT_FALSE(clock.isRunning());
    EXPECT_FALSE(clock.hasPendingInput());
    clock.requestFrame();
    EXPECT_TRUE(clock.isRunning());
    // A frame that could not be drawn is retried a refresh later, not in a spin.
    ASSERT_EQ(clock.tick(5.0, false), FrameScheduler::TickOutcome::draw);
    clock.frameFinished(5.0, false);
    EXPECT_DOUBLE_EQ(clock.nextTickTime(), 5.0 + kInterval);
}

TEST(FrameSchedulerPacing, PausesAfterThirtyIdleTicksAndResumesOnRequest) {
    FrameScheduler clock(kInterval);
    clock.requestFrame();
    clock.tick(0, false);
    clock.frameFinished(0, true);
    double now = 0;
    for (int i = 1; i < FrameScheduler::kIdleTicksBeforePause; ++i) {
        EXPECT_EQ(clock.tick(now += kInterval, false), FrameScheduler::TickOutcome::idle);
    }
    EXPECT_EQ(clock.tick(now += kInterval, false), FrameScheduler::TickOutcome::paused);
    EXPECT_FALSE(clock.isRunning());
    EXPECT_EQ(clock.idleTickCount(), 30u);
    clock.requestFrame();
    EXPECT_TRUE(clock.isRunning());
    EXPECT_EQ(clock.tick(now += kInterval, false), FrameScheduler::TickOutcome::draw);
}

TEST(FrameSchedulerPacing, FadingInkKeepsFramesComingAndDeferredFramesAreRetried) {
    FrameScheduler clock(kInterval);
    clock.requestFrame();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(clock.tick(i * kInterval, true), FrameScheduler::TickOutcome::draw);
        clock.frameFinished(i * kInterval, true);
    }
    EXPECT_TRUE(clock.isRunning());
    // The last fading frame came before the end: one more frame clears what it left.
    EXPECT_EQ(clock.tick(100 * kInterval, false), FrameScheduler::TickOutcome::draw);
    clock.frameFinished(100 * kInterval, true);
    EXPECT_EQ(clock.tick(101 * kInterval, false), FrameScheduler::TickOutcome::idle);

    clock.requestFrame();
    ASSERT_EQ(clock.tick(102 * kInterval, false), FrameScheduler::TickOutcome::draw);
    clock.frameFinished(102 * kInterval, false);
    EXPECT_EQ(clock.deferredFrameCount(), 1u);
    EXPECT_TRUE(clock.hasPendingInput());
    EXPECT_EQ(clock.tick(103 * kInterval, false), FrameScheduler::TickOutcome::draw);
    EXPECT_EQ(clock.frameCount(), 101u);
}

}  // namespace
}  // namespace scrawlet::gl
