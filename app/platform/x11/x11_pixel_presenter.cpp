#include <xcb/xcbext.h>

#include <QWindow>
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "app/platform/pixel_presenter.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

class X11PixelPresenter : public PixelPresenter {
  public:
    X11PixelPresenter(xcb_connection_t* connection, xcb_window_t window, std::uint32_t maximumBytes)
        : connection_(connection), window_(window), maximumBytes_(maximumBytes) {
        gc_ = xcb_generate_id(connection);
        xcb_create_gc(connection, gc_, window, 0, nullptr);
    }
    ~X11PixelPresenter() override {
        if (!xcb_connection_has_error(connection_))
            xcb_free_gc(connection_, gc_);
    }

    void present(const std::uint32_t* pixels, int stride, int width, int height,
                 std::span<const PresentRect> rects) override {
        for (const PresentRect& r : rects) {
            const int left = std::max(r.x, 0), top = std::max(r.y, 0);
            const int right = std::min(r.x + r.width, width),
                      bottom = std::min(r.y + r.height, height);
            if (right <= left || bottom <= top)
                continue;
            const int columns = right - left;
            // Rows of a request are whole words, so a band is its rows copied together.
            const int bandRows = std::max<int>(
                1, static_cast<int>(maximumBytes_ / (static_cast<std::uint32_t>(columns) * 4)));
            for (int y = top; y < bottom; y += bandRows) {
                const int rows = std::min(bandRows, bottom - y);
                band_.resize(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
                for (int row = 0; row < rows; ++row) {
                    std::copy_n(pixels + static_cast<std::ptrdiff_t>(y + row) * stride + left,
                                columns, band_.data() + static_cast<std::ptrdiff_t>(row) * columns);
                }
                xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window_, gc_,
                              static_cast<std::uint16_t>(columns), static_cast<std::uint16_t>(rows),
                              static_cast<std::int16_t>(left), static_cast<std::int16_t>(y), 0, 32,
                              static_cast<std::uint32_t>(band_.size() * 4),
                              reinterpret_cast<const std::uint8_t*>(band_.data()));
            }
        }
        // A reply to a request sent after the images arrives once they were handled.
        fence_ = xcb_get_input_focus(connection_);
        fenceOutstanding_ = true;
        xcb_flush(connection_);
    }

    bool isReady() override {
        if (!fenceOutstanding_)
            return true;
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(connection_, fence_.sequence, &reply, &error) == 0) {
            // A broken connection answers nothing; drawing then goes nowhere anyway.
            return xcb_connection_has_error(connection_) != 0;
        }
        std::free(reply);
        std::free(error);
        fenceOutstanding_ = false;
        return true;
    }

  private:
    xcb_connection_t* connection_;
    xcb_window_t window_;
    std::uint32_t maximumBytes_;
    xcb_gcontext_t gc_ = 0;
    // Grows to the largest band once; a new segment's band is a few hundred bytes.
    std::vector<std::uint32_t> band_;
    xcb_get_input_focus_cookie_t fence_{};
    bool fenceOutstanding_ = false;
};

}  // namespace

std::unique_ptr<PixelPresenter> createPixelPresenter(QWindow& window) {
    const auto x = x11::qtConnection();
    if (!x)
        return nullptr;
    xcb_connection_t* c = x->connection;
    const auto window_id = static_cast<xcb_window_t>(window.winId());
    const x11::Owned<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window_id), nullptr));
    // Our words are 0xAARRGGBB in memory order B, G, R, A: a little-endian 32-bit image.
    if (!geometry || geometry->depth != 32 ||
        xcb_get_setup(c)->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        return nullptr;
    }
    // The request header takes 24 bytes; leave room for it.
    const std::uint32_t maximumBytes = xcb_get_maximum_request_length(c) * 4 - 64;
    return std::make_unique<X11PixelPresenter>(c, window_id, maximumBytes);
}

}  // namespace scrawlet::platform
