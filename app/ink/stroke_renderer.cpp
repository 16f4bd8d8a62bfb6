#include "app/ink/stroke_renderer.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QOpenGLVersionFunctionsFactory>
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>

#include "app/gl/gl_program.h"

namespace scrawlet::ink {
namespace {

constexpr GLsizei kStride = sizeof(SegmentInstance);
constexpr std::string_view kOwner = "stroke renderer";

}  // namespace

std::unique_ptr<StrokeRenderer> StrokeRenderer::create(int instanceCapacity,
                                                       StrokeShaderSource source) {
    QOpenGLFunctions_3_3_Core* gl = gl::functions();
    if (!gl || instanceCapacity < 1 ||
        instanceCapacity > std::numeric_limits<GLsizeiptr>::max() / kStride)
        return nullptr;
    QOpenGLContext* context = QOpenGLContext::currentContext();

    std::unique_ptr<StrokeRenderer> renderer(new StrokeRenderer(context, gl, instanceCapacity));
    if (!renderer->makeBufferAndVertexArray() || !renderer->makeProgram(source))
        return nullptr;
    return renderer;
}

StrokeRenderer::StrokeRenderer(QOpenGLContext* context, QOpenGLFunctions_3_3_Core* gl, int capacity)
    : context_(context), gl_(gl), capacity_(capacity) {}

StrokeRenderer::~StrokeRenderer() {
    if (QOpenGLContext::currentContext() != context_)
        return;
    gl_->glDeleteProgram(program_);
    gl_->glDeleteProgram(coverageProgram_);
    gl_->glDeleteVertexArrays(1, &vertexArray_);
    gl_->glDeleteBuffers(1, &buffer_);
}

bool StrokeRenderer::makeBufferAndVertexArray() {
    const gl::StateGuard saved(*gl_);
    // Stale errors from whoever used the context before would read as ours.
    while (gl_->glGetError() != GL_NO_ERROR) {
    }
    gl_->glGenBuffers(1, &buffer_);
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    gl_->glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(capacity_) * kStride, nullptr,
                      GL_DYNAMIC_DRAW);
    if (buffer_ == 0 || gl_->glGetError() != GL_NO_ERROR)
        return false;

    gl_->glGenVertexArrays(1, &vertexArray_);
    if (vertexArray_ == 0) {
        std::fputs("stroke renderer: pipeline creation failed: no vertex array object\n", stderr);
        return false;
    }
    gl_->glBindVertexArray(vertexArray_);
    for (GLuint attribute = 0; attribute < 5; ++attribute) {
        gl_->glEnableVertexAttribArray(attribute);
        gl_->glVertexAttribDivisor(attribute, 1);
    }
    pointAttributesAt(0);
    return true;
}

bool StrokeRenderer::makeProgram(StrokeShaderSource source) {
    program_ = gl::buildProgram(*gl_, kOwner, source.vertex, source.fragment);
    if (program_ == 0)
        return false;
    drawableSizeLocation_ = gl_->glGetUniformLocation(program_, "drawableSize");
    fadeLocation_ = gl_->glGetUniformLocation(program_, "fade");
    coverageProgram_ = gl::buildProgram(*gl_, kOwner, source.vertex, source.coverage);
    if (coverageProgram_ == 0)
        return false;
    coverageSizeLocation_ = gl_->glGetUniformLocation(coverageProgram_, "drawableSize");
    return true;
}

