// An ink target on the window's OpenGL back buffer: clears and draws by scissored areas and
// presents through the platform's GL presenter (copied rectangles, or a swap with the buffer's
// age), so only what changed is drawn and, where the driver lets us, only that reaches the
// screen. Owns the window's context, the stroke renderer and the overlay compositor.
// `create` returns nothing without a 3.3 context or when a program cannot be built.
// Main thread only.
#pragma once

#include <QSize>
#include <memory>
#include <optional>

#include "app/gl/gl_program.h"
#include "app/ink/ink_layer.h"
#include "app/platform/gl_presenter.h"

class QOpenGLContext;
class QImage;
class QWindow;

namespace scrawlet::ink {

class OverlayCompositor;
class ShapeCoverage;
class StrokeRenderer;

class GlInkTarget : public InkTarget {
  public:
    static std::unique_ptr<GlInkTarget> create(QWindow& window, int instanceCapacity,
                                               platform::PresentPath path);
    ~GlInkTarget() override;

    // Uploads the changed rectangles of the overlay image (the whole image when its size is new).
    void uploadOverlay(const QImage& image, std::span<const PixelRect> rects);
    platform::PresentPath path() const { return presenter_->path(); }

    std::optional<int> beginFrame(PixelRect bounds) override;
    void upload(std::span<const SegmentInstance> instances, int from) override;
    void clear(const PixelRect& rect) override;
    void drawInstances(int start, int count, core::InkBlend blend, const FadeUniform& fade,
                       const PixelRect& clip) override;
    void beginShape(const PixelRect& clip) override;
    void addToShape(int start, int count) override;
    void endShape(const ShapePaint& paint) override;
    void drawOverlay(const PixelRect& rect) override;
    void present(std::span<const PixelRect> rects) override;

  private:
    explicit GlInkTarget(QWindow& window);
    void scissor(const PixelRect& rect);

    QWindow& window_;
    QOpenGLContext* context_ = nullptr;
    QOpenGLFunctions_3_3_Core* gl_ = nullptr;
    std::unique_ptr<StrokeRenderer> renderer_;
    std::unique_ptr<OverlayCompositor> compositor_;
    std::unique_ptr<ShapeCoverage> shapes_;
    PixelRect shapeClip_;
    std::unique_ptr<platform::GlPresenter> presenter_;
    std::optional<gl::StateGuard> guard_;
    PixelRect bounds_;
};

}  // namespace scrawlet::ink
