#include "app/ink/gl_ink_target.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions_3_3_Core>
#include <QWindow>
#include <vector>

#include "app/ink/overlay_compositor.h"
#include "app/ink/shape_coverage.h"
#include "app/ink/stroke_renderer.h"

namespace scrawlet::ink {

std::unique_ptr<GlInkTarget> GlInkTarget::create(QWindow& window, int instanceCapacity,
                                                 platform::PresentPath path) {
    std::unique_ptr<GlInkTarget> target(new GlInkTarget(window));
    target->context_ = new QOpenGLContext(&window);
    target->context_->setFormat(window.requestedFormat());
    if (!target->context_->create() || target->context_->format().version() < qMakePair(3, 3) ||
        !target->context_->makeCurrent(&window)) {
        return nullptr;
    }
    target->gl_ = gl::functions();
    if (target->gl_) {
        target->renderer_ = StrokeRenderer::create(instanceCapacity);
        target->compositor_ = OverlayCompositor::create();
        target->shapes_ = ShapeCoverage::create();
        target->presenter_ = platform::createGlPresenter(*target->context_, window, path);
    }
    const bool complete =
        target->renderer_ && target->compositor_ && target->shapes_ && target->presenter_;
    if (!complete) {
        target->renderer_.reset();
        target->compositor_.reset();
        target->shapes_.reset();
    }
    target->context_->doneCurrent();
    return complete ? std::move(target) : nullptr;
}

GlInkTarget::GlInkTarget(QWindow& window) : window_(window) {}

GlInkTarget::~GlInkTarget() {
    if (context_ && context_->makeCurrent(&window_)) {
        guard_.reset();
        renderer_.reset();
        compositor_.reset();
        shapes_.reset();
        context_->doneCurrent();
    }
}

void GlInkTarget::uploadOverlay(const QImage& image, std::span<const PixelRect> rects) {
    if (!context_->makeCurrent(&window_))
        return;
    const gl::StateGuard saved(*gl_);
    compositor_->upload(image, rects);
}

std::optional<int> GlInkTarget::beginFrame(PixelRect bounds) {
    if (bounds.isEmpty() || !context_->makeCurrent(&window_))
        return std::nullopt;
    const int age = bounds == bounds_ ? presenter_->backBufferAge() : 0;
    bounds_ = bounds;
    guard_.emplace(*gl_);
    gl_->glBindFramebuffer(GL_FRAMEBUFFER, context_->defaultFramebufferObject());
    gl_->glViewport(0, 0, bounds.width, bounds.height);
    gl_->glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    for (const GLenum capability :
         {GLenum{GL_DEPTH_TEST}, GLenum{GL_STENCIL_TEST}, GLenum{GL_CULL_FACE}}) {
        gl_->glDisable(capability);
    }
    gl_->glEnable(GL_SCISSOR_TEST);
    return age;
}

void GlInkTarget::upload(std::span<const SegmentInstance> instances, int from) {
    renderer_->upload(instances, from);
}

// GL counts scissor rows from the bottom.
void GlInkTarget::scissor(const PixelRect& rect) {
    gl_->glScissor(rect.x, bounds_.height - rect.y - rect.height, rect.width, rect.height);
}

void GlInkTarget::clear(const PixelRect& rect) {
    scissor(rect);
    gl_->glClearColor(0, 0, 0, 0);
    gl_->glClear(GL_COLOR_BUFFER_BIT);
}

void GlInkTarget::drawInstances(int start, int count, core::InkBlend blend, const FadeUniform& fade,
                                const PixelRect& clip) {
    scissor(clip);
    renderer_->drawRange(start, count, blend, fade, QSize(bounds_.width, bounds_.height));
}

void GlInkTarget::beginShape(const PixelRect& clip) {
    shapeClip_ = clip;
    if (!shapes_->bind(QSize(bounds_.width, bounds_.height))) {
        // Without a coverage target the stroke is not drawn at all rather than drawn wrong.
        shapeClip_ = {};
    }
    scissor(shapeClip_);
    gl_->glClearColor(0, 0, 0, 0);
    gl_->glClear(GL_COLOR_BUFFER_BIT);
}

void GlInkTarget::addToShape(int start, int count) {
    if (!shapeClip_.isEmpty())
        renderer_->drawCoverage(start, count, QSize(bounds_.width, bounds_.height));
}

void GlInkTarget::endShape(const ShapePaint& paint) {
    gl_->glBindFramebuffer(GL_FRAMEBUFFER, context_->defaultFramebufferObject());
    if (shapeClip_.isEmpty())
        return;
    scissor(shapeClip_);
    shapes_->composite(paint);
}

void GlInkTarget::drawOverlay(const PixelRect& rect) {
    scissor(rect);
    compositor_->draw();
}

void GlInkTarget::present(std::span<const PixelRect> rects) {
    guard_.reset();
    presenter_->present(PresentRects(rects).rects(), bounds_.height);
}

}  // namespace scrawlet::ink
