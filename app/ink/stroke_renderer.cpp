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

namespace scrawlet::ink {
namespace {

constexpr GLsizei kStride = sizeof(SegmentInstance);

// The two messages are one line each, whatever the driver's log looks like.
void report(std::string_view what, std::string detail) {
    std::replace_if(
        detail.begin(), detail.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    while (!detail.empty() && detail.back() == ' ') detail.pop_back();
    const std::string line = "stroke renderer: " + std::string(what) + ": " + detail + "\n";
    std::fputs(line.c_str(), stderr);
}

// Saved and restored around every call that changes state, so the context can be shared.
class SavedState {
  public:
    explicit SavedState(QOpenGLFunctions_3_3_Core& gl) : gl_(gl) {
        gl.glGetIntegerv(GL_CURRENT_PROGRAM, &program_);
        gl.glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &vertexArray_);
        gl.glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &arrayBuffer_);
        gl.glGetIntegerv(GL_VIEWPORT, viewport_);
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

    ~SavedState() {
        gl_.glUseProgram(static_cast<GLuint>(program_));
        gl_.glBindVertexArray(static_cast<GLuint>(vertexArray_));
        gl_.glBindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(arrayBuffer_));
        gl_.glViewport(viewport_[0], viewport_[1], viewport_[2], viewport_[3]);
        gl_.glClearColor(clearColour_[0], clearColour_[1], clearColour_[2], clearColour_[3]);
        gl_.glColorMask(colourMask_[0], colourMask_[1], colourMask_[2], colourMask_[3]);
        gl_.glBlendEquationSeparate(static_cast<GLenum>(equationRgb_),
                                    static_cast<GLenum>(equationAlpha_));
        gl_.glBlendFuncSeparate(
            static_cast<GLenum>(sourceRgb_), static_cast<GLenum>(destinationRgb_),
            static_cast<GLenum>(sourceAlpha_), static_cast<GLenum>(destinationAlpha_));
        for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
            if (enabled_[i])
                gl_.glEnable(kCapabilities[i]);
            else
                gl_.glDisable(kCapabilities[i]);
        }
    }

    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;

    static constexpr std::array<GLenum, 5> kCapabilities{GL_BLEND, GL_SCISSOR_TEST, GL_DEPTH_TEST,
                                                         GL_STENCIL_TEST, GL_CULL_FACE};

  private:
    QOpenGLFunctions_3_3_Core& gl_;
    GLint program_ = 0;
    GLint vertexArray_ = 0;
    GLint arrayBuffer_ = 0;
    GLint viewport_[4] = {};
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
    log.resize(static_cast<std::size_t>(written));
    return log;
}

// Zero when compilation fails, after reporting why.
GLuint compile(QOpenGLFunctions_3_3_Core& gl, GLenum stage, std::string_view source) {
    const GLuint shader = gl.glCreateShader(stage);
    if (shader == 0) {
        report("shader compile failed", "no shader object");
        return 0;
    }
    const GLchar* text = source.data();
    const auto length = static_cast<GLint>(source.size());
    gl.glShaderSource(shader, 1, &text, &length);
    gl.glCompileShader(shader);
    GLint compiled = GL_FALSE;
    gl.glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled != GL_TRUE) {
        report("shader compile failed", infoLog(gl, shader, false));
        gl.glDeleteShader(shader);
        return 0;
    }
    return shader;
}

}  // namespace

std::unique_ptr<StrokeRenderer> StrokeRenderer::create(int instanceCapacity,
                                                       StrokeShaderSource source) {
    QOpenGLContext* context = QOpenGLContext::currentContext();
    if (!context || context->isOpenGLES() || context->format().version() < qMakePair(3, 3) ||
        instanceCapacity < 1 || instanceCapacity > std::numeric_limits<GLsizeiptr>::max() / kStride)
        return nullptr;
    auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_3_3_Core>(context);
    if (!gl || !gl->initializeOpenGLFunctions())
        return nullptr;

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
    gl_->glDeleteVertexArrays(1, &vertexArray_);
    gl_->glDeleteBuffers(1, &buffer_);
}

