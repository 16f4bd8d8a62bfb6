// The pictures the pointer aids hand over: each is placed so that the pointer falls on the
// middle of its shape, and shows what a user should see at a few telling pixels.
#include "app/aids/pointer_pictures.h"

#include <gtest/gtest.h>

#include <QColor>

namespace {

using namespace scrawlet;

// The picture's pixel at `offset` from the pointer, unpremultiplied.
QColor at(const platform::PointerStage::Stamp& stamp, QPoint offset) {
    const QPoint p = offset - stamp.offset;
    EXPECT_TRUE(stamp.image.rect().contains(p)) << p.x() << "," << p.y();
    return QColor::fromRgba(stamp.image.pixel(p));
}

TEST(PointerPictures, HoleIsClearRoundThePointerAndDimAtItsCorners) {
    core::SpotlightSettings settings;
    settings.sizePoints = 200;
    settings.dimOpacity = 0.6;
    const auto stamp = aids::holeStamp(settings, 1);
    EXPECT_EQ(stamp.image.size(), QSize(200, 200));
    EXPECT_EQ(stamp.offset, QPoint(-100, -100));
    EXPECT_EQ(at(stamp, {0, 0}).alpha(), 0);
    EXPECT_EQ(at(stamp, {95, 0}).alpha(), 0);
    // The circle leaves the corners dim at exactly the dim's alpha, so that the stamp meets
    // the dim around it without a seam.
    EXPECT_EQ(at(stamp, {-100, -100}).alpha(), 153);
    EXPECT_EQ(at(stamp, {99, 99}).alpha(), 153);
    EXPECT_EQ(at(stamp, {99, 99}).black(), 255);

    // A rounded square keeps its sides clear almost to the corner; twice the scale, twice the
    // pixels.
    settings.shape = core::RegionShape::roundedRect;
    const auto square = aids::holeStamp(settings, 2);
    EXPECT_EQ(square.image.size(), QSize(400, 400));
    EXPECT_EQ(at(square, {-190, 150}).alpha(), 0);
    EXPECT_EQ(at(square, {-200, -200}).alpha(), 153);
}

TEST(PointerPictures, HighlightShapesSitOnThePointer) {
    core::CursorHighlightSettings settings;
    settings.sizePoints = 40;
    settings.borderWidthPoints = 4;
    settings.colour = {255, 0, 0, 255};
    settings.opacity = 1;
    const auto ring = aids::highlightStamp(settings, 1);
    EXPECT_EQ(ring.offset, QPoint(-20, -20));
    EXPECT_EQ(at(ring, {0, 0}).alpha(), 0);
    // On the stroke, inset by half the border: opaque red.
    EXPECT_EQ(at(ring, {18, 0}), QColor(255, 0, 0));
    EXPECT_EQ(at(ring, {-19, 0}).red(), 255);

    settings.shape = core::CursorHighlightShape::filledCircle;
    settings.opacity = 0.5;
    const auto disc = aids::highlightStamp(settings, 1);
    EXPECT_EQ(at(disc, {0, 0}).alpha(), 128);
    EXPECT_EQ(at(disc, {-20, -20}).alpha(), 0);

    settings.shape = core::CursorHighlightShape::rhombus;
    const auto rhombus = aids::highlightStamp(settings, 1);
    // Its corners are the middles of the sides; the box's corners stay clear.
    EXPECT_EQ(at(rhombus, {-19, -19}).alpha(), 0);
    EXPECT_GT(at(rhombus, {0, -18}).alpha(), 0);
}

TEST(PointerPictures, RipplesGrowFadeAndTellTheButtonsApart) {
    core::CursorHighlightSettings settings;
    settings.sizePoints = 40;
    settings.borderWidthPoints = 2;
    settings.colour = {255, 0, 0, 255};
    settings.opacity = 1;
    const auto ripples = aids::ripplePictures(settings, 1, std::chrono::milliseconds(16));
    ASSERT_EQ(ripples.left.size(), 22u);
    ASSERT_EQ(ripples.right.size(), ripples.left.size());
    const auto frame = [&](const std::vector<QImage>& frames, std::size_t i) {
        return platform::PointerStage::Stamp{frames[i], ripples.offset};
    };
    // The first ring lies on the highlight's edge, the last one twice as far out and faded.
    const QColor first = at(frame(ripples.left, 0), {18, 0});
    EXPECT_EQ(first.red(), 255);
    EXPECT_EQ(first.alpha(), 255);
    EXPECT_EQ(at(frame(ripples.left, 0), {39, 0}).alpha(), 0);
    EXPECT_EQ(at(frame(ripples.left, 21), {39, 0}).alpha(), 0);
    EXPECT_GT(at(frame(ripples.left, 15), {33, 0}).alpha(), 0);
    EXPECT_LT(at(frame(ripples.left, 15), {33, 0}).alpha(), 128);
    // Every picture leaves the pointer's own spot clear.
    for (std::size_t i = 0; i < ripples.left.size(); ++i) {
        EXPECT_EQ(at(frame(ripples.left, i), {0, 0}).alpha(), 0) << i;
    }
    const QColor right = at(frame(ripples.right, 0), {18, 0});
    EXPECT_EQ(right.red(), 0);
    EXPECT_EQ(right.blue(), 255);
}

}  // namespace
