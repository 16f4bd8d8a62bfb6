// Screenshots on the two-monitor desktop: by shortcut they hold the ink, land in the capture
// folder under their name and size and reach the clipboard; a dragged region is cut out; a run
// ended while one is pending still writes it; trials fill and trim the history.
#include <QClipboard>
#include <QImage>
#include <QMimeData>
#include <regex>

#include "tests/e2e/draw_run.h"

namespace {

using namespace scrawlet::e2e;

constexpr std::uint32_t kControl = 0xffe3, kAlt = 0xffe9, kShift = 0xffe1, kKeyS = 0x73;

class Screenshots : public DrawRun {
  protected:
    std::filesystem::path shots() const { return tmp.path() / "shots"; }

    std::unique_ptr<scrawlet::testing::ChildProcess> startWithFolder(
        std::vector<std::string> extra = {}) {
        extra.push_back("SCRAWLET_DRAW_CAPTURE_FOLDER=" + shots().string());
        extra.push_back("SCRAWLET_DRAW_PANEL=0");
        return startAndAwaitBanner(std::move(extra));
    }

    // Returns once the run has acted on the shortcut, so that input sent next meets its
    // effect.
    void chord(std::vector<std::uint32_t> keys) {
        const std::size_t handled = events("hotkey").size();
        for (const auto key : keys) ASSERT_TRUE(input->setKey(key, true));
        for (auto key = keys.rbegin(); key != keys.rend(); ++key)
            ASSERT_TRUE(input->setKey(*key, false));
        ASSERT_TRUE(awaitEvents("hotkey", handled + 1));
    }

