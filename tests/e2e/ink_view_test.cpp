// The ink view on a real X server, on each drawing path this machine offers: what partial
// frames leave in the window equals a full redraw of the same scene, double clicks draw what
// two clicks draw, a view that cannot be seen owes no frames, the eraser draws nothing, text
// labels fade with the strokes of their moment, and a fading stroke has no darker joints.
#include "app/ink/ink_view.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QTest>
#include <random>

#include "app/ink/pixel_ink_target.h"
#include "app/platform/gl_presenter.h"
#include "tests/e2e/x_session.h"

namespace scrawlet::ink {
namespace {

using platform::PresentPath;
using namespace std::chrono_literals;

constexpr QRect kGeometry(100, 100, 360, 240);

class InkViewTest : public e2e::GuiTestSuite, public ::testing::WithParamInterface<PresentPath> {
  protected:
    void SetUp() override {
        const auto offered = platform::probeGlPresentation();
        ASSERT_TRUE(offered);
        if (GetParam() == PresentPath::copySubBuffer && !offered->copySubBuffer) {
            GTEST_SKIP() << "this GL has no copy-sub-buffer";
        }
        InkView::Options options;
        options.style = {{230, 20, 20, 255}, 5, 1, core::InkBlend::normal};
        options.capacities = {8192, 128, 0, 16};
        options.presentPath = GetParam();
        options.flags = Qt::Tool | Qt::FramelessWindowHint;
        view = InkView::create(QGuiApplication::primaryScreen(), kGeometry, options);
        ASSERT_TRUE(view);
    }

    void showAndSettle() {
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        settle();
    }

    // Until the frame owed for the last edit is on screen.
    void settle() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !view->frames().hasPendingInput(); }, 5000));
        xcb_aux_sync();
    }
    static void xcb_aux_sync() {
        // One round trip: what was presented has reached the server.
        QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, 1, 1);
    }

    // The window's own pixels (premultiplied), compared with a fresh full redraw of the scene
    // under the same overlay.
    int mismatchesWithFullRedraw(int tolerance) {
        const QImage shown = QGuiApplication::primaryScreen()
                                 ->grabWindow(view->winId())
                                 .toImage()
                                 .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        InkLayer fresh(8192 + 128, 128);
        PixelInkTarget full(nullptr);
        QImage overlay = view->overlayImage();
        full.setOverlay({reinterpret_cast<std::uint32_t*>(overlay.bits()),
                         static_cast<int>(overlay.bytesPerLine() / 4), overlay.width(),
                         overlay.height()});
        const PixelRect bounds{0, 0, kGeometry.width(), kGeometry.height()};
        EXPECT_TRUE(
            fresh.render(full, {view->canvas(), view->transform(), view->now(), bounds, {}, {}}));
        int mismatches = 0;
        for (int y = 0; y < bounds.height && y < shown.height(); ++y) {
            const auto* row = reinterpret_cast<const QRgb*>(shown.constScanLine(y));
            for (int x = 0; x < bounds.width && x < shown.width(); ++x) {
                const QRgb got = row[x], want = full.frame().row(y)[x];
                const bool same = std::abs(qRed(got) - qRed(want)) <= tolerance &&
                                  std::abs(qGreen(got) - qGreen(want)) <= tolerance &&
                                  std::abs(qBlue(got) - qBlue(want)) <= tolerance &&
                                  std::abs(qAlpha(got) - qAlpha(want)) <= tolerance;
                if (!same && ++mismatches <= 3) {
                    ADD_FAILURE() << "(" << x << ", " << y << ") " << std::hex << got << " not "
                                  << want;
                }
            }
        }
        return mismatches;
    }

    // The most opaque pixel of `area` in the window.
    int maximumAlpha(const QRect& area) const {
        const QImage shown = QGuiApplication::primaryScreen()
                                 ->grabWindow(view->winId())
                                 .toImage()
                                 .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        int most = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x)
                most = std::max(most, qAlpha(shown.pixel(x, y)));
        return most;
    }

    void stroke(std::mt19937& random) {
        std::uniform_real_distribution<double> x(20, 340), y(20, 220);
        InkCanvas& canvas = view->canvas();
        core::ContentPoint p{x(random), y(random)};
        canvas.pointerDown(p, {}, 1, view->now());
        for (int i = 0; i < 10; ++i) {
            p = {std::clamp(p.x + x(random) / 10 - 18, 0.0, 360.0),
                 std::clamp(p.y + y(random) / 10 - 12, 0.0, 240.0)};
            canvas.pointerDrag(p, {});
            if (i % 4 == 0)
                settle();
        }
        canvas.pointerUp(p, {}, view->now());
    }

    std::unique_ptr<InkView> view;
};

