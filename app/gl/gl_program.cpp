#include "app/gl/gl_program.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QOpenGLVersionFunctionsFactory>
#include <algorithm>
#include <cstdio>
#include <string>

namespace scrawlet::gl {
namespace {

// One line each, whatever the driver's log looks like.
void report(std::string_view owner, std::string_view what, std::string detail) {
    std::replace_if(
        detail.begin(), detail.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    while (!detail.empty() && detail.back() == ' ') detail.pop_back();
    const std::string line = std::string(owner) + ": " + std::string(what) + ": " + detail + "\n";
    std::fputs(line.c_str(), stderr);
}

std::string infoLog(QOpenGLFunctions_3_3_Core& gl, GLuint object, bool isProgram) {
    GLint length = 0;
    if (isProgram)
        gl.glGetProgramiv(object, GL_INFO_LOG_LENGTH, &length);
    else
        gl.glGetShaderiv(object, GL_INFO_LOG_LENGTH, &length);
    std::string log(static_cast<std::size_t>(std::max(length, 1)), '\0');
    GLsizei written = 0;
    if (isProgram)
        gl.glGetProgramInfoLog(object, static_cast<GLsizei>(log.size()), &written, log.data());
    else
        gl.glGetShaderInfoLog(object, static_cast<GLsizei>(log.size()), &written, log.data());
    log.resize(static_cast<std::size_t>(std::max(written, 0)));
    return log;
}

GLuint compile(QOpenGLFunctions_3_3_Core& gl, std::string_view owner, GLenum stage,
               std::string_view source) {
    const GLuint shader = gl.glCreateShader(stage);
    if (shader == 0) {
        report(owner, "shader compile failed", "no shader object");
        return 0;
    }
    const GLchar* text = source.data();
    const auto length = static_cast<GLint>(source.size());
    gl.glShaderSource(shader, 1, &text, &length);
    gl.glCompileShader(shader);
    GLint compiled = GL_FALSE;
    gl.glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled != GL_TRUE) {
        report(owner, "shader compile failed", infoLog(gl, shader, false));
        gl.glDeleteShader(shader);
        return 0;
    }
    return shader;
}

}  // namespace

QOpenGLFunctions_3_3_Core* functions() {
    QOpenGLContext* context = QOpenGLContext::currentContext();
    if (!context || context->isOpenGLES() || context->format().version() < qMakePair(3, 3)) {
        return nullptr;
    }
    auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_3_3_Core>(context);
    return gl && gl->initializeOpenGLFunctions() ? gl : nullptr;
}

GLuint buildProgram(QOpenGLFunctions_3_3_Core& gl, std::string_view owner,
                    std::string_view vertexSource, std::string_view fragmentSource) {
    const GLuint vertex = compile(gl, owner, GL_VERTEX_SHADER, vertexSource);
    if (vertex == 0)
        return 0;
    const GLuint fragment = compile(gl, owner, GL_FRAGMENT_SHADER, fragmentSource);
    if (fragment == 0) {
        gl.glDeleteShader(vertex);
        return 0;
    }
    GLuint program = gl.glCreateProgram();
    if (program != 0) {
        gl.glAttachShader(program, vertex);
        gl.glAttachShader(program, fragment);
        gl.glLinkProgram(program);
    }
    // The program keeps what it linked; the shader objects are no longer needed.
    gl.glDeleteShader(vertex);
    gl.glDeleteShader(fragment);
    GLint linked = GL_FALSE;
    if (program != 0)
        gl.glGetProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        report(owner, "pipeline creation failed",
               program == 0 ? "no program object" : infoLog(gl, program, true));
        if (program != 0)
            gl.glDeleteProgram(program);
        return 0;
    }
    return program;
}

StateGuard::StateGuard(QOpenGLFunctions_3_3_Core& gl) : gl_(gl) {
    gl.glGetIntegerv(GL_CURRENT_PROGRAM, &program_);
    gl.glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &vertexArray_);
    gl.glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &arrayBuffer_);
    gl.glGetIntegerv(GL_TEXTURE_BINDING_2D, &texture_);
    gl.glGetIntegerv(GL_VIEWPORT, viewport_);
    gl.glGetIntegerv(GL_SCISSOR_BOX, scissor_);
    gl.glGetFloatv(GL_COLOR_CLEAR_VALUE, clearColour_);
    gl.glGetBooleanv(GL_COLOR_WRITEMASK, colourMask_);
    gl.glGetIntegerv(GL_BLEND_EQUATION_RGB, &equationRgb_);
    gl.glGetIntegerv(GL_BLEND_EQUATION_ALPHA, &equationAlpha_);
    gl.glGetIntegerv(GL_BLEND_SRC_RGB, &sourceRgb_);
    gl.glGetIntegerv(GL_BLEND_DST_RGB, &destinationRgb_);
    gl.glGetIntegerv(GL_BLEND_SRC_ALPHA, &sourceAlpha_);
    gl.glGetIntegerv(GL_BLEND_DST_ALPHA, &destinationAlpha_);
    for (std::size_t i = 0; i < kCapabilities.size(); ++i)
        enabled_[i] = gl.glIsEnabled(kCapabilities[i]);
}

StateGuard::~StateGuard() {
    gl_.glUseProgram(static_cast<GLuint>(program_));
    gl_.glBindVertexArray(static_cast<GLuint>(vertexArray_));
    gl_.glBindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(arrayBuffer_));
    gl_.glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(texture_));
    gl_.glViewport(viewport_[0], viewport_[1], viewport_[2], viewport_[3]);
    gl_.glScissor(scissor_[0], scissor_[1], scissor_[2], scissor_[3]);
    gl_.glClearColor(clearColour_[0], clearColour_[1], clearColour_[2], clearColour_[3]);
    gl_.glColorMask(colourMask_[0], colourMask_[1], colourMask_[2], colourMask_[3]);
    gl_.glBlendEquationSeparate(static_cast<GLenum>(equationRgb_),
                                static_cast<GLenum>(equationAlpha_));
    gl_.glBlendFuncSeparate(static_cast<GLenum>(sourceRgb_), static_cast<GLenum>(destinationRgb_),
                            static_cast<GLenum>(sourceAlpha_),
                            static_cast<GLenum>(destinationAlpha_));
    for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
        if (enabled_[i])
            gl_.glEnable(kCapabilities[i]);
        else
            gl_.glDisable(kCapabilities[i]);
    }
}

GLuint makePixelTexture(QOpenGLFunctions_3_3_Core& gl) {
    GLuint texture = 0;
    gl.glGenTextures(1, &texture);
    gl.glBindTexture(GL_TEXTURE_2D, texture);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    return texture;
}

}  // namespace scrawlet::gl
