// Global shortcuts of a draw-mode run, pressed through XTest as a person would: tool keys,
// undo and the annotation toggle; bare keys given back to other programs while annotation is
// off or clicks pass through; chords that still work while a label is typed; chords another
// client owns; overrides that remove or break a shortcut; and a refused permission's prompt.
#include <QKeyEvent>
#include <QRasterWindow>

#include "app/ink/control_panel_layout.h"
#include "tests/e2e/draw_run.h"
#include "tests/e2e/rival_client.h"

namespace {

using namespace scrawlet::e2e;

constexpr std::uint32_t kControl = 0xffe3;
constexpr std::uint32_t kAlt = 0xffe9;
constexpr std::uint32_t kKeyC = 0x63;
constexpr std::uint32_t kKeyL = 0x6c;
constexpr std::uint32_t kKeyP = 0x70;
constexpr std::uint32_t kKeyQ = 0x71;
constexpr std::uint32_t kKeyT = 0x74;
constexpr std::uint32_t kKeyZ = 0x7a;

// Another application's window, holding the keyboard focus.
struct FocusedWindow : QRasterWindow {
    int keys = 0;
    // The modifiers of a chord reach the focused window on their own.
    void keyPressEvent(QKeyEvent* event) override { keys += event->key() == Qt::Key_L; }
};

class DrawShortcuts : public DrawRun {
  protected:
    static void focus(FocusedWindow& other) {
        other.setGeometry(100, 100, 200, 200);
        other.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
        other.requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    }

    // Opens a text session with a click and waits for its caret, which shows once the session
    // holds the keyboard.
    void beginLabel() {
        click(QPoint(1300, 300));
        ASSERT_TRUE(QTest::qWaitFor(
            [] {
                const QImage area =
                    QGuiApplication::primaryScreen()->grabWindow(0, 1280, 260, 60, 80).toImage();
                for (int y = 0; y < area.height(); ++y)
                    for (int x = 0; x < area.width(); ++x)
                        if (area.pixel(x, y) == kInk)
                            return true;
                return false;
            },
            5000));
    }

    void press(std::vector<std::uint32_t> modifiers, std::uint32_t key) {
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, true));
        ASSERT_TRUE(input->setKey(key, true));
        ASSERT_TRUE(input->setKey(key, false));
        for (const auto modifier : modifiers) ASSERT_TRUE(input->setKey(modifier, false));
    }

    bool awaitHotkey(const std::string& action, std::size_t count = 1) const {
        return QTest::qWaitFor(
            [&] {
                std::size_t seen = 0;
                for (const auto& record : events("hotkey")) seen += record["note"] == action;
                return seen >= count;
            },
            10000);
    }

    // Mapped top-level windows of any client titled `title`.
    static int windowsTitled(const std::string& title) {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        int count = 0;
        xcb_query_tree_reply_t* tree = xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr);
        const xcb_window_t* children = tree ? xcb_query_tree_children(tree) : nullptr;
        for (int i = 0; tree && i < xcb_query_tree_children_length(tree); ++i) {
            auto* name =
                xcb_get_property_reply(c,
                                       xcb_get_property(c, 0, children[i], XCB_ATOM_WM_NAME,
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, 256),
                                       nullptr);
            auto* attributes = xcb_get_window_attributes_reply(
                c, xcb_get_window_attributes(c, children[i]), nullptr);
            if (name && attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
                std::string(static_cast<const char*>(xcb_get_property_value(name)),
                            static_cast<std::size_t>(xcb_get_property_value_length(name))) == title)
                ++count;
            std::free(name);
            std::free(attributes);
        }
        std::free(tree);
        xcb_disconnect(c);
        return count;
    }
};

TEST_F(DrawShortcuts, DefaultShortcutsSwitchToolsUndoAndToggleAnnotation) {
    using scrawlet::ink::controlPanelButtonRect;
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL_SENTINEL=1"});
    press({}, kKeyL);
    const QRect line = controlPanelButtonRect(1, true).translated(kPanelOrigin);
    EXPECT_TRUE(awaitColour(line.topLeft() + QPoint(3, 4), qRgb(61, 133, 255)));

    const QPoint middle(1450, 400);
    drag(QPoint(1300, 400), QPoint(1600, 400));
    ASSERT_TRUE(awaitColour(middle, kInk));
    press({kControl}, kKeyZ);
    EXPECT_TRUE(awaitColour(middle, kInk, false));
    ASSERT_TRUE(awaitHotkey("edit.undo"));

    // Outcomes without a visible effect are announced.
    press({kControl}, kKeyZ);
    EXPECT_TRUE(run->waitForError("draw: nothing to undo\n", std::chrono::seconds(10)));
    press({}, 0x65);  // e
    EXPECT_TRUE(
        run->waitForError("draw: AN-08 is P1, not in M1's P0 set\n", std::chrono::seconds(10)));

    press({kControl, kAlt}, kKeyP);
    ASSERT_TRUE(awaitEvents("annotationToggle", 1));
    EXPECT_EQ(events("annotationToggle")[0]["note"], "annotating=false scopedHotkeys=false");
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["strokeCount"], 1);
}

