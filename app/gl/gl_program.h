// The one way this program builds OpenGL 3.3 core shader programs, and the guard that leaves
// the GL state as it was found, so that renderers can share a context.
//
// `buildProgram` compiles and links a vertex and a fragment stage; on failure it writes one
// line "<owner>: shader compile failed: <log>" or "<owner>: pipeline creation failed: <log>" to
// standard error and returns 0. Needs a current 3.3 context; main thread only.
#pragma once

#include <QtGui/qopengl.h>

#include <array>
#include <string_view>

class QOpenGLFunctions_3_3_Core;

namespace scrawlet::gl {

// The 3.3 core functions of the current context, or nullptr when there are none.
QOpenGLFunctions_3_3_Core* functions();

GLuint buildProgram(QOpenGLFunctions_3_3_Core& gl, std::string_view owner,
                    std::string_view vertexSource, std::string_view fragmentSource);

// A 2D texture sampled pixel for pixel (nearest, clamped at the edges), left bound.
GLuint makePixelTexture(QOpenGLFunctions_3_3_Core& gl);

// Saves what the renderers touch (program, vertex array, array buffer, texture binding,
// viewport, scissor box, clear colour, colour mask, blend equations and factors, and the blend,
// scissor, depth, stencil and cull tests) and restores it on destruction.
class StateGuard {
  public:
    explicit StateGuard(QOpenGLFunctions_3_3_Core& gl);
    ~StateGuard();
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;

    static constexpr std::array<GLenum, 5> kCapabilities{GL_BLEND, GL_SCISSOR_TEST, GL_DEPTH_TEST,
                                                         GL_STENCIL_TEST, GL_CULL_FACE};

  private:
    QOpenGLFunctions_3_3_Core& gl_;
    GLint program_ = 0;
    GLint vertexArray_ = 0;
    GLint arrayBuffer_ = 0;
    GLint texture_ = 0;
    GLint viewport_[4] = {};
    GLint scissor_[4] = {};
    GLfloat clearColour_[4] = {};
    GLboolean colourMask_[4] = {};
    GLint equationRgb_ = 0;
    GLint equationAlpha_ = 0;
    GLint sourceRgb_ = 0;
    GLint destinationRgb_ = 0;
    GLint sourceAlpha_ = 0;
    GLint destinationAlpha_ = 0;
    std::array<GLboolean, kCapabilities.size()> enabled_{};
};

}  // namespace scrawlet::gl
