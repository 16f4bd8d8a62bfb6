// The spotlight and the cursor highlight on the two-monitor desktop, read back from the screen:
// the dim far from the pointer, the clear hole, the untouched second monitor, and both aids
// following the pointer as XTest moves it.
#include <cstdlib>

#include "tests/e2e/draw_run.h"

namespace {

using namespace scrawlet::e2e;

class PointerAids : public DrawRun {
  protected:
    void SetUp() override {
        DrawRun::SetUp();
        ASSERT_TRUE(input->movePointer(kStart));
        for (const QPoint point : kSamples) {
            desktop.push_back(onScreen(point));
        }
    }

    static bool near(QRgb a, QRgb b) {
        return std::abs(qRed(a) - qRed(b)) <= 3 && std::abs(qGreen(a) - qGreen(b)) <= 3 &&
               std::abs(qBlue(a) - qBlue(b)) <= 3;
    }
    static QRgb dimmed(QRgb colour, double alpha) {
        const auto keep = [&](int channel) { return int(channel * (1 - alpha) + 0.5); };
        return qRgb(keep(qRed(colour)), keep(qGreen(colour)), keep(qBlue(colour)));
    }
    QRgb desktopAt(QPoint point) const {
        for (std::size_t i = 0; i < kSamples.size(); ++i) {
            if (kSamples[i] == point) {
                return desktop[i];
            }
        }
        ADD_FAILURE() << "not a sample point";
        return 0;
    }
    // Every sample in `dim` dimmed by `alpha`, every other sample as the desktop has it.
    ::testing::AssertionResult awaitScreen(std::vector<QPoint> dim, double alpha) {
        const auto matches = [&] {
            for (const QPoint point : kSamples) {
                const bool dark = std::find(dim.begin(), dim.end(), point) != dim.end();
                const QRgb expected = dark ? dimmed(desktopAt(point), alpha) : desktopAt(point);
                if (!near(onScreen(point), expected)) {
                    return false;
                }
            }
            return true;
        };
        if (QTest::qWaitFor(matches, 5000)) {
            return ::testing::AssertionSuccess();
        }
        auto failure = ::testing::AssertionFailure();
        for (const QPoint point : kSamples) {
            failure << "(" << point.x() << "," << point.y() << ") " << std::hex << onScreen(point)
                    << " desktop " << desktopAt(point) << std::dec << "; ";
        }
        return failure;
    }

    static constexpr QPoint kStart{300, 300};
    // On A: the start, inside its hole but clear of a highlight, far from it, near the right edge,
    // and left of the edge beyond a hole at the edge; on B: near A, and far from A.
    static inline const std::vector<QPoint> kSamples{{300, 300}, {360, 300}, {800, 150}, {950, 540},
                                                     {770, 540}, {970, 540}, {1800, 900}};
    std::vector<QRgb> desktop;
};

TEST_F(PointerAids, SpotlightDimsTheDisplayUnderThePointerAroundAHoleThatFollowsIt) {
    auto run =
        startAndAwaitBanner({"SCRAWLET_DRAW_SPOTLIGHT=1", "SCRAWLET_DRAW_SPOTLIGHT_SIZE=200",
                             "SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY=0.5", "SCRAWLET_DRAW_PANEL=0"});
    EXPECT_NE(run->standardError().find("on (circle, 200.0pt, dim 0.5)"), std::string::npos)
        << run->standardError();
    // Clear round the pointer, dim elsewhere on A, B untouched.
    EXPECT_TRUE(awaitScreen({{800, 150}, {950, 540}, {770, 540}}, 0.5));

    ASSERT_TRUE(input->movePointer({800, 150}));
    EXPECT_TRUE(awaitScreen({{300, 300}, {360, 300}, {950, 540}, {770, 540}}, 0.5));

    // At A's right edge the hole is cut there: not moved inward (770 stays dim), not spilling
    // onto B (which stays as it was).
    ASSERT_TRUE(input->movePointer({955, 540}));
    EXPECT_TRUE(awaitScreen({{300, 300}, {360, 300}, {800, 150}, {770, 540}}, 0.5));

    // On B: A is left alone, B dimmed far from the pointer.
    ASSERT_TRUE(input->movePointer({1000, 540}));
    EXPECT_TRUE(awaitScreen({{1800, 900}}, 0.5));

    finishWith(*run, SIGUSR2);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["spotlightEnabled"], true);
    EXPECT_EQ(summary["spotlightActive"], true);
    EXPECT_GE(summary["spotlightPresentedFrames"].get<int>(), 4);
    const auto toggles = events("spotlightToggle");
    ASSERT_EQ(toggles.size(), 1u);
    EXPECT_EQ(toggles[0]["note"], "active=true shape=circle size=200.0 dimAllDisplays=false");
}

