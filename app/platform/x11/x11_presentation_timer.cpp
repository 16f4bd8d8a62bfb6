#include <array>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "app/platform/monotonic_clock.h"
#include "app/platform/presentation_timer.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

// Frames swapped but not yet timed; at a few hundred frames a second this is seconds of
// backlog, which only a stalled server reaches.
constexpr std::size_t kWaitingCapacity = 1024;

class X11PresentationTimer final : public PresentationTimer {
  public:
    X11PresentationTimer(xcb_connection_t* connection, Report report)
        : connection_(connection), report_(std::move(report)), thread_([this] { run(); }) {}

    ~X11PresentationTimer() override {
        {
            const std::lock_guard guard(lock_);
            stopping_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

    void framePresented(std::int64_t frame) override {
        {
            const std::lock_guard guard(lock_);
            if (count_ < kWaitingCapacity) {
                waiting_[(head_ + count_++) % kWaitingCapacity] = frame;
                frame = -1;
            }
        }
        if (frame >= 0) {
            report_(frame, 0);
            return;
        }
        wake_.notify_one();
    }

  private:
    void run() {
        std::array<std::int64_t, kWaitingCapacity> batch{};
        for (;;) {
            std::size_t taken = 0;
            {
                std::unique_lock guard(lock_);
                wake_.wait(guard, [this] { return stopping_ || count_ > 0; });
                if (stopping_) {
                    return;
                }
                for (; count_ > 0; --count_, head_ = (head_ + 1) % kWaitingCapacity) {
                    batch[taken++] = waiting_[head_];
                }
            }
            // Every frame taken was swapped before this request was sent on the same
            // connection, and the server answers in order: the reply means it has them all.
            // Xlib and xcb share the connection safely across threads.
            std::free(
                xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
            const double time = monotonicSeconds();
            for (std::size_t i = 0; i < taken; ++i) {
                report_(batch[i], time);
            }
        }
    }

    xcb_connection_t* connection_;
    Report report_;
    std::mutex lock_;
    std::condition_variable wake_;
    std::array<std::int64_t, kWaitingCapacity> waiting_{};
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<PresentationTimer> createPresentationTimer(PresentationTimer::Report report) {
    if (const auto x = x11::qtConnection()) {
        return std::make_unique<X11PresentationTimer>(x->connection, std::move(report));
    }
    return createImmediatePresentationTimer(std::move(report));
}

}  // namespace scrawlet::platform