TEST_P(InkViewTest, TheWindowAfterPartialFramesEqualsAFullRedraw) {
    showAndSettle();
    std::mt19937 random(3);
    InkCanvas& canvas = view->canvas();
    for (int i = 0; i < 10; ++i) {
        const bool highlight = i % 3 == 2;
        view->setStyle({{static_cast<std::uint8_t>(40 * i), 120, 220,
                         static_cast<std::uint8_t>(highlight ? 255 : 200)},
                        highlight ? 16.0 : 4.0,
                        highlight ? 0.5 : 1.0,
                        highlight ? core::InkBlend::maximum : core::InkBlend::normal});
        stroke(random);
        settle();
    }
    EXPECT_EQ(mismatchesWithFullRedraw(2), 0) << "drawn";
    canvas.undo();
    canvas.undo();
    settle();
    EXPECT_EQ(mismatchesWithFullRedraw(2), 0) << "undone";
    view->setTool(core::Tool::select);
    const core::ContentPoint start = canvas.scene().point(canvas.scene().span(1).start);
    canvas.pointerDown(start, {}, 1, view->now());
    canvas.pointerDrag({start.x + 40, start.y + 25}, {});
    settle();
    canvas.pointerUp({start.x + 40, start.y + 25}, {}, view->now());
    settle();
    EXPECT_EQ(mismatchesWithFullRedraw(2), 0) << "moved";
    EXPECT_TRUE(canvas.clearAll());
    settle();
    EXPECT_EQ(mismatchesWithFullRedraw(2), 0) << "cleared";
}

TEST_P(InkViewTest, APenDoubleClickDrawsTwoStrokes) {
    showAndSettle();
    QTest::mouseDClick(view.get(), Qt::LeftButton, {}, QPoint(50, 60));
    settle();
    EXPECT_EQ(view->canvas().strokeCount(), 2u);
    EXPECT_EQ(view->canvas().scene().visibleSpanCount(), 2);
}

TEST_P(InkViewTest, AHiddenViewOwesNothingAndShowsNoHints) {
    InkCanvas& canvas = view->canvas();
    canvas.pointerDown({30, 30}, {}, 1, view->now());
    canvas.pointerUp({60, 30}, {}, view->now());
    view->showHint(QStringLiteral("Pen"), false);
    EXPECT_FALSE(view->frames().isRunning()) << "no clock runs for a view nobody can see";
    EXPECT_EQ(view->frames().tickCount(), 0u);
    showAndSettle();
    EXPECT_GE(view->frames().frameCount(), 1u) << "shown: the ink is drawn";
    EXPECT_EQ(mismatchesWithFullRedraw(2), 0) << "no hint over the ink";
}

TEST_P(InkViewTest, AnimationFollowsTheRefreshOfItsDisplay) {
    if (GetParam() != PresentPath::software)
        GTEST_SKIP() << "the clock is the same on every path";
    showAndSettle();
    const auto& session = e2e::XSessionEnvironment::session();
    // Xvfb's own output, given a 75 Hz mode: the display the view is on changes its rate.
    ASSERT_TRUE(session.xrandr({"--newmode", "scrawlet75", "31.50", "640", "656", "720", "840",
                                "480", "481", "484", "500", "-hsync", "-vsync"}));
    ASSERT_TRUE(session.xrandr({"--addmode", "screen", "scrawlet75"}));
    ASSERT_TRUE(session.xrandr({"--output", "screen", "--mode", "scrawlet75"}));
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return std::abs(view->frames().refreshInterval() - 1.0 / 75) < 1e-4; }, 5000))
        << 1 / view->frames().refreshInterval() << " Hz";
}

