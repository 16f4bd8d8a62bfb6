// The window system's side of live display capture: which displays can be captured, and
// streams that deliver images of one display at a time, with or without this application's
// own windows in them. The bookkeeping above it (sessions, retries, rebuilds, counters) lives
// with its owner and runs against any implementation of this, a test's included.
//
// Completions and samples may arrive on any thread; the owner hops to its own.
#pragma once

#include <QImage>
#include <QRect>
#include <QRectF>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace scrawlet::platform {

class CaptureService {
  public:
    // What can be captured now.
    struct Display {
        std::uint32_t id = 0;
        int width = 0;
        int height = 0;
    };
    struct Content {
        std::vector<Display> displays;
        // Whether this process's windows are known to the service, so that they can be left
        // out; a freshly started application may not be yet.
        bool ownApplicationListed = false;
    };
    using ContentDone =
        std::function<void(std::optional<Content> content, std::optional<std::string> error)>;

    struct StreamConfig {
        std::uint32_t displayID = 0;
        int width = 0;
        int height = 0;
        int fps = 60;
        bool excludeOwnWindows = true;
    };

    // A sample as the service delivers it: `status` 0 complete, 1 idle, 2 blank, 3 suspended,
    // 4 started, 5 stopped, -1 unknown; idle and blank samples carry no image.
    struct Sample {
        int status = -1;
        double presentation = 0;
        QImage image;
        QRectF contentRect;
        // The part of the display the image shows, in the display's pixels.
        QRect region;
        // Whether the frame was also drawn into the display's projection.
        bool projected = false;
    };

    // A window of ours that shows part of a display enlarged. The service draws each captured
    // frame into it itself, scaled with linear filtering, so frames that are only looked at
    // never travel through this process.
    struct Projection {
        std::uint32_t window = 0;
        QSize windowSize;  // in pixels
        // The part of the display the window shows, in the display's pixels.
        QRectF source;
        // Where the window shows the frame (Format_Alpha8, the window's size); null for
        // everywhere.
        QImage mask;
        // Drawn over the frame (premultiplied ARGB, the window's size); may be null.
        QImage decoration;
        // Set: the service shows the frame in a window of its own, `windowSize` large, which
        // follows the pointer while it is on this display, kept on the display, and shows the
        // part round the pointer enlarged this many times; `window` and `source` are unused.
        // Only where `followsPointer`.
        std::optional<double> followLevel;
        bool operator==(const Projection&) const = default;
    };

    class Stream {
      public:
        virtual ~Stream() = default;
        // `done` runs once, on any thread, whether or not stopping went well.
        virtual void stop(std::function<void()> done) = 0;
    };

    // What a stream reports to its owner, on the service's threads.
    struct StreamEvents {
        std::function<void(const Stream&, const Sample&)> sample;
        std::function<void(const Stream&, const std::string& error)> stopped;
    };

    // The system events after which streams are best built again.
    struct SystemEvents {
        std::function<void()> screensWoke;
        std::function<void()> displaysChanged;
    };

    virtual ~CaptureService() = default;

    virtual void requestContent(ContentDone done) = 0;
    // The display's size in pixels, if known.
    virtual std::optional<std::pair<int, int>> displayPixelSize(std::uint32_t displayID) = 0;
    // The error says why the stream could not take its output.
    virtual std::expected<std::shared_ptr<Stream>, std::string> createStream(
        const StreamConfig& config, StreamEvents events) = 0;
    // `done` gets an error text, or nothing once the stream runs.
    virtual void startStream(const std::shared_ptr<Stream>& stream,
                             std::function<void(std::optional<std::string> error)> done) = 0;
    // What of a display its consumers watch, in the display's pixels; only that is captured,
    // and nothing at all while no display has a region.
    virtual void setRegion(std::uint32_t displayID, std::optional<QRect> region) = 0;
    // The window a display's frames are drawn into; the part of the display it shows is then
    // captured too.
    virtual void setProjection(std::uint32_t displayID, std::optional<Projection> projection) = 0;
    // Runs `moved` on the service's thread soon after the pointer moves, once for a burst of
    // motion, with its place on the screen in pixels; an empty function stops it. False when
    // the service cannot tell.
    virtual bool watchPointer(std::function<void(QPoint)> moved) = 0;
    // Whether projections can follow the pointer by themselves.
    virtual bool followsPointer() const = 0;
    // Nothing is delivered after `unwatch`.
    virtual void watchSystemEvents(SystemEvents events) = 0;
    virtual void unwatchSystemEvents() = 0;
};

}  // namespace scrawlet::platform
