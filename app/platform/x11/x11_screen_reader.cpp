#include <xcb/shm.h>

#include <cstring>
#include <mutex>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

// The root window holds the screen as shown: under a compositing manager the composited
// picture, overlays included. Read through a shared-memory segment when the server offers
// one (a 1920x1080 read is then a copy, not 8 MB through the socket).
class X11ScreenReader final : public ScreenReader {
  public:
    X11ScreenReader(xcb_connection_t* c, xcb_window_t root, bool shm)
        : c_(c), root_(root), shm_(shm) {}

    ~X11ScreenReader() override {
        release();
        xcb_disconnect(c_);
    }

    std::expected<QImage, std::string> read(const QRect& rect) override {
        std::lock_guard lock(mutex_);
        if (xcb_connection_has_error(c_))
            return std::unexpected(std::string("the connection to the X server broke"));
        if (rect.isEmpty())
            return std::unexpected(std::string("nothing to read"));
        if (shm_) {
            if (auto image = readShared(rect))
                return image;
            // A server that refuses the segment (a remote one) is read through the socket.
            shm_ = false;
        }
        return readPlain(rect);
    }

  private:
    std::expected<QImage, std::string> readShared(const QRect& rect) {
        const std::size_t bytes = std::size_t(rect.width()) * std::size_t(rect.height()) * 4;
        if (!segment_ || bytes > segment_->bytes) {
            release();
            auto attached = x11::attachSharedSegment(c_, bytes);
            if (!attached)
                return std::unexpected(attached.error());
            segment_ = *attached;
        }
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
            c_,
            xcb_shm_get_image(c_, root_, std::int16_t(rect.x()), std::int16_t(rect.y()),
                              std::uint16_t(rect.width()), std::uint16_t(rect.height()), ~0u,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, segment_->id, 0),
            &error));
        if (!reply)
            return std::unexpected(readFailure(error));
        if (reply->depth != 24 && reply->depth != 32)
            return std::unexpected(std::string("the screen's pixel format is not supported"));
        return toImage(segment_->address, rect.size());
    }

    std::expected<QImage, std::string> readPlain(const QRect& rect) {
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_get_image_reply_t> reply(xcb_get_image_reply(
            c_,
            xcb_get_image(c_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, std::int16_t(rect.x()),
                          std::int16_t(rect.y()), std::uint16_t(rect.width()),
                          std::uint16_t(rect.height()), ~0u),
            &error));
        if (!reply)
            return std::unexpected(readFailure(error));
        const auto length = static_cast<std::size_t>(xcb_get_image_data_length(reply.get()));
        if ((reply->depth != 24 && reply->depth != 32) ||
            length < std::size_t(rect.width()) * std::size_t(rect.height()) * 4)
            return std::unexpected(std::string("the screen's pixel format is not supported"));
        return toImage(xcb_get_image_data(reply.get()), rect.size());
    }

    // Takes the error.
    static std::string readFailure(xcb_generic_error_t* error) {
        const int code = error ? error->error_code : 0;
        std::free(error);
        return "reading the screen failed (X error " + std::to_string(code) + ")";
    }

    // 32 bits a pixel, the padding byte made opaque.
    static QImage toImage(const uchar* pixels, QSize size) {
        QImage image(size, QImage::Format_RGB32);
        const auto rowBytes = std::size_t(size.width()) * 4;
        for (int y = 0; y < size.height(); ++y)
            std::memcpy(image.scanLine(y), pixels + rowBytes * std::size_t(y), rowBytes);
        return image;
    }

    void release() {
        if (segment_)
            x11::detachSharedSegment(c_, *segment_);
        segment_.reset();
    }

    std::mutex mutex_;
    xcb_connection_t* c_;
    xcb_window_t root_;
    bool shm_;
    std::optional<x11::SharedSegment> segment_;
};

}  // namespace

std::unique_ptr<ScreenReader> createScreenReader() {
    const auto own = x11::openOwnConnection();
    if (!own)
        return nullptr;
    const auto* extension = xcb_get_extension_data(own->connection, &xcb_shm_id);
    return std::make_unique<X11ScreenReader>(own->connection, own->screen->root,
                                             extension && extension->present);
}

}  // namespace scrawlet::platform
