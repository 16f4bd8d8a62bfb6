#include "app/diagnostics/probe_events.h"

#include <cmath>

#include "app/platform/monotonic_clock.h"

namespace scrawlet::diagnostics {

double eventSeconds(std::uint64_t timestampMilliseconds, double now) {
    const auto nowMilliseconds = static_cast<std::uint64_t>(std::llround(now * 1000));
    const auto age = static_cast<std::uint32_t>(static_cast<std::uint32_t>(nowMilliseconds) -
                                                static_cast<std::uint32_t>(timestampMilliseconds));
    return static_cast<double>(static_cast<std::int64_t>(nowMilliseconds) -
                               static_cast<std::int64_t>(age)) /
           1000.0;
}

std::optional<std::int32_t> probePhase(const QEvent& event) {
    switch (event.type()) {
        case QEvent::MouseButtonPress:
            return 2;
        case QEvent::MouseMove:
            return static_cast<const QMouseEvent&>(event).buttons() != Qt::NoButton ? 1 : 0;
        default:
            return std::nullopt;
    }
}

EventRecord beginRecord(const QMouseEvent& event, std::int32_t phase, double handlerEntry,
                        LatencyProbe& probe) {
    EventRecord record;
    record.handlerEntry = handlerEntry;
    record.eventTimestamp = eventSeconds(event.timestamp(), handlerEntry);
    const QPoint global = event.globalPosition().toPoint();
    record.postTimestamp = probe.postTimeFor(global.x(), global.y());
    probe.noteDomainCheck(record.eventTimestamp, record.postTimestamp);
    record.locationX = event.position().x();
    record.locationY = event.position().y();
    record.frameIndex = probe.frameCommitCount();
    record.phase = phase;
    return record;
}

bool endRecord(EventRecord& record, LatencyProbe& probe, std::size_t targetSamples, bool& reached) {
    record.handlerExit = platform::monotonicSeconds();
    const bool stored = probe.recordEvent(record);
    if (reached || (stored && probe.eventCount() < targetSamples && !probe.isFull())) {
        return false;
    }
    reached = true;
    return true;
}

}  // namespace scrawlet::diagnostics
