// Reads what the screen shows in a rectangle, this application's own windows and their ink
// included: the picture a screenshot keeps. Runs on a connection of its own, so a worker
// thread can read while the main thread draws; one read at a time.
#pragma once

#include <QImage>
#include <QRect>
#include <expected>
#include <string>

namespace scrawlet::platform {

class ScreenReader {
  public:
    virtual ~ScreenReader() = default;
    // `rect` in global device pixels; the error says why nothing could be read.
    virtual std::expected<QImage, std::string> read(const QRect& rect) = 0;
};

}  // namespace scrawlet::platform
