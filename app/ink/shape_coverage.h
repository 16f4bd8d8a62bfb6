// The GPU half of drawing a translucent stroke as one shape: an 8-bit coverage texture the
// size of the drawable with its framebuffer, into which the stroke renderer unites capsules
// (GL_MAX), and the program that blends that coverage once, in the stroke's colour at its
// opacity, over the window's framebuffer.
//
// Storage is made again only when the drawable's size changes. Needs the view's 3.3 context
// current; the caller holds a gl::StateGuard and binds framebuffers back. Main thread only.
#pragma once

#include <QtGui/qopengl.h>

#include <QSize>
#include <memory>

#include "app/ink/stroke_instances.h"

class QOpenGLFunctions_3_3_Core;

namespace scrawlet::ink {

class ShapeCoverage {
  public:
    // Nothing when the program cannot be built (one line on standard error).
    static std::unique_ptr<ShapeCoverage> create();
    ~ShapeCoverage();
    ShapeCoverage(const ShapeCoverage&) = delete;
    ShapeCoverage& operator=(const ShapeCoverage&) = delete;

    // Binds the coverage framebuffer for drawing, sized to `pixels`; false when it cannot be
    // made complete.
    bool bind(QSize pixels);
    // Blends the coverage over the bound framebuffer where the scissor lets it.
    void composite(const ShapePaint& paint);

  private:
    explicit ShapeCoverage(QOpenGLFunctions_3_3_Core* gl) : gl_(gl) {}

    QOpenGLFunctions_3_3_Core* gl_;
    GLuint program_ = 0;
    GLuint vertexArray_ = 0;
    GLuint texture_ = 0;
    GLuint framebuffer_ = 0;
    GLint paintLocation_ = -1;
    QSize size_;
    bool complete_ = false;
};

}  // namespace scrawlet::ink
