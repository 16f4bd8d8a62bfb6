// The parts of a screenshot that do not depend on how the screen is read: the failure texts,
// the crop, the conversion of a selected region to pixels, the file name, the short history of
// recent captures and the event-log records. Pure; the history alone has state.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace scrawlet::core {

struct ScreenshotFailure {
    enum class Kind {
        captureFailed,
        writeFailed,
        unsupportedOS,
        displayNotFound,
        invalidRegion,
        encodingFailed
    };
    Kind kind = Kind::captureFailed;
    std::string detail;  // for captureFailed and writeFailed

    std::string description() const;
};

struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PixelRect&) const = default;
};

// The part of an image of `width` × `height` to keep: all of it without a crop, else the crop
// cut to the image, which must leave at least one pixel each way.
std::expected<PixelRect, ScreenshotFailure> cropRect(int width, int height,
                                                     const std::optional<PixelRect>& crop);

// A rectangle selected on a view (points, top-left origin) in the display's pixels at `scale`
// pixels per point; nothing when it has no area.
std::optional<PixelRect> pixelRectForViewRect(double x, double y, double width, double height,
                                              double scale);

// "Scrawlet" or "Scrawlet-region", "-", the UTC time as 2026-11-16T13-45-07Z, "-", the
// sequence number, ".png".
std::string screenshotFileName(bool region, std::chrono::system_clock::time_point at,
                               std::uint64_t sequence);
// One counter for the process: 1 for the first file of a run, then 2, 3 …
std::uint64_t nextScreenshotSequence();

// The recent captures of the run, newest first, at most `limit` of them.
class CaptureHistory {
  public:
    struct Entry {
        std::string path;
        std::chrono::system_clock::time_point capturedAt;
        int pixelWidth = 0;
        int pixelHeight = 0;
        bool operator==(const Entry&) const = default;
    };

    // A limit below 1 keeps one entry.
    explicit CaptureHistory(int limit, std::function<void()> onChange = {});

    void add(Entry entry);
    // An empty history stays silent.
    void clear();

    const std::vector<Entry>& entries() const { return entries_; }
    int limit() const { return limit_; }

  private:
    int limit_;
    std::function<void()> onChange_;
    std::vector<Entry> entries_;
};

// Event-log records, one JSON object each, keys in a fixed order.
std::string screenshotSuccessRecord(const std::string& path, int pixelWidth, int pixelHeight,
                                    double durationMs);
std::string screenshotFailureRecord(const std::string& reason, double durationMs);
std::string screenshotEmptyRegionRecord();
std::string captureHistoryRecord(const CaptureHistory& history);
std::string captureHistoryDragRecord(const std::string& path);

}  // namespace scrawlet::core
