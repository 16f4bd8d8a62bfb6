#include "core/screenshot.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using namespace scrawlet::core;
using namespace std::chrono;

TEST(Screenshot, NamesCarryKindUtcTimeAndSequence) {
    const auto at = sys_days{year{2026} / 11 / 16} + hours{13} + minutes{45} + seconds{7};
    EXPECT_EQ(screenshotFileName(false, at, 1), "Scrawlet-2026-11-16T13-45-07Z-1.png");
    EXPECT_EQ(screenshotFileName(true, at + milliseconds{999}, 12),
              "Scrawlet-region-2026-11-16T13-45-07Z-12.png");
    // Two captures in one second differ by their sequence number.
    const auto first = nextScreenshotSequence();
    EXPECT_EQ(nextScreenshotSequence(), first + 1);
    EXPECT_NE(screenshotFileName(false, at, first), screenshotFileName(false, at, first + 1));
}

TEST(Screenshot, CropKeepsWhatLiesOnTheImage) {
    EXPECT_EQ(cropRect(1920, 1080, std::nullopt), (PixelRect{0, 0, 1920, 1080}));
    EXPECT_EQ(cropRect(1920, 1080, PixelRect{100, 200, 300, 400}), (PixelRect{100, 200, 300, 400}));
    // Partly off the display: cut to it.
    EXPECT_EQ(cropRect(1920, 1080, PixelRect{1800, -50, 300, 100}), (PixelRect{1800, 0, 120, 50}));
    // Entirely off, empty, or at the limits of int: refused, never wrapped round.
    for (const PixelRect outside : {PixelRect{1920, 0, 10, 10}, PixelRect{-20, 5, 20, 5},
                                    PixelRect{5, 5, 0, 5}, PixelRect{2147483600, 0, 2000, 10}}) {
        const auto crop = cropRect(1920, 1080, outside);
        ASSERT_FALSE(crop) << outside.x;
        EXPECT_EQ(crop.error().description(),
                  "the requested region is empty or outside the display");
    }
}

TEST(Screenshot, SelectedRegionsBecomeThePixelsTheyTouch) {
    EXPECT_EQ(pixelRectForViewRect(10, 20, 30, 40, 1), (PixelRect{10, 20, 30, 40}));
    EXPECT_EQ(pixelRectForViewRect(10.5, 20.25, 30, 40, 2), (PixelRect{21, 40, 60, 81}));
    EXPECT_EQ(pixelRectForViewRect(10, 20, 0, 40, 1), std::nullopt);
    EXPECT_EQ(pixelRectForViewRect(10, 20, 5, -1, 1), std::nullopt);
    EXPECT_EQ(pixelRectForViewRect(10, 20, 5, 5, 0), std::nullopt);
    EXPECT_EQ(pixelRectForViewRect(1e300, 20, 5, 5, 1), std::nullopt);
}

TEST(CaptureHistory, KeepsTheNewestWithinItsLimitAndSaysWhenItChanges) {
    int changes = 0;
    CaptureHistory history(3, [&] { ++changes; });
    for (int i = 1; i <= 4; ++i) {
        history.add({"/p/" + std::to_string(i) + ".png", {}, 10, 20});
    }
    ASSERT_EQ(history.entries().size(), 3u);
    EXPECT_EQ(history.entries().front().path, "/p/4.png");
    EXPECT_EQ(history.entries().back().path, "/p/2.png");
    EXPECT_EQ(changes, 4);
    history.clear();
    EXPECT_TRUE(history.entries().empty());
    EXPECT_EQ(changes, 5);
    // Clearing an empty history is silent.
    history.clear();
    EXPECT_EQ(changes, 5);

    CaptureHistory one(0);
    EXPECT_EQ(one.limit(), 1);
    one.add({"/a.png", {}, 1, 1});
    one.add({"/b.png", {}, 1, 1});
    ASSERT_EQ(one.entries().size(), 1u);
    EXPECT_EQ(one.entries().front().path, "/b.png");
}

TEST(CaptureHistory, RecordsKeepTheirKeyOrderAndStayJsonForAnyPath) {
    CaptureHistory history(5);
    history.add({"/tmp/a.png", {}, 1, 1});
    history.add({R"(/tmp/say "hi".png)", {}, 1, 1});
    const std::string record = captureHistoryRecord(history);
    EXPECT_EQ(
        record,
        R"({"kind":"captureHistory","count":2,"limit":5,"paths":["/tmp/say \"hi\".png","/tmp/a.png"]})");
    EXPECT_EQ(
        screenshotSuccessRecord("/x/Scrawlet-1.png", 1920, 1080, 12.3456),
        R"({"kind":"screenshot","outcome":"success","path":"/x/Scrawlet-1.png","pixelWidth":1920,"pixelHeight":1080,"durationMs":12.346})");
    const auto failure = nlohmann::json::parse(screenshotFailureRecord(
        ScreenshotFailure{ScreenshotFailure::Kind::writeFailed, "disk \"full\""}.description(), 2));
    EXPECT_EQ(failure["reason"], "could not write the file: disk \"full\"");
    EXPECT_EQ(nlohmann::json::parse(screenshotEmptyRegionRecord())["reason"], "empty region");
    EXPECT_EQ(nlohmann::json::parse(captureHistoryDragRecord("/a\\b.png"))["path"], "/a\\b.png");
}

}  // namespace
