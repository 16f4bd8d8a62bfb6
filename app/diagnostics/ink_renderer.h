// The probe's own minimal renderer: white squares at the points the pointer passed, nothing
// else, so that a frame costs the same whatever was drawn before.
//
// The points live in a ring of `kMaxPoints` centres in view points (the oldest are overwritten)
// and are drawn as one instanced 4-vertex triangle strip each, `halfSize` clip units around
// their centre. A frame clears to opaque black for an opaque window and to transparent for an
// overlay, or to opaque white while `flashFramesRemaining` is above 0. Construction needs a
// current OpenGL 3.3 core context and returns nothing without one or when the program does not
// build; `draw` needs the same context current. Main thread only.
#pragma once

#include <QtGui/qopengl.h>

#include <QSize>
#include <array>
#include <memory>
#include <vector>

class QOpenGLContext;
class QOpenGLFunctions_3_3_Core;

namespace scrawlet::diagnostics {

class InkRenderer {
  public:
    static constexpr int kMaxPoints = 16384;
    static constexpr std::array<float, 2> kDefaultHalfSize{0.004f, 0.004f};

    static std::unique_ptr<InkRenderer> create(bool opaque);
    ~InkRenderer();
    InkRenderer(const InkRenderer&) = delete;
    InkRenderer& operator=(const InkRenderer&) = delete;

    // No GL work: the points reach the GPU with the next frame.
    void appendPoint(float x, float y);
    void clearPoints();
    int pointCount() const { return pointCount_; }
    void flashNextFrame() { flashFramesRemaining_ = 1; }

    // Draws one frame into the bound framebuffer of `pixels` for a view of `points`.
    void draw(QSize pixels, QSizeF points);

  private:
    InkRenderer(QOpenGLContext* context, QOpenGLFunctions_3_3_Core* gl, bool opaque);
    bool makeProgramAndBuffer();
    void uploadNewPoints();

    QOpenGLContext* context_;
    QOpenGLFunctions_3_3_Core* gl_;
    bool opaque_;
    std::vector<std::array<float, 2>> points_;
    int pointHead_ = 0;
    int pointCount_ = 0;
    // Appended since the last upload, up to the ring's size.
    int pendingUpload_ = 0;
    std::array<float, 2> halfSize_ = kDefaultHalfSize;
    int flashFramesRemaining_ = 0;
    GLuint program_ = 0;
    GLuint vertexArray_ = 0;
    GLuint buffer_ = 0;
    GLint halfSizeLocation_ = -1;
    GLint viewSizeLocation_ = -1;
};

}  // namespace scrawlet::diagnostics
