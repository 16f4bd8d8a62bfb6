// The meter of the ink comparison: pointer input through XTest on an X connection of its own, and
// ink read back from the root window, which under xcompmgr holds the composited screen, so the
// meter sees what a user sees whichever program drew it.
//
// Each object is used by one thread at a time; a `PointerDriver` and an `InkPoller` have separate
// connections so that a sender thread never waits behind the poller's replies. Times are
// CLOCK_MONOTONIC seconds. Failures to connect are reported as an error text.
#pragma once

#include <xcb/xcb.h>

#include <expected>
#include <memory>
#include <string>
#include <vector>

#include "bench/measurement.h"

namespace scrawlet::bench {

struct PixelPoint {
    int x = 0, y = 0;
};

// A zigzag along a row: x advances a few pixels a motion while y alternates between two lines
// tens of pixels apart. A motion that never reached the tool leaves its point bare, since the
// segment joining its neighbours runs along the other line. Index 0 is where the button goes
// down; the motions follow from 1.
class ZigzagRow {
  public:
    static constexpr int kStepPixels = 4;
    static constexpr int kHalfHeightPixels = 20;

    constexpr ZigzagRow(int left, int middle) : left_(left), middle_(middle) {}
    constexpr PixelPoint at(int index) const {
        return {left_ + kStepPixels * index,
                middle_ + (index % 2 == 1 ? kHalfHeightPixels : -kHalfHeightPixels)};
    }

  private:
    int left_, middle_;
};

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

class PointerDriver {
  public:
    static std::expected<std::unique_ptr<PointerDriver>, std::string> connect(
        const std::string& display);

    // Each returns the time once the request has left for the server.
    double moveTo(PixelPoint point);
    double press(PixelPoint point);
    double release(PixelPoint point);

  private:
    PointerDriver(XcbConnection connection, xcb_window_t root)
        : connection_(std::move(connection)), root_(root) {}
    double send(std::uint8_t type, std::uint8_t detail, PixelPoint point);

    XcbConnection connection_;
    xcb_window_t root_;
};

// Whether points show the ink colour (opaque red, give or take antialiasing) within one pixel.
// One GetImage per distinct y among the points, three pixels high and as wide as the points
// there span; the requests are pipelined, so a poll costs one round trip.
class InkPoller {
  public:
    static std::expected<std::unique_ptr<InkPoller>, std::string> connect(
        const std::string& display);

    // One flag per point; empty if the server refused an image.
    std::vector<bool> inked(const std::vector<PixelPoint>& points);
    // Whether any pixel of the rectangle shows ink.
    bool anyInk(int x, int y, int width, int height);

  private:
    InkPoller(XcbConnection connection, xcb_window_t root)
        : connection_(std::move(connection)), root_(root) {}

    XcbConnection connection_;
    xcb_window_t root_;
};

}  // namespace scrawlet::bench
