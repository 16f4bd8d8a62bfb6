#include "app/ink/overlay_compositor.h"

#include <QOpenGLFunctions_3_3_Core>

#include "app/gl/gl_program.h"

namespace scrawlet::ink {
namespace {

// A full-drawable quad from the vertex id alone: no vertex buffer needed.
constexpr const char* kVertexShader = R"(#version 330 core
out vec2 uv;
void main() {
    vec2 corner = vec2(float(gl_VertexID & 1), float((gl_VertexID >> 1) & 1));
    uv = vec2(corner.x, corner.y);
    gl_Position = vec4(corner.x * 2.0 - 1.0, 1.0 - corner.y * 2.0, 0.0, 1.0);
}
)";

// The image's words are 0xAARRGGBB: read as BGRA bytes on upload, so no swizzle here.
constexpr const char* kFragmentShader = R"(#version 330 core
in vec2 uv;
uniform sampler2D overlay;
out vec4 colour;
void main() {
    colour = texture(overlay, uv);
}
)";

}  // namespace

std::unique_ptr<OverlayCompositor> OverlayCompositor::create() {
    QOpenGLFunctions_3_3_Core* gl = gl::functions();
    if (!gl) {
        return nullptr;
    }
    std::unique_ptr<OverlayCompositor> compositor(new OverlayCompositor(gl));
    compositor->program_ =
        gl::buildProgram(*gl, "overlay compositor", kVertexShader, kFragmentShader);
    if (compositor->program_ == 0) {
        return nullptr;
    }
    const gl::StateGuard saved(*gl);
    gl->glGenVertexArrays(1, &compositor->vertexArray_);
    compositor->texture_ = gl::makePixelTexture(*gl);
    return compositor;
}

OverlayCompositor::~OverlayCompositor() {
    if (QOpenGLContext::currentContext()) {
        gl_->glDeleteTextures(1, &texture_);
        gl_->glDeleteVertexArrays(1, &vertexArray_);
        gl_->glDeleteProgram(program_);
    }
}

void OverlayCompositor::upload(const QImage& image, std::span<const PixelRect> rects) {
    if (image.isNull()) {
        width_ = height_ = 0;
        return;
    }
    gl_->glBindTexture(GL_TEXTURE_2D, texture_);
    gl_->glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(image.bytesPerLine() / 4));
    if (image.width() != width_ || image.height() != height_) {
        gl_->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, image.width(), image.height(), 0, GL_BGRA,
                          GL_UNSIGNED_BYTE, image.constBits());
        width_ = image.width();
        height_ = image.height();
    } else {
        const PixelRect whole{0, 0, width_, height_};
        for (const PixelRect& rect : rects) {
            const PixelRect area = rect.intersected(whole);
            if (area.isEmpty())
                continue;
            gl_->glTexSubImage2D(GL_TEXTURE_2D, 0, area.x, area.y, area.width, area.height, GL_BGRA,
                                 GL_UNSIGNED_BYTE, image.constScanLine(area.y) + area.x * 4);
        }
    }
    gl_->glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

void OverlayCompositor::draw() {
    if (isEmpty()) {
        return;
    }
    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glActiveTexture(GL_TEXTURE0);
    gl_->glBindTexture(GL_TEXTURE_2D, texture_);
    gl_->glEnable(GL_BLEND);
    gl_->glBlendEquation(GL_FUNC_ADD);
    gl_->glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    gl_->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

}  // namespace scrawlet::ink
