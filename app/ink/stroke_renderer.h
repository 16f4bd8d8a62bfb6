// The GPU half of the stroke renderer: draws segment instances as anti-aliased capsules with
// OpenGL 3.3 core, one instanced draw call per run of equal blend.
//
// It takes plain data (instances, runs, the fade uniform) so that it knows nothing of how the
// instances were built; StrokeInstanceBuilder supplies them. One instance buffer of a fixed
// capacity is made at construction and only the instances that changed are uploaded per frame.
// `draw` targets whatever framebuffer is bound, clears it to transparent, and leaves the GL state
// it touches (program, vertex array, array buffer, blend, viewport, clear colour, colour mask,
// scissor, depth, stencil and cull tests) as it found it, so it can share a context.
//
// Construction and every call need the same context current; destroy the renderer while it is
// current, or its GL objects are left to the context's own end. Main thread only. Construction
// returns nullptr without a word when there is no current 3.3 context or no buffer, and with one
// line on standard error when the shader does not compile or the program does not link.
#pragma once

#include <QtGui/qopengl.h>

#include <QSize>
#include <memory>
#include <span>
#include <string_view>

#include "app/ink/stroke_instances.h"
#include "app/ink/stroke_shaders.h"
#include "core/ink_blend.h"

class QOpenGLContext;
class QOpenGLFunctions_3_3_Core;

namespace scrawlet::ink {

struct StrokeShaderSource {
    std::string_view vertex = kStrokeVertexShader;
    std::string_view fragment = kStrokeFragmentShader;
    std::string_view coverage = kStrokeCoverageFragmentShader;
};

class StrokeRenderer {
  public:
    // `source` is replaceable only so that the failure paths can be exercised.
    static std::unique_ptr<StrokeRenderer> create(int instanceCapacity,
                                                  StrokeShaderSource source = {});
    ~StrokeRenderer();
    StrokeRenderer(const StrokeRenderer&) = delete;
    StrokeRenderer& operator=(const StrokeRenderer&) = delete;

    // Uploads the instances from `from` on; those before it are unchanged since the last upload.
    void upload(std::span<const SegmentInstance> instances, int from);
    // Draws `count` uploaded instances from `start` with `blend` into the bound framebuffer,
    // within whatever scissor is set. Leaves program, vertex array, blend state and attribute
    // pointers changed: the caller holds a gl::StateGuard.
    void drawRange(int start, int count, core::InkBlend blend, FadeUniform fade,
                   QSize drawablePixels);

    // Unites the coverage of `count` uploaded instances from `start` into the bound one-channel
    // framebuffer (GL_MAX), colour and fade aside. Same state contract as `drawRange`.
    void drawCoverage(int start, int count, QSize drawablePixels);

    // Draws one whole frame, cleared first. `instances` holds the scene's instances followed by
    // `liveCount` live-shape instances, at most the capacity. Instances before `uploadFrom` must be
    // unchanged since the previous draw; the rest are uploaded. `runs` cover the scene's instances;
    // the live ones draw last, with `liveBlend`.
    void draw(std::span<const SegmentInstance> instances, int uploadFrom,
              std::span<const InstanceRun> runs, int liveCount, core::InkBlend liveBlend,
              FadeUniform fade, QSize drawablePixels);

    int instanceCapacity() const { return capacity_; }

  private:
    StrokeRenderer(QOpenGLContext* context, QOpenGLFunctions_3_3_Core* gl, int capacity);
    bool makeProgram(StrokeShaderSource source);
    bool makeBufferAndVertexArray();
    void pointAttributesAt(int start);

    QOpenGLContext* context_;
    QOpenGLFunctions_3_3_Core* gl_;
    int capacity_;
    GLuint program_ = 0;
    GLuint coverageProgram_ = 0;
    GLuint vertexArray_ = 0;
    GLuint buffer_ = 0;
    GLint drawableSizeLocation_ = -1;
    GLint fadeLocation_ = -1;
    GLint coverageSizeLocation_ = -1;
};

}  // namespace scrawlet::ink
