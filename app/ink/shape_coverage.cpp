#include "app/ink/shape_coverage.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <cstdio>

#include "app/gl/gl_program.h"

namespace scrawlet::ink {
namespace {

constexpr const char* kVertexShader = R"(#version 330 core
void main() {
    vec2 corner = vec2(float(gl_VertexID & 1), float((gl_VertexID >> 1) & 1));
    gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0);
}
)";

// Both framebuffers have the drawable's size and GL's row order, so a fragment reads the
// coverage texel under it.
constexpr const char* kFragmentShader = R"(#version 330 core
uniform sampler2D coverage;
uniform vec4 paint;
out vec4 colour;
void main() {
    float alpha = texelFetch(coverage, ivec2(gl_FragCoord.xy), 0).r * paint.a;
    colour = vec4(paint.rgb * alpha, alpha);
}
)";

}  // namespace

std::unique_ptr<ShapeCoverage> ShapeCoverage::create() {
    QOpenGLFunctions_3_3_Core* gl = gl::functions();
    if (!gl)
        return nullptr;
    std::unique_ptr<ShapeCoverage> shapes(new ShapeCoverage(gl));
    shapes->program_ = gl::buildProgram(*gl, "shape coverage", kVertexShader, kFragmentShader);
    if (shapes->program_ == 0)
        return nullptr;
    const gl::StateGuard saved(*gl);
    shapes->paintLocation_ = gl->glGetUniformLocation(shapes->program_, "paint");
    gl->glGenVertexArrays(1, &shapes->vertexArray_);
    gl->glGenFramebuffers(1, &shapes->framebuffer_);
    shapes->texture_ = gl::makePixelTexture(*gl);
    return shapes;
}

ShapeCoverage::~ShapeCoverage() {
    if (QOpenGLContext::currentContext()) {
        gl_->glDeleteFramebuffers(1, &framebuffer_);
        gl_->glDeleteTextures(1, &texture_);
        gl_->glDeleteVertexArrays(1, &vertexArray_);
        gl_->glDeleteProgram(program_);
    }
}

bool ShapeCoverage::bind(QSize pixels) {
    gl_->glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    if (pixels != size_) {
        gl_->glBindTexture(GL_TEXTURE_2D, texture_);
        gl_->glTexImage2D(GL_TEXTURE_2D, 0, GL_R8, pixels.width(), pixels.height(), 0, GL_RED,
                          GL_UNSIGNED_BYTE, nullptr);
        gl_->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture_,
                                    0);
        complete_ = gl_->glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        if (!complete_) {
            // R8 targets are required of 3.3, so this is a driver out of memory.
            std::fprintf(stderr,
                         "shape coverage: no %dx%d coverage target; translucent strokes are not "
                         "drawn\n",
                         pixels.width(), pixels.height());
        }
        size_ = pixels;
    }
    return complete_;
}

void ShapeCoverage::composite(const ShapePaint& paint) {
    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glActiveTexture(GL_TEXTURE0);
    gl_->glBindTexture(GL_TEXTURE_2D, texture_);
    gl_->glUniform4f(paintLocation_, paint.colour[0], paint.colour[1], paint.colour[2],
                     paint.opacity);
    gl_->glEnable(GL_BLEND);
    gl_->glBlendEquation(GL_FUNC_ADD);
    gl_->glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    gl_->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

}  // namespace scrawlet::ink
