// The keystroke display of a draw-mode run: keys typed through XTest into another program's
// window show, in order, in the pill and in the event log, the window still gets them, and
// the pill fades out and leaves.
#include <QKeyEvent>
#include <QRasterWindow>

#include "core/settings.h"
#include "tests/e2e/draw_run.h"

namespace {

using namespace scrawlet::e2e;

constexpr std::uint32_t kShift = 0xffe1;
constexpr std::uint32_t kControl = 0xffe3;
constexpr std::uint32_t kRight = 0xff53;
constexpr std::uint32_t kDelete = 0xffff;
constexpr std::uint32_t kKeyA = 0x61;
constexpr std::uint32_t kKeyB = 0x62;
constexpr std::uint32_t kBackslash = 0x5c;
constexpr std::uint32_t kApostrophe = 0x27;
// Inside the 182 × 53 pill, bottom right of monitor A (960 × 1080), left of any caption.
const QPoint kPillSample(960 - 24 - 182 + 12, 1080 - 24 - 26);

struct FocusedWindow : QRasterWindow {
    int keys = 0;
    void keyPressEvent(QKeyEvent*) override { ++keys; }
};

class KeystrokeDisplayRun : public DrawRun {
  protected:
    // A run file whose keystroke display fades after one second.
    std::string settingsFile() {
        auto document = nlohmann::json::parse(scrawlet::core::Settings::defaultDocument);
        document["keystrokeDisplay"]["fade"]["mode"] = "oneSecond";
        return tmp.write("settings.json", document.dump()).string();
    }

    void press(std::vector<std::uint32_t> modifiers, std::uint32_t key) {
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, true));
        ASSERT_TRUE(input->setKey(key, true));
        ASSERT_TRUE(input->setKey(key, false));
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, false));
    }

    std::vector<std::string> shownTexts() const {
        std::vector<std::string> texts;
        for (const auto& record : events("keystrokeDisplay")) {
            if (record.contains("kind")) {
                EXPECT_EQ(record["seq"], texts.size() + 1);
                texts.push_back(record["text"]);
            }
        }
        return texts;
    }
};

TEST_F(KeystrokeDisplayRun, KeysTypedElsewhereShowInOrderThenFadeAway) {
    FocusedWindow other;
    other.setGeometry(100, 100, 200, 200);
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
    other.requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    const QRgb before = onScreen(kPillSample);

    auto run = startAndAwaitBanner(
        {"SCRAWLET_DRAW_KEYSTROKE_DISPLAY=1", "SCRAWLET_DRAW_SETTINGS=" + settingsFile()});
    ASSERT_NE(
        run->standardError().find("keystroke display:  on (bottomRight, 28.0pt, fade oneSecond)"),
        std::string::npos)
        << run->standardError();
    ASSERT_TRUE(awaitEvents("keystrokeDisplayToggle", 1));
    other.requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));

    press({}, kKeyA);
    ASSERT_TRUE(awaitColour(kPillSample, before, false)) << "the pill never showed";
    press({}, kDelete);                          // no caption: neither shown nor counted
    ASSERT_TRUE(input->setKey(kControl, true));  // a modifier alone
    ASSERT_TRUE(input->setKey(kControl, false));
    press({kShift}, kKeyB);
    press({kControl, kShift}, kRight);
    press({}, kBackslash);
    press({kShift}, kApostrophe);
    const std::vector<std::string> expected{"A", "Shift+B", "Ctrl+Shift+→", "\\", "Shift+'"};
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownTexts().size() >= expected.size(); }, 10000));
    EXPECT_EQ(shownTexts(), expected);
    // Nothing was taken from the program with the focus.
    EXPECT_TRUE(QTest::qWaitFor([&] { return other.keys >= 9; }, 5000)) << other.keys;

    // One second after the last key the pill has faded out and left.
    ASSERT_TRUE(awaitColour(kPillSample, before)) << "the pill never left";

    finishWith(*run, SIGTERM);
    const auto summary = summaryDocument();
    EXPECT_EQ(summary["keystrokeDisplayEnabled"], true);
    EXPECT_EQ(summary["keystrokeDisplayActive"], true);
    EXPECT_EQ(summary["keystrokeDisplayShownCount"], expected.size());
    EXPECT_EQ(summary["keystrokeDisplayFadeMode"], "oneSecond");
}

// Off at start, the display comes on from its global shortcut and shows the keys after it.
TEST_F(KeystrokeDisplayRun, ItsShortcutTurnsItOnAndOff) {
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_SETTINGS=" + settingsFile()});
    ASSERT_NE(run->standardError().find("keystroke display:  off"), std::string::npos);
    constexpr std::uint32_t kAlt = 0xffe9, kKeyY = 0x79;
    press({kControl, kAlt}, kKeyY);
    ASSERT_TRUE(awaitEvents("keystrokeDisplayToggle", 1));
    press({}, kKeyA);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !shownTexts().empty(); }, 10000));
    EXPECT_EQ(shownTexts().front(), "A");
    press({kControl, kAlt}, kKeyY);
    ASSERT_TRUE(awaitEvents("keystrokeDisplayToggle", 2));
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["keystrokeDisplayActive"], false);
}

// The pointer aids and the keystroke display share the root's raw-event selection: turning
// the spotlight off must not take the keys away from the display.
TEST_F(KeystrokeDisplayRun, KeysStillShowAfterTheSpotlightGoesOff) {
    auto run =
        startAndAwaitBanner({"SCRAWLET_DRAW_KEYSTROKE_DISPLAY=1", "SCRAWLET_DRAW_SPOTLIGHT=1",
                             "SCRAWLET_DRAW_SETTINGS=" + settingsFile()});
    constexpr std::uint32_t kAlt = 0xffe9, kKeyF = 0x66;
    press({kControl, kAlt}, kKeyF);
    ASSERT_TRUE(awaitEvents("spotlightToggle", 2));
    press({}, kKeyA);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const auto texts = shownTexts();
            return !texts.empty() && texts.back() == "A";
        },
        10000));
    finishWith(*run, SIGTERM);
}

}  // namespace