TEST_F(DrawShortcuts, WhileTypingAControlKeyPicksTheToolOfItsBareKey) {
    using scrawlet::ink::controlPanelButtonRect;
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_PANEL_SENTINEL=1", "SCRAWLET_DRAW_TOOL=text"});
    beginLabel();
    press({}, 0x68);  // h
    press({}, 0x69);  // i
    press({kControl}, kKeyL);
    const QRect line = controlPanelButtonRect(1, true).translated(kPanelOrigin);
    EXPECT_TRUE(awaitColour(line.topLeft() + QPoint(3, 4), qRgb(61, 133, 255)));
    // The chord went to the text session, not through a global grab.
    for (const auto& record : events("hotkey")) EXPECT_NE(record["note"], "tool.line");
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["visibleTextCount"], 1);
}

TEST_F(DrawShortcuts, WhileTypingALabelRegisteredChordsStillReachTheirActions) {
    auto run = startAndAwaitBanner({"SCRAWLET_DRAW_TOOL=text"});
    beginLabel();
    press({}, 0x68);  // h
    press({kControl}, kKeyZ);
    ASSERT_TRUE(awaitHotkey("edit.undo"));
    press({kControl, kAlt}, kKeyC);
    ASSERT_TRUE(awaitHotkey("overlay.toggleInteractive"));
    press({kControl, kAlt}, kKeyC);
    ASSERT_TRUE(awaitHotkey("overlay.toggleInteractive", 2));
    // The label still holds the keyboard: a bare tool key is typed, not taken.
    press({}, kKeyL);
    press({}, 0xff1b);  // Escape commits
    press({kControl}, kKeyQ);
    ASSERT_EQ(run->wait(std::chrono::seconds(20)), 0) << run->standardError();
    EXPECT_EQ(summaryDocument()["reason"], "app.quit");
    EXPECT_EQ(summaryDocument()["visibleTextCount"], 1);
    for (const auto& record : events("hotkey")) EXPECT_NE(record["note"], "tool.line");
}

TEST_F(DrawShortcuts, InClickThroughModeBareToolKeysReachTheFocusedWindow) {
    FocusedWindow other;
    focus(other);
    auto run = startAndAwaitBanner();
    press({kControl, kAlt}, kKeyC);
    ASSERT_TRUE(awaitEvents("modeToggle", 1));
    press({}, kKeyL);
    EXPECT_TRUE(QTest::qWaitFor([&] { return other.keys == 1; }, 5000));

    press({kControl, kAlt}, kKeyC);
    ASSERT_TRUE(awaitEvents("modeToggle", 2));
    press({}, kKeyL);
    ASSERT_TRUE(awaitHotkey("tool.line"));
    EXPECT_EQ(other.keys, 1);
    finishWith(*run, SIGTERM);
}

TEST_F(DrawShortcuts, WithAnnotationOffABareToolKeyReachesTheFocusedWindow) {
    FocusedWindow other;
    focus(other);

    auto run = startAndAwaitBanner();
    press({}, kKeyL);
    ASSERT_TRUE(awaitHotkey("tool.line"));
    EXPECT_EQ(other.keys, 0);

    press({kControl, kAlt}, kKeyP);
    ASSERT_TRUE(awaitEvents("annotationToggle", 1));
    press({}, kKeyL);
    EXPECT_TRUE(QTest::qWaitFor([&] { return other.keys == 1; }, 5000));
    finishWith(*run, SIGTERM);
}

TEST_F(DrawShortcuts, AChordAnotherClientOwnsIsReportedAndRecorded) {
    Rival rival;
    ASSERT_TRUE(rival.ok());
    ASSERT_TRUE(rival.grab(kKeyC, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1));
    auto run = startAndAwaitBanner();
    EXPECT_NE(run->standardError().find("draw: shortcut ctrl+alt+c for overlay.toggleInteractive "
                                        "could not be registered; another application owns it\n"),
              std::string::npos)
        << run->standardError();
    const auto conflicts = events("hotkeyConflict");
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(conflicts[0]["note"], "overlay.toggleInteractive chord=ctrl+alt+c status=10");
    finishWith(*run, SIGTERM);
}

TEST_F(DrawShortcuts, ADeniedGrantRefusesTheTextToolAndPromptsOnlyOnce) {
    auto run = startAndAwaitBanner({"SCRAWLET_DENY_PERMISSIONS=accessibility"});
    const std::string refusal =
        "draw: The text tool needs the Accessibility permission. Grant it by logging in to an "
        "X11 session, then quit and reopen Scrawlet.\n";
    press({}, kKeyT);
    ASSERT_TRUE(awaitHotkey("tool.text"));
    EXPECT_TRUE(run->waitForError(refusal, std::chrono::seconds(10)));
    const std::string prompt = "Accessibility is needed for this";
    EXPECT_TRUE(QTest::qWaitFor([&] { return windowsTitled(prompt) == 1; }, 10000));

    press({}, kKeyT);
    ASSERT_TRUE(awaitHotkey("tool.text", 2));
    EXPECT_TRUE(run->waitForError(refusal + refusal, std::chrono::seconds(10)));
    EXPECT_EQ(windowsTitled(prompt), 1);
    finishWith(*run, SIGTERM);
}

}  // namespace
