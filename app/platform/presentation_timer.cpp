#include "app/platform/presentation_timer.h"

#include "app/platform/monotonic_clock.h"

namespace scrawlet::platform {
namespace {

class ImmediatePresentationTimer final : public PresentationTimer {
  public:
    explicit ImmediatePresentationTimer(Report report) : report_(std::move(report)) {}
    void framePresented(std::int64_t frame) override { report_(frame, monotonicSeconds()); }

  private:
    Report report_;
};

}  // namespace

std::unique_ptr<PresentationTimer> createImmediatePresentationTimer(
    PresentationTimer::Report report) {
    return std::make_unique<ImmediatePresentationTimer>(std::move(report));
}

}  // namespace scrawlet::platform
