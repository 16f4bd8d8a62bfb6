// The latency probe records every event, post and frame in the stores it made at the start.
#include <gtest/gtest.h>

#include "app/diagnostics/latency_probe.h"
#include "tests/unit/allocation/allocation_counter.h"

namespace scrawlet::diagnostics {
namespace {

TEST(ProbeAllocations, RecordingEventsPostsAndFramesAllocatesNothing) {
    LatencyProbe probe(4096, 1024);
    long counted = 0;
    {
        testing::AllocationCounter counter;
        for (int i = 0; i < 4000; ++i) {
            probe.notePost(i, i, i);
            EventRecord record;
            record.postTimestamp = probe.postTimeFor(i, i);
            probe.noteDomainCheck(i, record.postTimestamp);
            record.frameIndex = probe.frameCommitCount();
            probe.recordEvent(record);
            if (i % 4 == 3) {
                probe.framePresented(probe.commitFrame(i, 0.016), i + 0.5);
                probe.noteTick();
            }
        }
        EXPECT_EQ(probe.joinCounts().joinedFrameCount, 1000u);
        counted = counter.count();
    }
    EXPECT_EQ(counted, 0);
    EXPECT_EQ(probe.eventCount(), 4000u);
}

}  // namespace
}  // namespace scrawlet::diagnostics
