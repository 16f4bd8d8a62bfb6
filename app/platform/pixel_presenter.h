// Puts rectangles of a premultiplied ARGB32 frame into a window, straight to the window system:
// one request a rectangle, no paint-device set-up and no round trip, so a new segment costs
// the server a few hundred bytes. Nothing is made when the window's visual is not 32-bit ARGB
// in the server's byte order; the caller then presents through Qt's backing store.
// Main thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "app/platform/gl_presenter.h"

class QWindow;

namespace scrawlet::platform {

class PixelPresenter {
  public:
    virtual ~PixelPresenter() = default;
    // `pixels` is the whole frame, `stride` words a row; rectangles are in its pixels.
    virtual void present(const std::uint32_t* pixels, int stride, int width, int height,
                         std::span<const PresentRect> rects) = 0;
    // Whether the server has handled the last present: at most one is outstanding, so a busy
    // server makes frames wait and merge instead of queueing behind it. Never blocks.
    virtual bool isReady() = 0;
};

std::unique_ptr<PixelPresenter> createPixelPresenter(QWindow& window);

}  // namespace scrawlet::platform