// GL 3.3 has no base instance for instanced draws, so each run moves the per-instance
// attributes to its first record instead; the vertex array is ours, so this disturbs no one.
void StrokeRenderer::pointAttributesAt(int start) {
    const auto base = static_cast<std::uintptr_t>(start) * kStride;
    const auto at = [base](std::size_t offset) {
        return reinterpret_cast<const void*>(base + offset);
    };
    gl_->glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, kStride, at(offsetof(SegmentInstance, a)));
    gl_->glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, kStride, at(offsetof(SegmentInstance, b)));
    gl_->glVertexAttribPointer(2, 1, GL_FLOAT, GL_FALSE, kStride,
                               at(offsetof(SegmentInstance, radius)));
    gl_->glVertexAttribPointer(3, 1, GL_FLOAT, GL_FALSE, kStride,
                               at(offsetof(SegmentInstance, birth)));
    gl_->glVertexAttribPointer(4, 4, GL_FLOAT, GL_FALSE, kStride,
                               at(offsetof(SegmentInstance, colour)));
}

void StrokeRenderer::upload(std::span<const SegmentInstance> instances, int from) {
    const int count = static_cast<int>(
        std::min<std::size_t>(instances.size(), static_cast<std::size_t>(capacity_)));
    from = std::clamp(from, 0, count);
    if (from >= count)
        return;
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    gl_->glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(from) * kStride,
                         static_cast<GLsizeiptr>(count - from) * kStride, instances.data() + from);
}

void StrokeRenderer::drawRange(int start, int count, core::InkBlend blend, FadeUniform fade,
                               QSize drawablePixels) {
    if (start < 0 || count <= 0 || start + count > capacity_)
        return;
    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    // Attribute pointers take the buffer bound when they are set.
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    gl_->glUniform2f(drawableSizeLocation_, static_cast<GLfloat>(drawablePixels.width()),
                     static_cast<GLfloat>(drawablePixels.height()));
    gl_->glUniform3f(fadeLocation_, fade.now, fade.timeToLive, fade.window);
    gl_->glEnable(GL_BLEND);
    // Premultiplied source-over; under GL_MAX the factors play no part.
    gl_->glBlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    gl_->glBlendEquation(blend == core::InkBlend::maximum ? GL_MAX : GL_FUNC_ADD);
    pointAttributesAt(start);
    gl_->glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, count);
}

void StrokeRenderer::drawCoverage(int start, int count, QSize drawablePixels) {
    if (start < 0 || count <= 0 || start + count > capacity_)
        return;
    gl_->glUseProgram(coverageProgram_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    gl_->glUniform2f(coverageSizeLocation_, static_cast<GLfloat>(drawablePixels.width()),
                     static_cast<GLfloat>(drawablePixels.height()));
    gl_->glEnable(GL_BLEND);
    gl_->glBlendEquation(GL_MAX);
    pointAttributesAt(start);
    gl_->glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, count);
}

void StrokeRenderer::draw(std::span<const SegmentInstance> instances, int uploadFrom,
                          std::span<const InstanceRun> runs, int liveCount,
                          core::InkBlend liveBlend, FadeUniform fade, QSize drawablePixels) {
    const int count = static_cast<int>(
        std::min<std::size_t>(instances.size(), static_cast<std::size_t>(capacity_)));
    liveCount = std::clamp(liveCount, 0, count);
    const int sceneCount = count - liveCount;

    const gl::StateGuard saved(*gl_);
    gl_->glViewport(0, 0, drawablePixels.width(), drawablePixels.height());
    gl_->glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    for (const GLenum capability : {GLenum{GL_SCISSOR_TEST}, GLenum{GL_DEPTH_TEST},
                                    GLenum{GL_STENCIL_TEST}, GLenum{GL_CULL_FACE}})
        gl_->glDisable(capability);
    gl_->glClearColor(0, 0, 0, 0);
    gl_->glClear(GL_COLOR_BUFFER_BIT);
    if (count == 0)
        return;
    upload(instances, uploadFrom);
    for (const InstanceRun& run : runs) {
        const int start = std::max(run.start, 0);
        drawRange(start, std::min(run.start + run.count, sceneCount) - start, run.blend, fade,
                  drawablePixels);
    }
    drawRange(sceneCount, liveCount, liveBlend, fade, drawablePixels);
}

}  // namespace scrawlet::ink
