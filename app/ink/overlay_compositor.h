// Draws the ink view's overlay image (text labels, caret, outlines, hint) over the ink.
//
// The image is painted by the view only where an overlay changed, and only those rectangles
// are uploaded here; drawing is one textured quad limited by the caller's scissor. The image is
// premultiplied ARGB32 and covers the whole drawable. Needs the view's 3.3 context current;
// main thread only.
#pragma once

#include <QtGui/qopengl.h>

#include <QImage>
#include <memory>
#include <span>

#include "app/ink/pixel_rect.h"

class QOpenGLFunctions_3_3_Core;

namespace scrawlet::ink {

class OverlayCompositor {
  public:
    // Nothing when the program cannot be built (one line on standard error).
    static std::unique_ptr<OverlayCompositor> create();
    ~OverlayCompositor();
    OverlayCompositor(const OverlayCompositor&) = delete;
    OverlayCompositor& operator=(const OverlayCompositor&) = delete;

    // `image` must be Format_ARGB32_Premultiplied; a new size uploads it whole.
    void upload(const QImage& image, std::span<const PixelRect> rects);
    // Blends the overlay over the bound framebuffer (premultiplied source-over) where the
    // scissor lets it. The caller holds a gl::StateGuard.
    void draw();
    bool isEmpty() const { return width_ == 0; }

  private:
    explicit OverlayCompositor(QOpenGLFunctions_3_3_Core* gl) : gl_(gl) {}

    QOpenGLFunctions_3_3_Core* gl_;
    GLuint program_ = 0;
    GLuint vertexArray_ = 0;
    GLuint texture_ = 0;
    int width_ = 0;
    int height_ = 0;
};

}  // namespace scrawlet::ink
