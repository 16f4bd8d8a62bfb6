#include "app/diagnostics/ink_renderer.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <algorithm>
#include <string_view>

#include "app/gl/gl_program.h"

namespace scrawlet::diagnostics {
namespace {

constexpr std::string_view kOwner = "probe";
constexpr GLsizei kStride = sizeof(float) * 2;

// quad_vertex: the centres are attribute 0 (one per instance), the half size the first
// uniform; corners (-1,-1), (1,-1), (-1,1), (1,1) scaled by it around the centre.
constexpr std::string_view kQuadVertexShader = R"glsl(#version 330 core
layout(location = 0) in vec2 centre;
uniform vec2 halfSize;
uniform vec2 viewSize;
const vec2 corners[4] = vec2[4](vec2(-1.0, -1.0), vec2(1.0, -1.0), vec2(-1.0, 1.0), vec2(1.0, 1.0));
void main() {
    vec2 clip = vec2(2.0 * centre.x / viewSize.x - 1.0, 1.0 - 2.0 * centre.y / viewSize.y);
    gl_Position = vec4(clip + corners[gl_VertexID] * halfSize, 0.0, 1.0);
}
)glsl";

// quad_fragment: opaque white.
constexpr std::string_view kQuadFragmentShader = R"glsl(#version 330 core
out vec4 colour;
void main() {
    colour = vec4(1.0);
}
)glsl";

}  // namespace

std::unique_ptr<InkRenderer> InkRenderer::create(bool opaque) {
    QOpenGLFunctions_3_3_Core* gl = gl::functions();
    if (!gl) {
        return nullptr;
    }
    std::unique_ptr<InkRenderer> renderer(
        new InkRenderer(QOpenGLContext::currentContext(), gl, opaque));
    if (!renderer->makeProgramAndBuffer()) {
        return nullptr;
    }
    return renderer;
}

InkRenderer::InkRenderer(QOpenGLContext* context, QOpenGLFunctions_3_3_Core* gl, bool opaque)
    : context_(context), gl_(gl), opaque_(opaque), points_(kMaxPoints) {}

InkRenderer::~InkRenderer() {
    if (QOpenGLContext::currentContext() != context_) {
        return;
    }
    gl_->glDeleteProgram(program_);
    gl_->glDeleteVertexArrays(1, &vertexArray_);
    gl_->glDeleteBuffers(1, &buffer_);
}

bool InkRenderer::makeProgramAndBuffer() {
    program_ = gl::buildProgram(*gl_, kOwner, kQuadVertexShader, kQuadFragmentShader);
    if (program_ == 0) {
        return false;
    }
    halfSizeLocation_ = gl_->glGetUniformLocation(program_, "halfSize");
    viewSizeLocation_ = gl_->glGetUniformLocation(program_, "viewSize");
    gl_->glGenVertexArrays(1, &vertexArray_);
    gl_->glGenBuffers(1, &buffer_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    gl_->glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(kMaxPoints) * kStride, nullptr,
                      GL_DYNAMIC_DRAW);
    gl_->glEnableVertexAttribArray(0);
    gl_->glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, kStride, nullptr);
    gl_->glVertexAttribDivisor(0, 1);
    gl_->glBindVertexArray(0);
    return vertexArray_ != 0 && buffer_ != 0 && gl_->glGetError() == GL_NO_ERROR;
}

void InkRenderer::appendPoint(float x, float y) {
    points_[static_cast<std::size_t>(pointHead_)] = {x, y};
    pointHead_ = (pointHead_ + 1) % kMaxPoints;
    pointCount_ = std::min(pointCount_ + 1, kMaxPoints);
    pendingUpload_ = std::min(pendingUpload_ + 1, kMaxPoints);
}

// Instances are drawn from the ring's start, so the ring starts again there.
void InkRenderer::clearPoints() {
    pointHead_ = 0;
    pointCount_ = 0;
    pendingUpload_ = 0;
}

// Only what was appended since the last frame: at most two ranges, split where the ring wraps.
void InkRenderer::uploadNewPoints() {
    int start = (pointHead_ - pendingUpload_ + kMaxPoints) % kMaxPoints;
    int remaining = pendingUpload_;
    while (remaining > 0) {
        const int run = std::min(remaining, kMaxPoints - start);
        gl_->glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(start) * kStride,
                             static_cast<GLsizeiptr>(run) * kStride,
                             points_[static_cast<std::size_t>(start)].data());
        remaining -= run;
        start = 0;
    }
    pendingUpload_ = 0;
}

void InkRenderer::draw(QSize pixels, QSizeF points) {
    gl_->glViewport(0, 0, pixels.width(), pixels.height());
    if (flashFramesRemaining_ > 0) {
        --flashFramesRemaining_;
        gl_->glClearColor(1, 1, 1, 1);
    } else {
        gl_->glClearColor(0, 0, 0, opaque_ ? 1.0f : 0.0f);
    }
    gl_->glClear(GL_COLOR_BUFFER_BIT);
    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    uploadNewPoints();
    gl_->glUniform2f(halfSizeLocation_, halfSize_[0], halfSize_[1]);
    gl_->glUniform2f(viewSizeLocation_, static_cast<float>(std::max(points.width(), 1.0)),
                     static_cast<float>(std::max(points.height(), 1.0)));
    if (pointCount_ > 0) {
        gl_->glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, pointCount_);
    }
    gl_->glBindVertexArray(0);
}

}  // namespace scrawlet::diagnostics
