#include "app/platform/monotonic_clock.h"

#include <ctime>

namespace scrawlet::platform {

double monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace scrawlet::platform
