// How the probe turns one pointer event into an EventRecord, the same for its own view and for
// the draw surface. Main thread only.
#pragma once

#include <QMouseEvent>
#include <cstdint>
#include <optional>

#include "app/diagnostics/latency_probe.h"

namespace scrawlet::diagnostics {

// An event's timestamp in seconds on the monotonic clock. Qt gives the X server's time: the
// low 32 bits of its monotonic clock in milliseconds, which wraps, so it is placed within the
// 49.7 days before `now`. A server whose clock is not ours shows in the domain check.
double eventSeconds(std::uint64_t timestampMilliseconds, double now);

// The phase of a pointer event the probe records (2 down, 1 dragged, 0 moved); none for the
// rest.
std::optional<std::int32_t> probePhase(const QEvent& event);

// The record of `event` up to its handler's exit, which the caller fills in. Looks up the
// synthetic driver's post time by the event's global point and runs the domain check.
EventRecord beginRecord(const QMouseEvent& event, std::int32_t phase, double handlerEntry,
                        LatencyProbe& probe);

// Stores `record` with its handler's exit taken now. True once: when the event count first
// reaches `targetSamples` or a store is full, which `reached` remembers.
bool endRecord(EventRecord& record, LatencyProbe& probe, std::size_t targetSamples, bool& reached);

}  // namespace scrawlet::diagnostics
