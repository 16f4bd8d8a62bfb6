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

#include "app/platform/display_identifier.h"
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
    xcb_window_t root() const { return root_; }

    xcb_atom_t atom(std::string_view name) {
        const Owned<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(c_, xcb_intern_atom(c_, 0, name.size(), name.data()), nullptr),
            &std::free);
        return reply ? reply->atom : XCB_NONE;
    }

    void set(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::uint8_t format,
             std::string_view bytes) {
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window, property, type, format,
                            bytes.size() * 8 / format, bytes.data());
        sync();
    }
    void setCardinal(xcb_window_t window, std::string_view property, std::uint32_t value) {
        set(window, atom(property), XCB_ATOM_CARDINAL, 32,
            {reinterpret_cast<const char*>(&value), sizeof value});
    }
    void setActiveWindow(xcb_window_t window) {
        set(root_, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 32,
            {reinterpret_cast<const char*>(&window), sizeof window});
    }

    xcb_window_t createWindow() {
        const xcb_window_t window = xcb_generate_id(c_);
        xcb_create_window(c_, XCB_COPY_FROM_PARENT, window, root_, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        return window;
    }
    void destroyWindow(xcb_window_t window) {
        xcb_destroy_window(c_, window);
        sync();
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

    // A reply to a later request means the server has carried out the earlier ones.
    void sync() { std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr)); }

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

TEST_F(X11PlatformTest, FrontmostAppComesFromTheActiveWindowsHints) {
    const auto provider = createFrontmostAppProvider();
    ASSERT_TRUE(provider);
    const xcb_window_t utf8 = observer.createWindow();
    observer.set(utf8, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                 std::string_view("probe\0Probe\0", 12));
    observer.set(utf8, observer.atom("_NET_WM_NAME"), observer.atom("UTF8_STRING"), 8,
                 "Zeichnung – ü");
    observer.set(utf8, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, "plain");
    observer.setCardinal(utf8, "_NET_WM_PID", static_cast<std::uint32_t>(getpid()) + 1);
    observer.setActiveWindow(utf8);
    FrontmostApp app = provider->frontmostApp();
    EXPECT_EQ(app.bundleId, "Probe");
    EXPECT_EQ(app.name, "Zeichnung – ü");
    EXPECT_FALSE(app.isOurs);

    const xcb_window_t latin1 = observer.createWindow();
    observer.set(latin1, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, "caf\xe9");
    observer.setActiveWindow(latin1);
    app = provider->frontmostApp();
    EXPECT_EQ(app.bundleId, "");
    EXPECT_EQ(app.name, "café");

    RecordingWindow ours({10, 10, 50, 50});
    ours.setTitle(QStringLiteral("Scrawlet test"));
    ours.create();
    observer.setActiveWindow(ours.id());
    app = provider->frontmostApp();
    EXPECT_TRUE(app.isOurs);
    EXPECT_EQ(app.name, "Scrawlet test");
    EXPECT_FALSE(app.bundleId.empty());

    observer.destroyWindow(latin1);
    observer.setActiveWindow(latin1);
    app = provider->frontmostApp();
    EXPECT_EQ(app.bundleId + app.name, "") << "a window that is gone publishes nothing";
    observer.setActiveWindow(XCB_NONE);
    EXPECT_FALSE(provider->frontmostApp().isOurs);
    observer.destroyWindow(utf8);
}

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
