#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QWindow>
#include <cstring>

#include "app/platform/gl_presenter.h"

// After Qt: Xlib's macros (None, Bool, Status) would break its headers.
#include <GL/glx.h>
#include <GL/glxext.h>

namespace scrawlet::platform {
namespace {

using CopySubBuffer = void (*)(Display*, GLXDrawable, int, int, int, int);

Display* x11Display() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->display() : nullptr;
}

bool hasExtension(const char* list, const char* name) {
    if (!list)
        return false;
    const std::size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at; at = std::strstr(at + 1, name)) {
        const bool startsWord = at == list || at[-1] == ' ';
        if (startsWord && (at[length] == ' ' || at[length] == '\0'))
            return true;
    }
    return false;
}

CopySubBuffer copySubBufferFunction() {
    return reinterpret_cast<CopySubBuffer>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCopySubBufferMESA")));
}

class X11GlPresenter : public GlPresenter {
  public:
    X11GlPresenter(QOpenGLContext& context, QWindow& window, PresentPath path, Display* display,
                   CopySubBuffer copy)
        : context_(context), window_(window), path_(path), display_(display), copy_(copy) {}

    PresentPath path() const override { return path_; }

    int backBufferAge() override {
        switch (path_) {
            case PresentPath::copySubBuffer:
                // Never swapped: the back buffer is the last frame, once one was drawn.
                return drawn_ ? 1 : 0;
            case PresentPath::bufferAge: {
                unsigned int age = 0;
                glXQueryDrawable(display_, static_cast<GLXDrawable>(window_.winId()),
                                 GLX_BACK_BUFFER_AGE_EXT, &age);
                return static_cast<int>(age);
            }
            default:
                return 0;
        }
    }

    void present(std::span<const PresentRect> rects, int windowHeight) override {
        if (path_ != PresentPath::copySubBuffer) {
            context_.swapBuffers(&window_);
            return;
        }
        drawn_ = true;
        const auto drawable = static_cast<GLXDrawable>(window_.winId());
        // GLX counts rows from the bottom.
        for (const PresentRect& rect : rects) {
            copy_(display_, drawable, rect.x, windowHeight - rect.y - rect.height, rect.width,
                  rect.height);
        }
        XFlush(display_);
    }

  private:
    QOpenGLContext& context_;
    QWindow& window_;
    PresentPath path_;
    Display* display_;
    CopySubBuffer copy_;
    bool drawn_ = false;
};

}  // namespace

std::optional<GlPresentation> probeGlPresentation() {
    Display* display = x11Display();
    QOffscreenSurface surface;
    QSurfaceFormat format;
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    surface.setFormat(format);
    surface.create();
    QOpenGLContext context;
    context.setFormat(format);
    if (!context.create() || context.format().version() < qMakePair(3, 3) ||
        !context.makeCurrent(&surface)) {
        return std::nullopt;
    }
    GlPresentation offered;
    const auto* renderer =
        reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
    offered.renderer = renderer ? renderer : "";
    for (const char* software : {"llvmpipe", "softpipe", "swrast", "Software Rasterizer"}) {
        offered.softwareRenderer =
            offered.softwareRenderer || offered.renderer.find(software) != std::string::npos;
    }
    if (display) {
        const char* extensions = glXQueryExtensionsString(display, DefaultScreen(display));
        offered.copySubBuffer =
            hasExtension(extensions, "GLX_MESA_copy_sub_buffer") && copySubBufferFunction();
        offered.bufferAge = hasExtension(extensions, "GLX_EXT_buffer_age");
    }
    context.doneCurrent();
    return offered;
}

std::unique_ptr<GlPresenter> createGlPresenter(QOpenGLContext& context, QWindow& window,
                                               PresentPath path) {
    Display* display = x11Display();
    if (path == PresentPath::software || (!display && path != PresentPath::fullSwap)) {
        return nullptr;
    }
    CopySubBuffer copy = nullptr;
    if (path == PresentPath::copySubBuffer && !(copy = copySubBufferFunction())) {
        return nullptr;
    }
    return std::make_unique<X11GlPresenter>(context, window, path, display, copy);
}

}  // namespace scrawlet::platform
