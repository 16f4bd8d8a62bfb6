// A desktop panel under the overlays of a draw-mode run: a dock window of another client that
// reserves an edge of monitor A. Clicks on it reach it and leave the ink alone, everywhere else
// still draws, and the overlay follows the dock as it moves and leaves.
#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "tests/e2e/draw_run.h"

namespace {

using namespace scrawlet::e2e;

// A window of its own client, as a panel is: typed as a dock, with a partial strut, hearing
// button presses.
class Dock {
  public:
    Dock() : c_(xcb_connect(nullptr, nullptr)) {
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
        strutAtom_ = atom("_NET_WM_STRUT_PARTIAL");
    }
    ~Dock() {
        if (window_ != XCB_NONE)
            xcb_destroy_window(c_, window_);
        xcb_disconnect(c_);
    }
    Dock(const Dock&) = delete;
    Dock& operator=(const Dock&) = delete;

    bool ok() const { return !xcb_connection_has_error(c_); }
    xcb_window_t id() const { return window_; }

    QSize rootSize() {
        auto* geometry = xcb_get_geometry_reply(c_, xcb_get_geometry(c_, root_), nullptr);
        const QSize size = geometry ? QSize(geometry->width, geometry->height) : QSize();
        std::free(geometry);
        return size;
    }

    void show(QRect box, const std::array<std::uint32_t, 12>& strut) {
        window_ = xcb_generate_id(c_);
        const std::uint32_t values[] = {0x202020, XCB_EVENT_MASK_BUTTON_PRESS};
        xcb_create_window(
            c_, XCB_COPY_FROM_PARENT, window_, root_, static_cast<std::int16_t>(box.x()),
            static_cast<std::int16_t>(box.y()), static_cast<std::uint16_t>(box.width()),
            static_cast<std::uint16_t>(box.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
            XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        const xcb_atom_t dock = atom("_NET_WM_WINDOW_TYPE_DOCK");
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_WINDOW_TYPE"),
                            XCB_ATOM_ATOM, 32, 1, &dock);
        setStrut(strut);
        xcb_map_window(c_, window_);
        sync();
    }

    void move(QRect box, const std::array<std::uint32_t, 12>& strut) {
        const std::uint32_t values[] = {
            static_cast<std::uint32_t>(box.x()), static_cast<std::uint32_t>(box.y()),
            static_cast<std::uint32_t>(box.width()), static_cast<std::uint32_t>(box.height())};
        xcb_configure_window(c_, window_,
                             XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                                 XCB_CONFIG_WINDOW_HEIGHT,
                             values);
        setStrut(strut);
        sync();
    }

    void leave() {
        xcb_destroy_window(c_, window_);
        window_ = XCB_NONE;
        sync();
    }

    int presses() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(c_)) {
            presses_ += (event->response_type & 0x7f) == XCB_BUTTON_PRESS;
            std::free(event);
        }
        return presses_;
    }

    // The top-level window that takes pointer input at the pointer, as the server finds it.
    xcb_window_t windowUnderPointer() {
        auto* reply = xcb_query_pointer_reply(c_, xcb_query_pointer(c_, root_), nullptr);
        const xcb_window_t child = reply ? reply->child : XCB_NONE;
        std::free(reply);
        return child;
    }

    // Position in the stack, bottom first; -1 when not a child of the root.
    int stackIndex(xcb_window_t window) {
        auto* tree = xcb_query_tree_reply(c_, xcb_query_tree(c_, root_), nullptr);
        int index = -1;
        const xcb_window_t* children = tree ? xcb_query_tree_children(tree) : nullptr;
        for (int i = 0; tree && i < xcb_query_tree_children_length(tree); ++i)
            if (children[i] == window)
                index = i;
        std::free(tree);
        return index;
    }

  private:
    xcb_atom_t atom(std::string_view name) {
        auto* reply = xcb_intern_atom_reply(
            c_, xcb_intern_atom(c_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr);
        const xcb_atom_t value = reply ? reply->atom : XCB_NONE;
        std::free(reply);
        return value;
    }

    void setStrut(const std::array<std::uint32_t, 12>& strut) {
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window_, strutAtom_, XCB_ATOM_CARDINAL, 32,
                            12, strut.data());
    }

    void sync() { std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr)); }

    xcb_connection_t* c_;
    xcb_window_t root_ = XCB_NONE;
    xcb_window_t window_ = XCB_NONE;
    xcb_atom_t strutAtom_ = XCB_NONE;
    int presses_ = 0;
};

class DrawPanels : public DrawRun {
  protected:
    // The server picks the window under the pointer again when the pointer moves.
    xcb_window_t windowAt(Dock& dock, QPoint point) {
        EXPECT_TRUE(input->movePointer(point + QPoint(1, 1)));
        EXPECT_TRUE(input->movePointer(point));
        return dock.windowUnderPointer();
    }

    bool awaitWindowAt(Dock& dock, QPoint point, xcb_window_t window) {
        return QTest::qWaitFor([&] { return windowAt(dock, point) == window; }, 5000);
    }
};

TEST_F(DrawPanels, ADockTakesItsOwnClicksAndTheOverlayFollowsItAsItMovesAndLeaves) {
    Dock dock;
    ASSERT_TRUE(dock.ok());
    const QSize root = dock.rootSize();
    ASSERT_GE(root.height(), 1080);
    auto run = startAndAwaitBanner();
    const QPoint inked(250, 500);
    drag(QPoint(100, 500), QPoint(400, 500));
    ASSERT_TRUE(awaitColour(inked, kInk));
    const xcb_window_t overlay = windowAt(dock, QPoint(480, 600));
    ASSERT_NE(overlay, XCB_NONE);

    // Along the bottom of monitor A; the strut counts from the root's bottom edge.
    const auto bottom = static_cast<std::uint32_t>(root.height() - 1040);
    dock.show(QRect(0, 1040, 960, 40), {0, 0, 0, bottom, 0, 0, 0, 0, 0, 0, 0, 959});
    const QPoint onDock(480, 1060);
    // The overlay is raised over the dock, so the dock can only be found through its hole.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return windowAt(dock, onDock) == dock.id() &&
                   dock.stackIndex(overlay) > dock.stackIndex(dock.id());
        },
        5000));
    ASSERT_TRUE(input->setButton(Qt::RightButton, true));
    ASSERT_TRUE(input->setButton(Qt::RightButton, false));
    ASSERT_TRUE(QTest::qWaitFor([&] { return dock.presses() == 1; }, 5000));
    // Beside the dock, and on its monitor, the overlay still draws; once that stroke shows, a
    // right-click the overlay had taken would have cleared the first.
    drag(QPoint(100, 1000), QPoint(400, 1000));
    ASSERT_TRUE(awaitColour(QPoint(250, 1000), kInk));
    EXPECT_EQ(onScreen(inked), kInk);

    dock.move(QRect(0, 0, 960, 40), {0, 0, 40, 0, 0, 0, 0, 0, 0, 959, 0, 0});
    const QPoint onTop(480, 20);
    EXPECT_TRUE(awaitWindowAt(dock, onTop, dock.id()));
    EXPECT_TRUE(awaitWindowAt(dock, onDock, overlay));

    dock.leave();
    EXPECT_TRUE(awaitWindowAt(dock, onTop, overlay));
    drag(QPoint(100, 20), QPoint(400, 20));
    EXPECT_TRUE(awaitColour(QPoint(250, 20), kInk));
    finishWith(*run, SIGTERM);
    EXPECT_EQ(summaryDocument()["strokeCount"], 3);
}

}  // namespace