bool StrokeRenderer::makeBufferAndVertexArray() {
    const SavedState saved(*gl_);
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
        report("pipeline creation failed", "no vertex array object");
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
    const GLuint vertex = compile(*gl_, GL_VERTEX_SHADER, source.vertex);
    if (vertex == 0)
        return false;
    const GLuint fragment = compile(*gl_, GL_FRAGMENT_SHADER, source.fragment);
    if (fragment == 0) {
        gl_->glDeleteShader(vertex);
        return false;
    }
    program_ = gl_->glCreateProgram();
    if (program_ != 0) {
        gl_->glAttachShader(program_, vertex);
        gl_->glAttachShader(program_, fragment);
        gl_->glLinkProgram(program_);
    }
    // The program keeps what it linked; the shader objects are no longer needed.
    gl_->glDeleteShader(vertex);
    gl_->glDeleteShader(fragment);
    GLint linked = GL_FALSE;
    if (program_ != 0)
        gl_->glGetProgramiv(program_, GL_LINK_STATUS, &linked);
    if (linked != GL_TRUE) {
        report("pipeline creation failed",
               program_ == 0 ? "no program object" : infoLog(*gl_, program_, true));
        return false;
    }
    drawableSizeLocation_ = gl_->glGetUniformLocation(program_, "drawableSize");
    fadeLocation_ = gl_->glGetUniformLocation(program_, "fade");
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

void StrokeRenderer::draw(std::span<const SegmentInstance> instances, int uploadFrom,
                          std::span<const InstanceRun> runs, int liveCount,
                          core::InkBlend liveBlend, FadeUniform fade, QSize drawablePixels) {
    const int count = static_cast<int>(
        std::min<std::size_t>(instances.size(), static_cast<std::size_t>(capacity_)));
    liveCount = std::clamp(liveCount, 0, count);
    const int sceneCount = count - liveCount;
    uploadFrom = std::clamp(uploadFrom, 0, count);

    const SavedState saved(*gl_);
    gl_->glViewport(0, 0, drawablePixels.width(), drawablePixels.height());
    gl_->glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    for (const GLenum capability : {GL_SCISSOR_TEST, GL_DEPTH_TEST, GL_STENCIL_TEST, GL_CULL_FACE})
        gl_->glDisable(capability);
    gl_->glClearColor(0, 0, 0, 0);
    gl_->glClear(GL_COLOR_BUFFER_BIT);
    if (count == 0)
        return;

    gl_->glBindBuffer(GL_ARRAY_BUFFER, buffer_);
    if (uploadFrom < count)
        gl_->glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(uploadFrom) * kStride,
                             static_cast<GLsizeiptr>(count - uploadFrom) * kStride,
                             instances.data() + uploadFrom);

    gl_->glUseProgram(program_);
    gl_->glBindVertexArray(vertexArray_);
    gl_->glUniform2f(drawableSizeLocation_, static_cast<GLfloat>(drawablePixels.width()),
                     static_cast<GLfloat>(drawablePixels.height()));
    gl_->glUniform3f(fadeLocation_, fade.now, fade.timeToLive, fade.window);
    gl_->glEnable(GL_BLEND);
    // Premultiplied source-over; under GL_MAX the factors play no part.
    gl_->glBlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);

    std::optional<core::InkBlend> selected;
    const auto drawRange = [&](int start, int end, core::InkBlend blend) {
        if (start >= end)
            return;
        if (blend != selected) {
            gl_->glBlendEquation(blend == core::InkBlend::maximum ? GL_MAX : GL_FUNC_ADD);
            selected = blend;
        }
        pointAttributesAt(start);
        gl_->glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, end - start);
    };
    for (const InstanceRun& run : runs)
        drawRange(std::max(run.start, 0), std::min(run.start + run.count, sceneCount), run.blend);
    drawRange(sceneCount, count, liveBlend);
}

}  // namespace scrawlet::ink
