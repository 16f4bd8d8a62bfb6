#include "app/ink/overlay_compositor.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QOpenGLVersionFunctionsFactory>
#include <iostream>
#include <string>

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

constexpr const char* kFragmentShader = R"(#version 330 core
in vec2 uv;
uniform sampler2D overlay;
out vec4 colour;
void main() {
    colour = texture(overlay, uv);
}
)";

GLuint compile(QOpenGLFunctions_3_3_Core& gl, GLenum kind, const char* source) {
    const GLuint shader = gl.glCreateShader(kind);
    gl.glShaderSource(shader, 1, &source, nullptr);
    gl.glCompileShader(shader);
    GLint ok = 0;
    gl.glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (!ok) {
        char log[1024] = {};
        gl.glGetShaderInfoLog(shader, sizeof log, nullptr, log);
        std::string text(log);
        for (char& c : text) {
            c = (c == '\n') ? ' ' : c;
        }
        std::cerr << "overlay compositor: shader compile failed: " << text << "\n";
        gl.glDeleteShader(shader);
        return 0;
    }
    return shader;
}

}  // namespace

std::unique_ptr<OverlayCompositor> OverlayCompositor::create() {
    QOpenGLContext* context = QOpenGLContext::currentContext();
    if (!context) {
        return nullptr;
    }
    auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_3_3_Core>(context);
    if (!gl || !gl->initializeOpenGLFunctions()) {
        return nullptr;
    }
    std::unique_ptr<OverlayCompositor> compositor(new OverlayCompositor(gl));
    const GLuint vertex = compile(*gl, GL_VERTEX_SHADER, kVertexShader);
    const GLuint fragment = compile(*gl, GL_FRAGMENT_SHADER, kFragmentShader);
    if (!vertex || !fragment) {
        return nullptr;
    }
    compositor->program_ = gl->glCreateProgram();
    gl->glAttachShader(compositor->program_, vertex);
    gl->glAttachShader(compositor->program_, fragment);
    gl->glLinkProgram(compositor->program_);
    gl->glDeleteShader(vertex);
    gl->glDeleteShader(fragment);
    GLint linked = 0;
    gl->glGetProgramiv(compositor->program_, GL_LINK_STATUS, &linked);
    if (!linked) {
        std::cerr << "overlay compositor: program did not link\n";
        return nullptr;
    }
    gl->glGenVertexArrays(1, &compositor->vertexArray_);
    gl->glGenTextures(1, &compositor->texture_);
    gl->glBindTexture(GL_TEXTURE_2D, compositor->texture_);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return compositor;
}

OverlayCompositor::~OverlayCompositor() {
    if (QOpenGLContext::currentContext()) {
        gl_->glDeleteTextures(1, &texture_);
        gl_->glDeleteVertexArrays(1, &vertexArray_);
        gl_->glDeleteProgram(program_);
    }
}

void OverlayCompositor::upload(const QImage& image) {
    if (image.isNull()) {
        width_ = height_ = 0;
        return;
    }
    gl_->glBindTexture(GL_TEXTURE_2D, texture_);
    gl_->glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(image.bytesPerLine() / 4));
    if (image.width() != width_ || image.height() != height_) {
        gl_->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, image.width(), image.height(), 0, GL_RGBA,
                          GL_UNSIGNED_BYTE, image.constBits());
        width_ = image.width();
        height_ = image.height();
    } else {
        gl_->glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width_, height_, GL_RGBA, GL_UNSIGNED_BYTE,
                             image.constBits());
    }
    gl_->glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}

void OverlayCompositor::draw() {
    if (isEmpty()) {
        return;
    }
    gl_->glViewport(0, 0, width_, height_);
    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glActiveTexture(GL_TEXTURE0);
    gl_->glBindTexture(GL_TEXTURE_2D, texture_);
    gl_->glEnable(GL_BLEND);
    gl_->glBlendEquation(GL_FUNC_ADD);
    gl_->glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    gl_->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    gl_->glBindVertexArray(0);
    gl_->glUseProgram(0);
}

}  // namespace scrawlet::ink
