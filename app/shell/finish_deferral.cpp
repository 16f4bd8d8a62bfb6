#include "app/shell/finish_deferral.h"

#include <QTimer>

namespace scrawlet::shell {

FinishDeferral::FinishDeferral(std::function<bool()> capturePending,
                               std::function<void(const std::string&)> finish)
    : capturePending_(std::move(capturePending)), finish_(std::move(finish)) {}

void FinishDeferral::check(const std::string& reason, double waitedSeconds) {
    if (waitedSeconds < kLongestWaitSeconds && capturePending_()) {
        // Waited time is counted in steps, not read from a clock: a busy main loop stretches
        // the wait rather than cutting it short.
        const double waited =
            waitedSeconds + std::chrono::duration<double>(kRecheckInterval).count();
        QTimer::singleShot(kRecheckInterval, Qt::PreciseTimer, this,
                           [this, reason, waited] { check(reason, waited); });
        return;
    }
    finish_(reason);
}

}  // namespace scrawlet::shell