TEST_F(PointerAids, DimAllDarkensTheOtherDisplayWholeAndTheHighlightFollowsThePointer) {
    auto run = startAndAwaitBanner(
        {"SCRAWLET_DRAW_SPOTLIGHT=1", "SCRAWLET_DRAW_SPOTLIGHT_SIZE=200",
         "SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY=2", "SCRAWLET_DRAW_SPOTLIGHT_DIM_ALL=1",
         "SCRAWLET_DRAW_CURSOR_HIGHLIGHT=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SHAPE=filledCircle",
         "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR=#FF0000",
         "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_OPACITY=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SIZE=40",
         "SCRAWLET_DRAW_PANEL=0"});
    // A dim opacity above 1 is fully black; the highlight sits in the hole at the pointer.
    const QRgb red = qRgb(255, 0, 0);
    const QRgb black = qRgb(0, 0, 0);
    const auto awaitAt = [&](QPoint point, QRgb colour) {
        return QTest::qWaitFor([&] { return near(onScreen(point), colour); }, 5000);
    };
    EXPECT_TRUE(awaitAt(kStart, red)) << std::hex << onScreen(kStart);
    EXPECT_TRUE(awaitAt({360, 300}, desktopAt({360, 300}))) << std::hex << onScreen({360, 300});
    EXPECT_TRUE(awaitAt({800, 150}, black)) << std::hex << onScreen({800, 150});
    EXPECT_TRUE(awaitAt({970, 540}, black)) << std::hex << onScreen({970, 540});

    ASSERT_TRUE(input->movePointer({1800, 900}));
    EXPECT_TRUE(awaitAt({1800, 900}, red)) << std::hex << onScreen({1800, 900});
    // The old spot is dark now that hole and highlight have left it, on a display dimmed whole.
    EXPECT_TRUE(awaitAt(kStart, black)) << std::hex << onScreen(kStart);

    finishWith(*run, SIGUSR2);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["cursorHighlightActive"], true);
    EXPECT_GE(summary["cursorHighlightPresentedFrames"].get<int>(), 2);
    const auto toggles = events("cursorHighlightToggle");
    ASSERT_EQ(toggles.size(), 1u);
    EXPECT_EQ(toggles[0]["note"], "active=true shape=filledCircle size=40.0");
}

// Off at start, both aids come on from their global shortcuts; a press then ripples out from
// the pointer in the highlight's colour, and the shortcuts turn both off again.
TEST_F(PointerAids, ShortcutsSwitchBothAidsAndAPressRipples) {
    auto run = startAndAwaitBanner(
        {"SCRAWLET_DRAW_SPOTLIGHT_SIZE=200", "SCRAWLET_DRAW_SPOTLIGHT_DIM_OPACITY=0.5",
         "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_COLOUR=#FF0000",
         "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_OPACITY=1", "SCRAWLET_DRAW_CURSOR_HIGHLIGHT_SIZE=40",
         "SCRAWLET_DRAW_PANEL=0"});
    constexpr std::uint32_t kControl = 0xffe3, kAlt = 0xffe9, kKeyF = 0x66, kKeyH = 0x68;
    const auto chord = [&](std::uint32_t key) {
        for (const auto k : {kControl, kAlt, key}) ASSERT_TRUE(input->setKey(k, true));
        for (const auto k : {key, kAlt, kControl}) ASSERT_TRUE(input->setKey(k, false));
    };
    chord(kKeyF);
    ASSERT_TRUE(awaitEvents("spotlightToggle", 1));
    EXPECT_TRUE(awaitScreen({{800, 150}, {950, 540}, {770, 540}}, 0.5));
    chord(kKeyH);
    ASSERT_TRUE(awaitEvents("cursorHighlightToggle", 1));

    // The ring starts on the highlight's edge (20 from the pointer) and grows to twice that;
    // a strip beyond the edge turns red at some moment of its 0.35 s.
    const QPoint ringStrip = kStart + QPoint(24, 0);
    const QRgb before = onScreen(ringStrip + QPoint(8, 0));
    ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
    ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    // The strip is read in one piece: under load, a pixel at a time may miss the ring.
    const bool rippled = QTest::qWaitFor(
        [&] {
            const QImage strip = QGuiApplication::primaryScreen()
                                     ->grabWindow(0, ringStrip.x(), ringStrip.y(), 16, 1)
                                     .toImage();
            for (int dx = 0; dx < strip.width(); ++dx) {
                const QRgb now = strip.pixel(dx, 0);
                if (qRed(now) > qRed(before) + 40 && qGreen(now) <= qGreen(before) + 3) {
                    return true;
                }
            }
            return false;
        },
        5000);
    EXPECT_TRUE(rippled);
    // It fades out completely.
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return near(onScreen(ringStrip + QPoint(8, 0)), before); }, 5000));

    chord(kKeyF);
    ASSERT_TRUE(awaitEvents("spotlightToggle", 2));
    chord(kKeyH);
    ASSERT_TRUE(awaitEvents("cursorHighlightToggle", 2));
    // The click left a dot of ink at the pointer; far from it the desktop is bare again.
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            return near(onScreen({800, 150}), desktopAt({800, 150}));
        },
        5000));
    finishWith(*run, SIGTERM);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["spotlightActive"], false);
    EXPECT_EQ(summary["cursorHighlightActive"], false);
}

}  // namespace
