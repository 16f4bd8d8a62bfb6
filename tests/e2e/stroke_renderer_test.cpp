#include "app/ink/stroke_renderer.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "tests/e2e/x_session.h"

namespace scrawlet::ink {
namespace {

using core::InkBlend;

// Not square, so that swapped axes show.
constexpr int kWidth = 96;
constexpr int kHeight = 64;

struct Point {
    float x, y;
};
using Rgba = std::array<int, 4>;

SegmentInstance segment(Point a, Point b, float radius, std::array<float, 4> colour,
                        float birth = 0) {
    return {{a.x, a.y}, {b.x, b.y}, radius,
            birth,      {},         {colour[0], colour[1], colour[2], colour[3]}};
}

SegmentInstance dot(Point centre, float radius, std::array<float, 4> colour, float birth = 0) {
    return segment(centre, centre, radius, colour, birth);
}

constexpr std::array<float, 4> kWhite{1, 1, 1, 1};

// The coverage the shader is meant to give the pixel whose centre is `p`.
float coverage(const SegmentInstance& s, Point p) {
    const float pax = p.x - s.a[0], pay = p.y - s.a[1];
    const float bax = s.b[0] - s.a[0], bay = s.b[1] - s.a[1];
    const float denom = bax * bax + bay * bay;
    const float h = denom > 1e-10f ? std::clamp((pax * bax + pay * bay) / denom, 0.0f, 1.0f) : 0;
    return std::clamp(s.radius - std::hypot(pax - bax * h, pay - bay * h) + 0.5f, 0.0f, 1.0f);
}

class StrokeRendererTest : public e2e::GuiTestSuite {
  protected:
    void SetUp() override {
        QSurfaceFormat format;
        format.setRenderableType(QSurfaceFormat::OpenGL);
        format.setVersion(3, 3);
        format.setProfile(QSurfaceFormat::CoreProfile);
        context.setFormat(format);
        ASSERT_TRUE(context.create());
        surface.setFormat(context.format());
        surface.create();
        ASSERT_TRUE(context.makeCurrent(&surface));
        ASSERT_GE(context.format().version(), qMakePair(3, 3));
        target = std::make_unique<QOpenGLFramebufferObject>(
            kWidth, kHeight, QOpenGLFramebufferObject::NoAttachment, GL_TEXTURE_2D, GL_RGBA8);
        ASSERT_TRUE(target->bind());
        renderer = StrokeRenderer::create(16);
        ASSERT_TRUE(renderer);
    }

    void TearDown() override {
        if (!QOpenGLContext::currentContext())
            context.makeCurrent(&surface);
        renderer.reset();
        target.reset();
        context.doneCurrent();
    }

    // Draws a frame of scene instances in runs, then `liveCount` live ones, and reads it back.
    void drawFrame(const std::vector<SegmentInstance>& instances,
                   const std::vector<InstanceRun>& runs, int liveCount = 0,
                   InkBlend liveBlend = InkBlend::normal, FadeUniform fade = {},
                   int uploadFrom = 0) {
        renderer->draw(instances, uploadFrom, runs, liveCount, liveBlend, fade,
                       QSize(kWidth, kHeight));
        pixels.resize(std::size_t{kWidth} * kHeight);
        context.functions()->glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE,
                                          pixels.data());
    }

    void drawNormal(const std::vector<SegmentInstance>& instances) {
        drawFrame(instances, {{0, static_cast<int>(instances.size()), InkBlend::normal}});
    }

    // Top-left origin, y down, as the instances are given; GL rows run bottom up.
    Rgba at(int x, int y) const {
        const auto& p = pixels[static_cast<std::size_t>((kHeight - 1 - y) * kWidth + x)];
        return {p[0], p[1], p[2], p[3]};
    }
    int alphaAt(int x, int y) const { return at(x, y)[3]; }

    QOpenGLContext context;
    QOffscreenSurface surface;
    std::unique_ptr<QOpenGLFramebufferObject> target;
    std::unique_ptr<StrokeRenderer> renderer;
    std::vector<std::array<std::uint8_t, 4>> pixels;
};

// Pixel centres sit on .5, so a pixel one radius from the axis is exactly half covered.
TEST_F(StrokeRendererTest, CapsulesAndDotsMatchTheirDistanceCoverageEverywhere) {
    const std::vector<SegmentInstance> instances{
        segment({60.5f, 56.5f}, {88.5f, 56.5f}, 5, kWhite),
        segment({12.3f, 50.1f}, {55.7f, 9.4f}, 4.5f, kWhite),
        dot({75.2f, 40.6f}, 9.0f, kWhite),  // a == b: a disc
    };
    drawNormal(instances);
    EXPECT_EQ(alphaAt(74, 56), 255);
    EXPECT_NEAR(alphaAt(74, 61), 128, 1);

    int mismatches = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            float expected = 0;
            const float centreX = static_cast<float>(x) + 0.5f;
            const float centreY = static_cast<float>(y) + 0.5f;
            for (const SegmentInstance& instance : instances) {
                expected = std::max(expected, coverage(instance, {centreX, centreY}) * 255);
            }
            if (std::abs(static_cast<float>(alphaAt(x, y)) - expected) > 1.01f && ++mismatches <= 5)
                ADD_FAILURE() << "(" << x << ", " << y << "): " << alphaAt(x, y) << " not "
                              << expected;
        }
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace scrawlet::ink
