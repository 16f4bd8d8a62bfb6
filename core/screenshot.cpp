#include "core/screenshot.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <ctime>

#include "core/json_text.h"

namespace scrawlet::core {

std::string ScreenshotFailure::description() const {
    switch (kind) {
        case Kind::captureFailed:
            return "capture failed: " + detail;
        case Kind::writeFailed:
            return "could not write the file: " + detail;
        case Kind::unsupportedOS:
            return "needs an X11 display";
        case Kind::displayNotFound:
            return "the target display is not connected";
        case Kind::invalidRegion:
            return "the requested region is empty or outside the display";
        case Kind::encodingFailed:
            return "could not encode the capture as PNG";
    }
    return detail;
}

std::expected<PixelRect, ScreenshotFailure> cropRect(int width, int height,
                                                     const std::optional<PixelRect>& crop) {
    if (!crop) {
        if (width < 1 || height < 1) {
            return std::unexpected(ScreenshotFailure{ScreenshotFailure::Kind::invalidRegion, {}});
        }
        return PixelRect{0, 0, width, height};
    }
    // In 64 bits: a hostile rectangle near the int limits must not wrap round into the image.
    const std::int64_t left = std::max<std::int64_t>(crop->x, 0);
    const std::int64_t top = std::max<std::int64_t>(crop->y, 0);
    const std::int64_t right = std::min<std::int64_t>(std::int64_t(crop->x) + crop->width, width);
    const std::int64_t bottom =
        std::min<std::int64_t>(std::int64_t(crop->y) + crop->height, height);
    if (right - left < 1 || bottom - top < 1) {
        return std::unexpected(ScreenshotFailure{ScreenshotFailure::Kind::invalidRegion, {}});
    }
    return PixelRect{int(left), int(top), int(right - left), int(bottom - top)};
}

std::optional<PixelRect> pixelRectForViewRect(double x, double y, double width, double height,
                                              double scale) {
    if (!(width > 0) || !(height > 0) || !(scale > 0)) {
        return std::nullopt;
    }
    // The pixels the rectangle touches, so a selection never loses its edge rows.
    const double left = std::floor(x * scale);
    const double top = std::floor(y * scale);
    const double right = std::ceil((x + width) * scale);
    const double bottom = std::ceil((y + height) * scale);
    constexpr double kLimit = 1 << 30;
    if (!(std::abs(left) < kLimit && std::abs(top) < kLimit && right - left < kLimit &&
          bottom - top < kLimit)) {
        return std::nullopt;
    }
    return PixelRect{int(left), int(top), int(right - left), int(bottom - top)};
}

std::string screenshotFileName(bool region, std::chrono::system_clock::time_point at,
                               std::uint64_t sequence) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H-%M-%SZ", &utc);
    return std::string(region ? "Scrawlet-region" : "Scrawlet") + "-" + stamp + "-" +
           std::to_string(sequence) + ".png";
}

std::uint64_t nextScreenshotSequence() {
    static std::atomic<std::uint64_t> counter{0};
    return ++counter;
}

CaptureHistory::CaptureHistory(int limit, std::function<void()> onChange)
    : limit_(std::max(limit, 1)), onChange_(std::move(onChange)) {}

void CaptureHistory::add(Entry entry) {
    entries_.insert(entries_.begin(), std::move(entry));
    if (entries_.size() > static_cast<std::size_t>(limit_)) {
        entries_.resize(static_cast<std::size_t>(limit_));
    }
    if (onChange_) {
        onChange_();
    }
}

void CaptureHistory::clear() {
    if (entries_.empty()) {
        return;
    }
    entries_.clear();
    if (onChange_) {
        onChange_();
    }
}

std::string screenshotSuccessRecord(const std::string& path, int pixelWidth, int pixelHeight,
                                    double durationMs) {
    return R"({"kind":"screenshot","outcome":"success","path":)" + jsonString(path) +
           R"(,"pixelWidth":)" + std::to_string(pixelWidth) + R"(,"pixelHeight":)" +
           std::to_string(pixelHeight) + R"(,"durationMs":)" + fixedDecimal(durationMs, 3) + "}";
}

std::string screenshotFailureRecord(const std::string& reason, double durationMs) {
    return R"({"kind":"screenshot","outcome":"failure","reason":)" + jsonString(reason) +
           R"(,"durationMs":)" + fixedDecimal(durationMs, 3) + "}";
}

std::string screenshotEmptyRegionRecord() {
    return R"({"kind":"screenshot","outcome":"failure","reason":"empty region"})";
}

std::string captureHistoryRecord(const CaptureHistory& history) {
    std::string paths;
    for (const auto& entry : history.entries()) {
        paths += (paths.empty() ? "" : ",") + jsonString(entry.path);
    }
    return R"({"kind":"captureHistory","count":)" + std::to_string(history.entries().size()) +
           R"(,"limit":)" + std::to_string(history.limit()) + R"(,"paths":[)" + paths + "]}";
}

std::string captureHistoryDragRecord(const std::string& path) {
    return R"({"kind":"captureHistoryDrag","path":)" + jsonString(path) + "}";
}

}  // namespace scrawlet::core
