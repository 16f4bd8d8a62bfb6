#include <gtest/gtest.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QTest>
#include <QWindow>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string_view>
#include <vector>

#include "app/platform/platform_services.h"
#include "tests/e2e/x_session.h"

// Readable failures; gtest looks these up beside the type.
inline void PrintTo(const QPoint& point, std::ostream* out) {
    *out << "(" << point.x() << ", " << point.y() << ")";
}

namespace scrawlet::platform {
namespace {

template <typename T>
using Owned = std::unique_ptr<T, decltype(&std::free)>;

// A client of its own, so that what the tests see is what other applications see.
class Observer {
  public:
    Observer() : c_(xcb_connect(nullptr, nullptr)) {
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
    }
    ~Observer() { xcb_disconnect(c_); }
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;

    bool ok() const { return !xcb_connection_has_error(c_); }

    xcb_atom_t atom(std::string_view name) {
        const Owned<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(
                c_, xcb_intern_atom(c_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
                nullptr),
            &std::free);
        return reply ? reply->atom : XCB_NONE;
    }

    std::vector<xcb_atom_t> atoms(xcb_window_t window, std::string_view property) {
        const Owned<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(
                c_, xcb_get_property(c_, 0, window, atom(property), XCB_ATOM_ANY, 0, 64), nullptr),
            &std::free);
        if (!reply || reply->format != 32)
            return {};
        const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
        return {data, data + reply->value_len};
    }

    bool overrideRedirect(xcb_window_t window) {
        const Owned<xcb_get_window_attributes_reply_t> reply(
            xcb_get_window_attributes_reply(c_, xcb_get_window_attributes(c_, window), nullptr),
            &std::free);
        return reply && reply->override_redirect;
    }

    // Index of each child of the root in stacking order, bottom first.
    int stackingIndex(xcb_window_t window) {
        const Owned<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c_, xcb_query_tree(c_, root_), nullptr), &std::free);
        if (!tree)
            return -1;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        const int count = xcb_query_tree_children_length(tree.get());
        const auto found = std::find(children, children + count, window);
        return found == children + count ? -1 : static_cast<int>(found - children);
    }

    QPoint pointer() {
        const Owned<xcb_query_pointer_reply_t> reply(
            xcb_query_pointer_reply(c_, xcb_query_pointer(c_, root_), nullptr), &std::free);
        return reply ? QPoint(reply->root_x, reply->root_y) : QPoint(-1, -1);
    }

  private:
    xcb_connection_t* c_;
    xcb_window_t root_ = XCB_NONE;
};

class RecordingWindow : public QWindow {
  public:
    explicit RecordingWindow(const QRect& geometry) {
        setFlags(Qt::FramelessWindowHint);
        setGeometry(geometry);
    }
    xcb_window_t id() { return static_cast<xcb_window_t>(winId()); }

    std::vector<QPoint> presses;

  protected:
    void mousePressEvent(QMouseEvent* event) override {
        presses.push_back(event->position().toPoint());
    }
};

class X11PlatformTest : public e2e::GuiTestSuite {
  protected:
    void SetUp() override {
        ASSERT_TRUE(observer.ok());
        input = createSyntheticInput();
        placer = createWindowPlacer();
        ASSERT_TRUE(input && placer);
        ASSERT_TRUE(input->canInject());
    }

    std::unique_ptr<RecordingWindow> show(const QRect& geometry, const WindowPlacement& placement) {
        auto window = std::make_unique<RecordingWindow>(geometry);
        const auto placed = placer->place(*window, placement);
        EXPECT_TRUE(placed) << placed.error();
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        return window;
    }

    void click(QPoint global) {
        ASSERT_TRUE(input->movePointer(global));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, true));
        ASSERT_TRUE(input->setButton(Qt::LeftButton, false));
    }

    // Clicks and waits until `window` has one more press than before.
    bool clickReaches(RecordingWindow& window, QPoint global) {
        const auto before = window.presses.size();
        click(global);
        return QTest::qWaitFor([&] { return window.presses.size() > before; }, 3000);
    }

    Observer observer;
    std::unique_ptr<SyntheticInput> input;
    std::unique_ptr<WindowPlacer> placer;
};

TEST_F(X11PlatformTest, LevelsMapToOverrideRedirectAboveStateOrNeither) {
    auto bypass = show({0, 0, 40, 40}, {.level = 1000});
    auto above = show({50, 0, 40, 40}, {.level = 3, .joinsAllSpaces = true});
    auto normal = show({100, 0, 40, 40}, {.level = 0, .skipsTaskbar = false});
    const auto has = [&](RecordingWindow& window, std::string_view state) {
        const auto states = observer.atoms(window.id(), "_NET_WM_STATE");
        return std::find(states.begin(), states.end(), observer.atom(state)) != states.end();
    };

    EXPECT_TRUE(observer.overrideRedirect(bypass->id()));
    EXPECT_FALSE(observer.overrideRedirect(above->id()));
    EXPECT_FALSE(observer.overrideRedirect(normal->id()));
    EXPECT_TRUE(has(*above, "_NET_WM_STATE_ABOVE"));
    EXPECT_FALSE(has(*normal, "_NET_WM_STATE_ABOVE"));

    EXPECT_TRUE(has(*above, "_NET_WM_STATE_STICKY"));
    EXPECT_EQ(observer.atoms(above->id(), "_NET_WM_DESKTOP"), std::vector<xcb_atom_t>{0xFFFFFFFF});
    EXPECT_TRUE(has(*above, "_NET_WM_STATE_SKIP_TASKBAR"));
    EXPECT_TRUE(has(*above, "_NET_WM_STATE_SKIP_PAGER"));
    EXPECT_FALSE(has(*normal, "_NET_WM_STATE_STICKY"));
    EXPECT_FALSE(has(*normal, "_NET_WM_STATE_SKIP_TASKBAR"));
    EXPECT_TRUE(observer.atoms(normal->id(), "_NET_WM_DESKTOP").empty());

    // A window that maps later lands on top; the bypassing one must come back above it.
    auto later = show({0, 0, 40, 40}, {});
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return observer.stackingIndex(bypass->id()) > observer.stackingIndex(later->id()); },
        3000));
    later->raise();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return observer.stackingIndex(bypass->id()) > observer.stackingIndex(later->id()); },
        3000));
}

// Under Qt's high-DPI scaling global points are device-independent; the server counts pixels.
class ScaledX11PlatformTest : public X11PlatformTest {
  protected:
    static void SetUpTestSuite() {
        qputenv("QT_SCALE_FACTOR", "2");
        X11PlatformTest::SetUpTestSuite();
    }
    static void TearDownTestSuite() {
        X11PlatformTest::TearDownTestSuite();
        qunsetenv("QT_SCALE_FACTOR");
    }
};

TEST_F(ScaledX11PlatformTest, PointsAreConvertedThroughTheScreensScale) {
    ASSERT_EQ(QGuiApplication::primaryScreen()->devicePixelRatio(), 2.0);
    ASSERT_TRUE(input->warpPointer({300, 200}));
    EXPECT_EQ(observer.pointer(), QPoint(600, 400));
    EXPECT_EQ(input->pointerPosition(), QPoint(300, 200));

    auto window = show({50, 50, 100, 100}, {});
    ASSERT_TRUE(clickReaches(*window, {80, 90}));
    EXPECT_EQ(window->presses.back(), QPoint(30, 40));
}

}  // namespace
}  // namespace scrawlet::platform
