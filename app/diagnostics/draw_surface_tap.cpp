#include "app/diagnostics/draw_surface_tap.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include "app/diagnostics/probe_events.h"
#include "app/ink/ink_view.h"
#include "app/platform/monotonic_clock.h"

namespace scrawlet::diagnostics {

DrawSurfaceTap::DrawSurfaceTap(ink::InkView& view, LatencyProbe& probe,
                               platform::PresentationTimer& presentation, std::size_t targetSamples)
    : view_(view), probe_(probe), targetSamples_(targetSamples) {
    view.installEventFilter(this);
    view.setOnFrameSwapped([this, &presentation](double time, std::uint64_t) {
        if (!isCapturing_) {
            return;
        }
        const std::int64_t frame = probe_.commitFrame(time, view_.frames().refreshInterval());
        if (frame >= 0) {
            presentation.framePresented(frame);
        }
    });
}

bool DrawSurfaceTap::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &view_ || insideView_ || !isCapturing_) {
        return false;
    }
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && onEscape) {
        onEscape();
        return true;
    }
    const auto phase = probePhase(*event);
    if (!phase) {
        return false;
    }
    const double entry = platform::monotonicSeconds();
    auto& mouse = static_cast<QMouseEvent&>(*event);
    EventRecord record = beginRecord(mouse, *phase, entry, probe_);
    // The view handles the event inside this call, so that its exit can be timed; the filter
    // lets the nested delivery through.
    insideView_ = true;
    QCoreApplication::sendEvent(&view_, event);
    insideView_ = false;
    if (endRecord(record, probe_, targetSamples_, targetReached_) && onTargetReached) {
        onTargetReached();
    }
    return true;
}

}  // namespace scrawlet::diagnostics
