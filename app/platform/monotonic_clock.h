// The time base of the whole application: stroke and text births, frames, run durations and
// event-log records are all seconds on this clock, which never jumps with the wall clock.
#pragma once

namespace scrawlet::platform {

// Seconds on CLOCK_MONOTONIC. Any thread.
double monotonicSeconds();

}  // namespace scrawlet::platform
