#include "app/ink/ink_view.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include "tests/e2e/x_session.h"

namespace scrawlet::ink {
namespace {

const core::StrokeStyle kRed{{255, 0, 0, 255}, 6, 1, core::InkBlend::normal};
constexpr int kSize = 200;

class InkViewTest : public e2e::GuiTestSuite {
  protected:
    void SetUp() override {
        InkView::Options options;
        options.style = kRed;
        options.capacities = {4096, 64, 0, 16};
        view =
            InkView::create(QGuiApplication::primaryScreen(), QRect(40, 40, kSize, kSize), options);
        ASSERT_TRUE(view) << "no OpenGL 3.3 surface";
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        settle();
    }

    // Lets queued events run, then waits until the owed frame has been drawn.
    void settle() {
        QCoreApplication::processEvents();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !view->frames().hasPendingInput(); }, 2000));
    }

    QImage grab() {
        settle();
        return view->screen()
            ->grabWindow(view->winId())
            .toImage()
            .convertToFormat(QImage::Format_ARGB32);
    }

    void drag(QPoint from, QPoint to) {
        QTest::mousePress(view.get(), Qt::LeftButton, {}, from);
        for (int i = 1; i <= 8; ++i) {
            QTest::mouseMove(view.get(), from + (to - from) * i / 8);
        }
        QTest::mouseRelease(view.get(), Qt::LeftButton, {}, to);
        settle();
    }

    static int redPixels(const QImage& image) {
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                count += (qRed(p) > 200 && qGreen(p) < 60 && qBlue(p) < 60) ? 1 : 0;
            }
        }
        return count;
    }

    std::unique_ptr<InkView> view;
};

TEST_F(InkViewTest, RightClickClearsForGoodAndTheClockPausesWhenIdle) {
    drag({20, 50}, {150, 60});
    QTest::mousePress(view.get(), Qt::RightButton, {}, {100, 100});
    EXPECT_EQ(redPixels(grab()), 0);
    EXPECT_FALSE(view->undo());
    // Thirty idle ticks at the refresh rate, then nothing runs until the next input.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->frames().isRunning(); }, 5000));
    const auto ticks = view->frames().tickCount();
    QTest::qWait(100);
    EXPECT_EQ(view->frames().tickCount(), ticks);
}

TEST_F(InkViewTest, ShapesPreviewWhileDraggingAndCommitOnRelease) {
    view->setTool(core::Tool::rectangle);
    QTest::mousePress(view.get(), Qt::LeftButton, {}, {30, 30});
    QTest::mouseMove(view.get(), {170, 150});
    settle();
    ASSERT_TRUE(view->canvas().liveShape());
    EXPECT_GT(redPixels(grab()), 100) << "the live preview is drawn";
    EXPECT_EQ(view->canvas().scene().spanCount(), 0);
    QTest::mouseRelease(view.get(), Qt::LeftButton, {}, {170, 150});
    EXPECT_EQ(view->canvas().scene().span(0).count, 5);
    const QImage image = grab();
    EXPECT_GT(qRed(image.pixel(100, 30)), 200) << "top edge";
    EXPECT_LT(qRed(image.pixel(100, 90)), 100) << "inside is empty";
}

TEST_F(InkViewTest, FadingInkKeepsFramesComingForItsLifetimeThenThePauseComes) {
    view->setTimeToLive(0.3);
    drag({20, 100}, {180, 100});
    const auto framesAtRelease = view->frames().frameCount();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->frames().isRunning(); }, 5000));
    EXPECT_GT(view->frames().frameCount(), framesAtRelease + 5) << "the fade was animated";
    view->setTimeToLive(std::nullopt);  // a frame without fading would show the ink again
    view->setTimeToLive(0.3);
    EXPECT_EQ(redPixels(grab()), 0) << "expired ink is drawn with no opacity";
}

TEST_F(InkViewTest, TransientHintShowsAboveTheBottomThenFadesAway) {
    const QImage empty = grab();
    const auto changedPixels = [&] {
        const QImage now = grab();
        int changed = 0;
        for (int y = 0; y < now.height(); ++y) {
            for (int x = 0; x < now.width(); ++x) {
                changed += now.pixel(x, y) != empty.pixel(x, y) ? 1 : 0;
            }
        }
        return changed;
    };
    view->showHint("Pen", false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return changedPixels() > 200; }, 2000));
    const QImage shown = grab();
    EXPECT_EQ(shown.pixel(100, 10), empty.pixel(100, 10)) << "the bubble sits low";
    EXPECT_NE(shown.pixel(100, 200 - 96 - 5), empty.pixel(100, 200 - 96 - 5));
    EXPECT_TRUE(QTest::qWaitFor([&] { return changedPixels() == 0; }, 4000));
}

}  // namespace
}  // namespace scrawlet::ink
