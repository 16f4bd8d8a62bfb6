// Live capture of displays for the magnifiers and the capture check: one stream per display,
// built again without the user's help when a stream dies, the displays wake or their
// arrangement changes, with counters that diagnostics read while capture runs.
//
// Sessions, generations, retries and rebuilds belong to the main thread; samples arrive on the
// capture service's thread, where `onSample` and `onFrame` run, so their owners take their own
// locks. A build whose answer comes after a newer build began is dropped, and so are the
// samples of streams replaced by a rebuild. Completions and delayed retries do nothing once
// the capture object is gone.
#pragma once

#include <QImage>
#include <QRectF>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "app/platform/capture_service.h"

class QObject;

namespace scrawlet::capture {

// Where the capture's work runs: the main thread now and after a delay, and the monotonic
// clock. Draw mode's is the Qt event loop's; tests drive their own.
struct Loop {
    std::function<void(std::function<void()>)> post;
    std::function<void(double seconds, std::function<void()>)> after;
    std::function<double()> now;

    static Loop qt(QObject* context);
};

class DisplayCapture {
  public:
    struct Frame {
        std::uint32_t displayID = 0;
        QImage image;
        QRectF contentRect;
        // The part of the display the image shows, in the display's pixels.
        QRect region;
        // Drawn into the display's projection; the image is null when nobody asked for it.
        bool projected = false;
    };
    struct Sample {
        std::uint32_t displayID = 0;
        int generation = 0;
        double arrival = 0;
        double presentation = 0;
        int status = -1;
        QImage image;
        int width = 0;
        int height = 0;
        QRectF contentRect;
    };
    struct Counters {
        std::uint64_t frames = 0;
        std::uint64_t rebuilds = 0;
        std::uint64_t afterStop = 0;
        int foundExclusions = 0;
        std::optional<std::string> lastError;
    };

    DisplayCapture(platform::CaptureService& service, Loop loop);
    ~DisplayCapture();
    DisplayCapture(const DisplayCapture&) = delete;
    DisplayCapture& operator=(const DisplayCapture&) = delete;

    // Set before `start`.
    int maximumRebuilds = 20;
    double maximumRetrySeconds = 120.0;
    bool recoveryEnabled = true;
    bool excludeOurWindows = true;
    // On the service's thread.
    std::function<void(const Frame&)> onFrame;
    std::function<void(const Sample&)> onSample;
    // On the main thread: display, generation, width, height.
    std::function<void(std::uint32_t, int, int, int)> onStreamStart;

    // Replaces the sessions of `displays`, builds each, and follows the system's wake and
    // display-change events.
    void start(const std::vector<std::uint32_t>& displays, int fps);
    // `completion` runs once every stream has answered; at once when there is none.
    void stop(std::function<void()> completion);

    Counters counters() const;

    // The recovery triggers: every display is built again.
    void screensWoke();
    void displaysChanged();

  private:
    struct Session {
        std::uint32_t displayID = 0;
        std::shared_ptr<platform::CaptureService::Stream> stream;
        int rebuilds = 0;
        std::optional<double> retryingSince;
        int generation = 0;
    };
    struct Identity {
        std::uint32_t displayID = 0;
        int generation = 0;
        // False until the start is answered: its samples count from the first, but a stop
        // is not yet put down to its display.
        bool started = false;
    };
    // What the service's thread shares with the main thread.
    struct Shared {
        mutable std::mutex lock;
        Counters counters;
        std::unordered_map<const platform::CaptureService::Stream*, Identity> identity;
        double stopRequestedAt = 0;
        std::function<void(const Frame&)> onFrame;
        std::function<void(const Sample&)> onSample;
        std::function<double()> now;
    };

    Session* session(std::uint32_t displayID);
    void build(std::uint32_t displayID);
    void built(std::uint32_t displayID, int generation,
               const std::optional<platform::CaptureService::Content>& content,
               const std::optional<std::string>& error);
    void startStream(std::uint32_t displayID, int generation,
                     const platform::CaptureService::Display& display, bool ownListed);
    void scheduleRetry(std::uint32_t displayID, const std::string& reason);
    void rebuild(std::uint32_t displayID, const std::string& why);
    void streamStopped(const platform::CaptureService::Stream* stream, const std::string& error);
    // Runs `work` on the main thread unless this object is gone by then.
    void later(std::function<void()> work);
    static void sampled(Shared& shared, const platform::CaptureService::Stream& stream,
                        const platform::CaptureService::Sample& sample);

    platform::CaptureService& service_;
    Loop loop_;
    int fps_ = 60;
    std::vector<Session> sessions_;  // in the order they were started
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<int> alive_;
};

}  // namespace scrawlet::capture
