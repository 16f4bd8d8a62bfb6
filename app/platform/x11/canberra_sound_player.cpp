#include <canberra.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "app/platform/platform_services.h"

namespace scrawlet::platform {
namespace {

// Opening the sound system can take a while (a sound server to find), so the context is made
// on the player's thread at the first event, never on the caller's.
class CanberraSoundPlayer final : public SoundPlayer {
  public:
    CanberraSoundPlayer() : thread_([this] { run(); }) {}

    ~CanberraSoundPlayer() override {
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

    void play(const std::string& event) override {
        {
            std::lock_guard lock(mutex_);
            queue_.push_back(event);
        }
        wake_.notify_one();
    }

  private:
    void run() {
        ca_context* context = nullptr;
        bool opened = false;
        for (;;) {
            std::string event;
            {
                std::unique_lock lock(mutex_);
                wake_.wait(lock, [this] { return stop_ || !queue_.empty(); });
                if (stop_)
                    break;
                event = std::move(queue_.front());
                queue_.pop_front();
            }
            if (!opened) {
                opened = true;
                // Through the desktop's sound server only: without one, ALSA's own fallback
                // fills standard error with complaints about missing cards.
                if (ca_context_create(&context) == CA_SUCCESS) {
                    ca_context_set_driver(context, "pulse");
                    ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Scrawlet",
                                            CA_PROP_APPLICATION_ID, "org.scrawlet.Scrawlet",
                                            nullptr);
                } else {
                    context = nullptr;
                }
            }
            if (!context)
                continue;
            constexpr std::uint32_t kId = 1;
            ca_context_cancel(context, kId);
            ca_context_play(context, kId, CA_PROP_EVENT_ID, event.c_str(), nullptr);
        }
        if (context)
            ca_context_destroy(context);
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::string> queue_;
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<SoundPlayer> createSoundPlayer() {
    return std::make_unique<CanberraSoundPlayer>();
}

}  // namespace scrawlet::platform