    std::vector<std::filesystem::path> files() const {
        std::vector<std::filesystem::path> found;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(shots(), error)) {
            found.push_back(entry.path());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    static bool inked(const QImage& image, QPoint at) {
        const QRgb pixel = image.pixel(at);
        return qGreen(pixel) > 150 && qRed(pixel) < 60 && qBlue(pixel) < 60;
    }
};

TEST_F(Screenshots, ByShortcutTheDisplayWithItsInkLandsNamedAndOnTheClipboard) {
    auto run = startWithFolder();
    drag({200, 200}, {600, 200});
    ASSERT_TRUE(awaitColour({400, 200}, kInk));
    ASSERT_TRUE(input->movePointer({300, 600}));
    chord({kControl, kAlt, kKeyS});
    ASSERT_TRUE(awaitEvents("screenshot", 1)) << run->standardError();
    const auto record = events("screenshot")[0];
    ASSERT_EQ(record["outcome"], "success") << record.dump();
    EXPECT_EQ(record["pixelWidth"], 960);
    EXPECT_EQ(record["pixelHeight"], 1080);
    const std::filesystem::path path = record["path"].get<std::string>();
    EXPECT_EQ(path.parent_path(), shots());
    EXPECT_TRUE(
        std::regex_match(path.filename().string(),
                         std::regex(R"(Scrawlet-\d{4}-\d\d-\d\dT\d\d-\d\d-\d\dZ-\d+\.png)")))
        << path;
    const QImage image(QString::fromStdString(path.string()));
    ASSERT_EQ(image.size(), QSize(960, 1080));
    EXPECT_TRUE(inked(image, {400, 200})) << std::hex << image.pixel(400, 200);
    EXPECT_FALSE(inked(image, {400, 400}));

    const QMimeData* clipboard = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(clipboard, nullptr);
    const QImage copied = QImage::fromData(clipboard->data("image/png"), "PNG");
    EXPECT_EQ(copied.size(), QSize(960, 1080));

    ASSERT_TRUE(awaitEvents("captureHistory", 1));
    EXPECT_EQ(events("captureHistory")[0]["paths"][0], path.string());
    finishWith(*run, SIGTERM);
}

TEST_F(Screenshots, ADraggedRegionIsCutOutAndASecondTriggerOrAClickCapturesNothing) {
    auto run = startWithFolder();
    drag({150, 300}, {450, 300});
    ASSERT_TRUE(awaitColour({300, 300}, kInk));

    // Triggered twice: the selection is cancelled, and the next drag draws.
    ASSERT_TRUE(input->movePointer({100, 700}));
    chord({kControl, kAlt, kShift, kKeyS});
    chord({kControl, kAlt, kShift, kKeyS});
    drag({100, 700}, {300, 700});
    ASSERT_TRUE(awaitColour({200, 700}, kInk));

    // A click without movement selects nothing.
    chord({kControl, kAlt, kShift, kKeyS});
    click({500, 500});
    ASSERT_TRUE(awaitEvents("screenshot", 1));
    EXPECT_EQ(events("screenshot")[0]["reason"], "empty region");

    chord({kControl, kAlt, kShift, kKeyS});
    drag({250, 250}, {450, 400});
    ASSERT_TRUE(awaitEvents("screenshot", 2)) << run->standardError();
    const auto record = events("screenshot")[1];
    ASSERT_EQ(record["outcome"], "success") << record.dump();
    EXPECT_EQ(record["pixelWidth"], 200);
    EXPECT_EQ(record["pixelHeight"], 150);
    const std::filesystem::path path = record["path"].get<std::string>();
    EXPECT_TRUE(path.filename().string().starts_with("Scrawlet-region-")) << path;
    const QImage image(QString::fromStdString(path.string()));
    ASSERT_EQ(image.size(), QSize(200, 150));
    // The stroke at y = 300 crosses the region 50 below its top; no marquee, no hint.
    EXPECT_TRUE(inked(image, {100, 50})) << std::hex << image.pixel(100, 50);
    EXPECT_FALSE(inked(image, {100, 120}));
    EXPECT_EQ(files().size(), 1u);
    finishWith(*run, SIGTERM);
}

TEST_F(Screenshots, EndingTheRunWhileOneIsPendingStillWritesIt) {
    auto run = startWithFolder();
    ASSERT_TRUE(input->movePointer({1400, 500}));
    // Asked to end as soon as the screenshot has started: the run waits for the file.
    chord({kControl, kAlt, kKeyS});
    finishWith(*run, SIGTERM);
    const auto written = files();
    ASSERT_EQ(written.size(), 1u) << run->standardError();
    EXPECT_EQ(QImage(QString::fromStdString(written[0].string())).size(), QSize(960, 1080));
}

TEST_F(Screenshots, TrialsFillTheHistoryUpToItsLimitAndEndTheRun) {
    auto run = startWithFolder({"SCRAWLET_DRAW_CAPTURE_HISTORY_TRIALS=3",
                                "SCRAWLET_DRAW_CAPTURE_HISTORY_COUNT=2",
                                "SCRAWLET_DRAW_CAPTURE_HISTORY_DRAG_TEST=1"});
    ASSERT_EQ(run->wait(std::chrono::seconds(30)), 0) << run->standardError();
    const auto written = files();
    ASSERT_EQ(written.size(), 3u);
    // Each was taken as soon as the one before was written: none caught its flash.
    const QImage first(QString::fromStdString(written[0].string()));
    for (const auto& path : written) {
        const QImage image(QString::fromStdString(path.string()));
        EXPECT_EQ(image.pixel(100, 100), first.pixel(100, 100)) << path;
        EXPECT_EQ(image.pixel(700, 900), first.pixel(700, 900)) << path;
    }
    const auto history = events("captureHistory");
    ASSERT_EQ(history.size(), 3u);
    EXPECT_EQ(history[2]["count"], 2);
    EXPECT_EQ(history[2]["limit"], 2);
    const auto drags = events("captureHistoryDrag");
    ASSERT_EQ(drags.size(), 3u);
    EXPECT_EQ(drags[2]["path"], history[2]["paths"][0]);
    EXPECT_EQ(summaryDocument()["reason"], "captureHistoryTrials");
}

}  // namespace