TEST_P(InkViewTest, TheEraserLeavesTheCanvasAsItIs) {
    showAndSettle();
    const auto dragAcross = [&] {
        QTest::mousePress(view.get(), Qt::LeftButton, {}, QPoint(60, 80));
        for (int x = 70; x <= 200; x += 10) QTest::mouseMove(view.get(), QPoint(x, 80));
        QTest::mouseRelease(view.get(), Qt::LeftButton, {}, QPoint(200, 80));
        settle();
    };
    view->setTool(core::Tool::eraser);
    dragAcross();
    EXPECT_EQ(view->canvas().scene().spanCount(), 0);
    EXPECT_EQ(view->canvas().history().canUndo(), false);
    EXPECT_EQ(maximumAlpha({50, 70, 160, 20}), 0) << "no ink in the window";
    view->setTool(core::Tool::pen);
    dragAcross();
    EXPECT_EQ(maximumAlpha({50, 70, 160, 20}), 255) << "the same drag with the pen draws";
}

TEST_P(InkViewTest, TextLabelsFadeAndHideWithTheStrokesOfTheirMoment) {
    showAndSettle();
    constexpr double kTimeToLive = 1.0;
    view->setTimeToLive(kTimeToLive);
    InkCanvas& canvas = view->canvas();
    view->setTool(core::Tool::text);
    canvas.pointerDown({40, 100}, {}, 1, view->now());
    ASSERT_TRUE(canvas.textSession()) << "the keyboard was not grabbed";
    canvas.typeKey({TextKey::Kind::characters, "Talk"}, view->now());
    const double birth = view->now();
    canvas.typeKey({TextKey::Kind::escape, {}}, birth);
    view->setTool(core::Tool::pen);
    canvas.pointerDown({40, 180}, {}, 1, birth);
    canvas.pointerUp({200, 180}, {}, birth);
    settle();
    const QRect label(30, 50, 200, 70), stroke(30, 170, 190, 20);
    ASSERT_EQ(maximumAlpha(label), 255) << "the label is shown";
    ASSERT_EQ(maximumAlpha(stroke), 255);

    // Both fade out together; then the clock stops. The last frame comes a little before the
    // end, so what it shows is nearly, not quite, transparent.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return view->now() > birth + kTimeToLive && !view->frames().isRunning(); }, 5000));
    xcb_aux_sync();
    EXPECT_LE(maximumAlpha(label), maximumAlpha(stroke) + 1) << "the label fades as the stroke";
    // The next frame, for a dot elsewhere, finds both gone.
    canvas.pointerDown({330, 20}, {}, 1, view->now());
    canvas.pointerUp({330, 20}, {}, view->now());
    settle();
    EXPECT_EQ(maximumAlpha(stroke), 0);
    EXPECT_EQ(maximumAlpha(label), 0);
    EXPECT_EQ(canvas.textScene().visibleCount(), 1) << "hidden by its age, not removed";
}

TEST_P(InkViewTest, AFadingStrokeIsOneShapeAtOneOpacity) {
    showAndSettle();
    constexpr double kTimeToLive = 1.5;  // opaque for 1.1 s, then 0.4 s of fading
    view->setTimeToLive(kTimeToLive);
    view->setStyle({{30, 60, 200, 255}, 6, 1, core::InkBlend::normal});
    InkCanvas& canvas = view->canvas();
    const double birth = view->now();
    canvas.pointerDown({20, 30}, {}, 1, birth);
    for (int x = 40; x <= 340; x += 20) canvas.pointerDrag({static_cast<double>(x), 30}, {});
    canvas.pointerUp({340, 30}, {}, birth);
    settle();
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->now() > birth + 1.2; }, 5000));
    // One moment of the fade: along the middle row, the joints every 20 pixels are no darker
    // than the segments between them.
    const QImage shown = QGuiApplication::primaryScreen()->grabWindow(view->winId()).toImage();
    int least = 255, most = 0;
    for (int x = 30; x <= 330; ++x) {
        least = std::min(least, qAlpha(shown.pixel(x, 30)));
        most = std::max(most, qAlpha(shown.pixel(x, 30)));
    }
    EXPECT_GT(least, 0) << "grabbed after the fade";
    EXPECT_LT(most, 255) << "grabbed before the fade";
    EXPECT_LE(most - least, 2) << "one stroke at one opacity";
}

INSTANTIATE_TEST_SUITE_P(Paths, InkViewTest,
                         ::testing::Values(PresentPath::software, PresentPath::copySubBuffer,
                                           PresentPath::fullSwap),
                         [](const auto& path) { return std::string(core::rawValue(path.param)); });

}  // namespace
}  // namespace scrawlet::ink
