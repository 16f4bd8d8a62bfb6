// What a magnifier asks capture to draw, offscreen: a lens that capture moves by itself is set
// on every display, follows new settings and displays, and is taken away; without that, and
// for the full-screen zoom, the magnifier places its own panel.
#include "app/capture/magnifier.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>
#include <map>

namespace scrawlet::capture {
namespace {

using Projection = platform::CaptureService::Projection;

class MagnifierTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

    Magnifier::Capture link(bool follows) {
        Magnifier::Capture capture;
        capture.project = [this](std::uint32_t id, std::optional<Projection> p) {
            projections[id] = std::move(p);
        };
        capture.watchPointer = [this](const void*, std::function<void(QPoint)> moved) {
            watching = bool(moved);
            return true;
        };
        capture.followsPointer = [follows] { return follows; };
        return capture;
    }

    platform::Display display(std::uint32_t id) {
        platform::Display d;
        d.key.id = id;
        d.screen = QGuiApplication::primaryScreen();
        return d;
    }

    int argc = 1;
    char name[5] = "test";
    char* argv[2] = {name, nullptr};
    QGuiApplication application{argc, argv};
    std::map<std::uint32_t, std::optional<Projection>> projections;
    bool watching = false;
};

TEST_F(MagnifierTest, ALensThatCaptureMovesIsSetOnEveryDisplayAndTakenAway) {
    Magnifier lens(Magnifier::Kind::lens, core::ZoomSettings{}, link(true), nullptr, {});
    lens.attach(display(7));
    lens.setActive(true);
    const double scale = QGuiApplication::primaryScreen()->devicePixelRatio();
    ASSERT_TRUE(projections[7]);
    EXPECT_EQ(projections[7]->followLevel, 2.0);
    EXPECT_EQ(projections[7]->windowSize, (QSizeF(400, 400) * scale).toSize());
    EXPECT_EQ(projections[7]->mask.size(), projections[7]->windowSize);
    // Capture follows the pointer: nothing here watches it.
    EXPECT_FALSE(watching);

    core::ZoomSettings closer;
    closer.level = 3;
    closer.lensSizePoints = 300;
    lens.apply(closer);
    EXPECT_EQ(projections[7]->followLevel, 3.0);
    EXPECT_EQ(projections[7]->windowSize.width(), int(std::lround(300 * scale)));
    EXPECT_EQ(projections[7]->mask.size(), projections[7]->windowSize);

    lens.attach(display(9));
    ASSERT_TRUE(projections[9]);
    EXPECT_EQ(projections[9]->followLevel, 3.0);
    lens.detach(display(7));
    EXPECT_FALSE(projections[7]);
    lens.setActive(false);
    EXPECT_FALSE(projections[9]);
}

TEST_F(MagnifierTest, WithoutCaptureFollowingTheMagnifiersPlaceTheirOwnPanels) {
    for (const auto& [kind, follows] :
         {std::pair{Magnifier::Kind::lens, false}, std::pair{Magnifier::Kind::fullScreen, true}}) {
        projections.clear();
        Magnifier magnifier(kind, core::ZoomSettings{}, link(follows), nullptr, {});
        magnifier.attach(display(7));
        magnifier.setActive(true);
        ASSERT_TRUE(projections[7]) << int(kind);
        EXPECT_FALSE(projections[7]->followLevel);
        EXPECT_NE(projections[7]->window, 0u);
        EXPECT_TRUE(watching);
        magnifier.setActive(false);
        EXPECT_FALSE(projections[7]);
        EXPECT_FALSE(watching);
    }
}

}  // namespace
}  // namespace scrawlet::capture
