#include "bench/ink_meter.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>

namespace scrawlet::bench {
namespace {

template <typename Reply>
using XcbReply = std::unique_ptr<Reply, decltype(&std::free)>;

std::expected<std::pair<XcbConnection, xcb_window_t>, std::string> open(
    const std::string& display) {
    int screenNumber = 0;
    XcbConnection connection(xcb_connect(display.c_str(), &screenNumber));
    if (xcb_connection_has_error(connection.get())) {
        return std::unexpected("cannot connect to " + display);
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
    const xcb_window_t root = screens.data->root;
    return std::pair{std::move(connection), root};
}

// The pixels are read as 32-bit words of 0x00RRGGBB, which is what Xvfb's 24-bit screen on a
// little-endian machine hands out; anything else is refused rather than misread.
bool hasExpectedPixelFormat(xcb_connection_t* c) {
    const xcb_setup_t* setup = xcb_get_setup(c);
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        return false;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    if (screen->root_depth != 24) {
        return false;
    }
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem > 0; xcb_format_next(&it)) {
        if (it.data->depth == 24) {
            return it.data->bits_per_pixel == 32;
        }
    }
    return false;
}

// Opaque red, allowing for the antialiased rim of a four-pixel line over the grey backdrop.
bool isInk(std::uint32_t pixel) {
    const std::uint32_t r = (pixel >> 16) & 0xff, g = (pixel >> 8) & 0xff, b = pixel & 0xff;
    return r >= 0xc0 && g <= 0x40 && b <= 0x40;
}

}  // namespace

std::expected<std::unique_ptr<PointerDriver>, std::string> PointerDriver::connect(
    const std::string& display) {
    auto opened = open(display);
    if (!opened) {
        return std::unexpected(opened.error());
    }
    xcb_connection_t* c = opened->first.get();
    const XcbReply<xcb_test_get_version_reply_t> version(
        xcb_test_get_version_reply(c, xcb_test_get_version(c, 2, 2), nullptr), &std::free);
    if (!version) {
        return std::unexpected("the server lacks XTEST");
    }
    return std::unique_ptr<PointerDriver>(
        new PointerDriver(std::move(opened->first), opened->second));
}

double PointerDriver::moveTo(PixelPoint point) {
    return send(XCB_MOTION_NOTIFY, 0, point);
}

double PointerDriver::press(PixelPoint point) {
    moveTo(point);
    return send(XCB_BUTTON_PRESS, XCB_BUTTON_INDEX_1, point);
}

double PointerDriver::release(PixelPoint point) {
    moveTo(point);
    return send(XCB_BUTTON_RELEASE, XCB_BUTTON_INDEX_1, point);
}

double PointerDriver::send(std::uint8_t type, std::uint8_t detail, PixelPoint point) {
    xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, root_,
                        static_cast<std::int16_t>(point.x), static_cast<std::int16_t>(point.y), 0);
    xcb_flush(connection_.get());
    return monotonicSeconds();
}

std::expected<std::unique_ptr<InkPoller>, std::string> InkPoller::connect(
    const std::string& display) {
    auto opened = open(display);
    if (!opened) {
        return std::unexpected(opened.error());
    }
    if (!hasExpectedPixelFormat(opened->first.get())) {
        return std::unexpected("the screen is not 24-bit in 32-bit little-endian words");
    }
    return std::unique_ptr<InkPoller>(new InkPoller(std::move(opened->first), opened->second));
}

std::vector<bool> InkPoller::inked(const std::vector<PixelPoint>& points) {
    struct Strip {
        int left = 0, right = 0;
        xcb_get_image_cookie_t cookie{};
    };
    std::map<int, Strip> strips;
    for (const PixelPoint& p : points) {
        auto [it, added] = strips.try_emplace(p.y, Strip{p.x, p.x, {}});
        it->second.left = std::min(it->second.left, p.x);
        it->second.right = std::max(it->second.right, p.x);
    }
    xcb_connection_t* c = connection_.get();
    for (auto& [y, strip] : strips) {
        strip.cookie = xcb_get_image(
            c, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(strip.left - 1),
            static_cast<std::int16_t>(y - 1),
            static_cast<std::uint16_t>(strip.right - strip.left + 3), 3, ~0u);
    }
    std::map<int, XcbReply<xcb_get_image_reply_t>> images;
    bool complete = true;
    for (auto& [y, strip] : strips) {
        XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(c, strip.cookie, nullptr),
                                              &std::free);
        complete = complete && image != nullptr;
        images.emplace(y, std::move(image));
    }
    if (!complete) {
        return {};
    }
    std::vector<bool> result;
    result.reserve(points.size());
    for (const PixelPoint& p : points) {
        const Strip& strip = strips.at(p.y);
        const int width = strip.right - strip.left + 3;
        const auto* pixels =
            reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(images.at(p.y).get()));
        bool found = false;
        for (int row = 0; row < 3 && !found; ++row) {
            for (int dx = -1; dx <= 1 && !found; ++dx) {
                found = isInk(pixels[row * width + (p.x - strip.left + 1 + dx)]);
            }
        }
        result.push_back(found);
    }
    return result;
}

bool InkPoller::anyInk(int x, int y, int width, int height) {
    xcb_connection_t* c = connection_.get();
    const XcbReply<xcb_get_image_reply_t> image(
        xcb_get_image_reply(
            c,
            xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(x),
                          static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height), ~0u),
            nullptr),
        &std::free);
    if (!image) {
        return false;
    }
    const auto* pixels = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
    const int count = xcb_get_image_data_length(image.get()) / 4;
    return std::any_of(pixels, pixels + count, isInk);
}

}  // namespace scrawlet::bench
