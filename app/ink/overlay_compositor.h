// Draws the ink view's overlay image (text labels, caret, outlines, hint) over the ink.
//
// The image is rasterised by the view only when an overlay changes and uploaded here once per
// change; each frame then costs one textured quad. The image is premultiplied RGBA and covers
// the whole drawable. Needs the view's 3.3 context current; main thread only.
#pragma once

#include <QtGui/qopengl.h>

#include <QImage>
#include <memory>

class QOpenGLFunctions_3_3_Core;

namespace scrawlet::ink {

class OverlayCompositor {
  public:
    // Nothing when the program cannot be built (one line on standard error).
    static std::unique_ptr<OverlayCompositor> create();
    ~OverlayCompositor();
    OverlayCompositor(const OverlayCompositor&) = delete;
    OverlayCompositor& operator=(const OverlayCompositor&) = delete;

    // `image` must be Format_RGBA8888_Premultiplied; an empty image clears the overlay.
    void upload(const QImage& image);
    // Blends the overlay over the bound framebuffer (premultiplied source-over), covering the
    // framebuffer's top-left corner at the image's size: the image is the drawable's size.
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
