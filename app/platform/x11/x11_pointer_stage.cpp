#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/shape.h>
#include <xcb/xinput.h>

#include <QGuiApplication>
#include <QRegion>
#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <iostream>
#include <mutex>
#include <thread>

#include "app/platform/platform_services.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

using Clock = std::chrono::steady_clock;

// Ripples play at once for this many presses; a further press takes the oldest one's window.
constexpr std::size_t kMaximumRipples = 6;

struct Setup {
    xcb_connection_t* c = nullptr;
    xcb_window_t root = XCB_NONE;
    x11::AidWindowKit kit;
    xcb_gcontext_t gc = XCB_NONE;
    std::uint8_t xiOpcode = 0;
};

std::expected<Setup, std::string> connect() {
    const auto own = x11::openOwnConnection();
    if (!own)
        return std::unexpected(own.error());
    Setup s;
    s.c = own->connection;
    const auto fail = [&](std::string why) {
        xcb_disconnect(s.c);
        return std::unexpected(std::move(why));
    };
    const xcb_screen_t& screen = *own->screen;
    s.root = screen.root;
    const xcb_visualid_t visual = x11::argbVisual(screen);
    if (!visual)
        return fail("the X server offers no 32-bit visual with an alpha channel");
    const auto* shape = xcb_get_extension_data(s.c, &xcb_shape_id);
    if (!shape || !shape->present)
        return fail("the X server lacks the SHAPE extension");
    const auto opcode = x11::rawInputOpcode(s.c);
    if (!opcode)
        return fail(opcode.error());
    s.xiOpcode = *opcode;
    s.kit = x11::aidWindowKit(s.c, s.root, visual);
    const xcb_pixmap_t model = xcb_generate_id(s.c);
    xcb_create_pixmap(s.c, 32, model, s.root, 1, 1);
    s.gc = xcb_generate_id(s.c);
    const std::uint32_t noExposures = 0;
    xcb_create_gc(s.c, s.gc, model, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    xcb_free_pixmap(s.c, model);
    return s;
}

// One window of the stage: override-redirect, never taking input, showing its background
// pixmap, which the server repaints from without asking us.
struct StageWindow {
    xcb_window_t window = XCB_NONE;
    xcb_pixmap_t pixmap = XCB_NONE;
    QRect frame;
    bool mapped = false;
};

class X11PointerStage final : public PointerStage {
  public:
    X11PointerStage(Setup setup, int wake) : s_(setup), wake_(wake) {
        dim_.frames = &dimFrames_;
        dim_.idle = &dimIdle_;
        follower_.spills = true;
        follower_.frames = &followerFrames_;
        follower_.idle = &followerIdle_;
        thread_ = std::thread([this] { run(); });
    }

    ~X11PointerStage() override {
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        signal();
        thread_.join();
        // The server frees every window and pixmap of a closing connection.
        xcb_disconnect(s_.c);
        ::close(wake_);
    }

    void setDim(std::optional<Dim> dim) override {
        if (dim)
            dim->hole.image = premultiplied(dim->hole.image);
        post(pending_.dim, std::move(dim));
    }

    void setFollower(std::optional<Follower> follower) override {
        if (follower)
            follower->stamp.image = premultiplied(follower->stamp.image);
        post(pending_.follower, std::move(follower));
    }

    void setFrameInterval(std::chrono::milliseconds interval) override {
        {
            std::lock_guard lock(mutex_);
            pending_.frameInterval = std::max(interval, std::chrono::milliseconds(1));
        }
        signal();
    }

    void setRipples(std::optional<Ripples> ripples) override {
        if (ripples) {
            for (auto* frames : {&ripples->left, &ripples->right})
                for (QImage& frame : *frames) frame = premultiplied(frame);
        }
        post(pending_.ripples, std::move(ripples));
    }

    Counters counters() const override {
        return {dimFrames_.load(), dimIdle_.load(), followerFrames_.load(), followerIdle_.load(),
                rippleCount_.load()};
    }

    std::string failure() const override {
        std::lock_guard lock(mutex_);
        return failure_;
    }

  private:
    // A layer's slot holds something when the layer changed; what it holds may be "off".
    struct Pending {
        std::optional<std::optional<Dim>> dim;
        std::optional<std::optional<Follower>> follower;
        std::optional<std::optional<Ripples>> ripples;
        std::optional<std::chrono::milliseconds> frameInterval;
    };

    template <class Value>
    void post(std::optional<std::optional<Value>>& slot, std::optional<Value> value) {
        {
            std::lock_guard lock(mutex_);
            slot = std::move(value);
        }
        signal();
    }
    struct Plane {
        StageWindow w;
        Away away = Away::hidden;
        QRect stamped;  // where the stamp is drawn, in the plane's coordinates
    };
    // Display-sized pictures in which a stamp moves with the pointer: the dim with its hole, or
    // a clear plane carrying the follower. Nothing is moved, so nothing but the two boxes the
    // stamp leaves and enters is redrawn and reported to the compositing manager.
    struct Layer {
        std::vector<Plane> planes;
        xcb_gcontext_t gc = XCB_NONE;  // fills with the background
        std::uint32_t background = 0;
        xcb_pixmap_t stamp = XCB_NONE;
        QRect stampBox;  // relative to the pointer
        // The dim's hole stays on the display under the pointer; the follower shows on every
        // display its box reaches.
        bool spills = false;
        std::atomic<std::uint64_t>* frames = nullptr;
        std::atomic<std::uint64_t>* idle = nullptr;
    };
    struct Ripple {
        StageWindow w;
        const std::vector<xcb_pixmap_t>* frames = nullptr;
        Clock::time_point start;
        std::size_t shown = 0;
        bool playing = false;
    };

    static QImage premultiplied(const QImage& image) {
        return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }

    void signal() const {
        const std::uint64_t one = 1;
        (void)!::write(wake_, &one, sizeof one);
    }

    // ---- the stage's thread ----

    void run() {
        pollfd fds[2] = {{xcb_get_file_descriptor(s_.c), POLLIN, 0}, {wake_, POLLIN, 0}};
        for (;;) {
            if (::poll(fds, 2, timeoutMs()) < 0 && errno != EINTR) {
                fail(std::string("waiting for pointer events failed: ") + std::strerror(errno));
                return;
            }
            if (fds[1].revents & POLLIN) {
                std::uint64_t count = 0;
                (void)!::read(wake_, &count, sizeof count);
            }
            while (x11::Owned<xcb_generic_event_t> event{xcb_poll_for_event(s_.c)}) handle(*event);
            Pending pending;
            {
                std::lock_guard lock(mutex_);
                if (stop_)
                    return;
                std::swap(pending, pending_);
            }
            if (xcb_connection_has_error(s_.c)) {
                fail("the connection to the X server broke");
                return;
            }
            take(std::move(pending));
            // Replies read while waiting may have brought events along; they are not on the
            // socket any more, so poll() would not wake for them.
            do {
                step();
            } while (drainQueued());
        }
    }

    void fail(std::string why) {
        std::cerr << "draw: pointer aids stopped: " << why << "\n";
        std::lock_guard lock(mutex_);
        failure_ = std::move(why);
    }

    bool drainQueued() {
        bool any = false;
        while (x11::Owned<xcb_generic_event_t> event{xcb_poll_for_queued_event(s_.c)}) {
            handle(*event);
            any = true;
        }
        return any;
    }

    void handle(const xcb_generic_event_t& event) {
        switch (event.response_type & 0x7f) {
            case XCB_GE_GENERIC: {
                const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
                if (generic.extension != s_.xiOpcode)
                    break;
                if (generic.event_type == XCB_INPUT_RAW_MOTION) {
                    moved_ = true;
                } else if (generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
                    const auto& press =
                        reinterpret_cast<const xcb_input_raw_button_press_event_t&>(event);
                    // Buttons 4 to 7 are the wheel's steps, not presses.
                    if (press.detail < 4 || press.detail > 7)
                        presses_.push_back(press.detail == 3);
                }
                break;
            }
            // A managed window that maps or restacks may cover ours; override-redirect ones
            // are ours, menus and tooltips.
            case XCB_MAP_NOTIFY:
                restack_ |=
                    !reinterpret_cast<const xcb_map_notify_event_t&>(event).override_redirect;
                break;
            case XCB_CONFIGURE_NOTIFY:
                restack_ |=
                    !reinterpret_cast<const xcb_configure_notify_event_t&>(event).override_redirect;
                break;
            default:
                break;
        }
    }

    void take(Pending pending) {
        if (pending.frameInterval)
            updateInterval_ = *pending.frameInterval;
        if (!pending.dim && !pending.follower && !pending.ripples)
            return;
        if (pending.dim)
            buildDim(std::move(*pending.dim));
        if (pending.follower)
            buildFollower(std::move(*pending.follower));
        if (pending.ripples)
            buildRipples(std::move(*pending.ripples));
        watch(!dim_.planes.empty() || !follower_.planes.empty() || !leftFrames_.empty());
        forced_ = true;
        restack_ = true;
    }

    // Pointers report far more often than a display refreshes (125 to 1000 times a second):
    // the pictures follow at most once a refresh, the first move after a pause at once.
    void step() {
        const auto now = Clock::now();
        const bool update = forced_ || (moved_ && now - lastUpdate_ >= updateInterval_);
        if (update || !presses_.empty()) {
            if (const auto pointer = x11::queryPointer(s_.c, s_.root)) {
                if (update) {
                    show(dim_, *pointer);
                    show(follower_, *pointer);
                }
                for (const bool right : presses_) startRipple(*pointer, right);
            }
            if (update) {
                moved_ = forced_ = false;
                lastUpdate_ = now;
            }
            presses_.clear();
        }
        animate(now);
        if (restack_) {
            raise();
            restack_ = false;
        }
        xcb_flush(s_.c);
    }

    void watch(bool on) {
        if (on == watching_)
            return;
        watching_ = on;
        const std::uint32_t rootMask = on ? XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY : 0;
        xcb_change_window_attributes(s_.c, s_.root, XCB_CW_EVENT_MASK, &rootMask);
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t bits;
        } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                    on ? std::uint32_t(XCB_INPUT_XI_EVENT_MASK_RAW_MOTION |
                                       XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS)
                       : 0u};
        xcb_input_xi_select_events(s_.c, s_.root, 1, &selection.head);
    }

    // ---- windows and pictures ----

    xcb_pixmap_t makePixmap(QSize size) {
        const xcb_pixmap_t pixmap = xcb_generate_id(s_.c);
        xcb_create_pixmap(s_.c, 32, pixmap, s_.root, std::uint16_t(std::max(1, size.width())),
                          std::uint16_t(std::max(1, size.height())));
        return pixmap;
    }

    xcb_pixmap_t upload(const QImage& image) { return x11::uploadPixmap(s_.c, s_.root, image); }

    StageWindow makeWindow(QRect frame, xcb_pixmap_t background) {
        return {x11::createAidWindow(s_.c, s_.root, s_.kit, frame, background), background, frame,
                false};
    }

    void destroy(StageWindow& w) {
        if (w.window != XCB_NONE)
            xcb_destroy_window(s_.c, w.window);
        w = {};
    }

    void setMapped(StageWindow& w, bool mapped) {
        if (w.mapped == mapped)
            return;
        w.mapped = mapped;
        if (mapped) {
            xcb_map_window(s_.c, w.window);
            restack_ = true;
        } else {
            xcb_unmap_window(s_.c, w.window);
        }
    }

    // Back to front: the dim, the follower over it, the ripples over both.
    void raise() {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        const auto up = [&](const StageWindow& w) {
            if (w.mapped)
                xcb_configure_window(s_.c, w.window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        };
        for (const Layer* layer : {&dim_, &follower_})
            for (const Plane& plane : layer->planes) up(plane.w);
        for (const Ripple& ripple : ripples_) up(ripple.w);
    }

    void fill(const Layer& layer, const Plane& plane, const QRegion& region) {
        std::vector<xcb_rectangle_t> rectangles;
        for (const QRect& box : region)
            rectangles.push_back({std::int16_t(box.x()), std::int16_t(box.y()),
                                  std::uint16_t(box.width()), std::uint16_t(box.height())});
        if (!rectangles.empty())
            xcb_poly_fill_rectangle(s_.c, plane.w.pixmap, layer.gc,
                                    std::uint32_t(rectangles.size()), rectangles.data());
    }

    // A zero width or height would mean "to the window's edge" to the server.
    void repaint(const StageWindow& w, QRect box) {
        if (w.mapped && !box.isEmpty())
            xcb_clear_area(s_.c, 0, w.window, std::int16_t(box.x()), std::int16_t(box.y()),
                           std::uint16_t(box.width()), std::uint16_t(box.height()));
    }

    // ---- the layers ----

    void clearLayer(Layer& layer) {
        for (Plane& plane : layer.planes) {
            xcb_free_pixmap(s_.c, plane.w.pixmap);
            destroy(plane.w);
        }
        layer.planes.clear();
        if (layer.stamp != XCB_NONE)
            xcb_free_pixmap(s_.c, layer.stamp);
        layer.stamp = XCB_NONE;
    }

    void buildLayer(Layer& layer, const std::vector<DimPlane>& planes, std::uint32_t background,
                    const Stamp& stamp) {
        clearLayer(layer);
        if (layer.gc == XCB_NONE) {
            const xcb_pixmap_t model = makePixmap({1, 1});
            layer.gc = xcb_generate_id(s_.c);
            const std::uint32_t noExposures = 0;
            xcb_create_gc(s_.c, layer.gc, model, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
            xcb_free_pixmap(s_.c, model);
        }
        layer.background = background;
        xcb_change_gc(s_.c, layer.gc, XCB_GC_FOREGROUND, &background);
        layer.stamp = upload(stamp.image);
        layer.stampBox = QRect(stamp.offset, stamp.image.size());
        for (const DimPlane& d : planes) {
            if (d.frame.isEmpty())
                continue;
            Plane plane{makeWindow(d.frame, makePixmap(d.frame.size())), d.away, {}};
            fill(layer, plane, QRect(QPoint(0, 0), d.frame.size()));
            layer.planes.push_back(plane);
        }
    }

    void buildDim(std::optional<Dim> dim) {
        clearLayer(dim_);
        if (!dim)
            return;
        const auto alpha =
            static_cast<std::uint32_t>(std::lround(std::clamp(dim->alpha, 0.0, 1.0) * 255));
        buildLayer(dim_, dim->planes, alpha << 24, dim->hole);
    }

    void buildFollower(std::optional<Follower> follower) {
        clearLayer(follower_);
        if (!follower || follower->stamp.image.isNull())
            return;
        std::vector<DimPlane> planes;
        for (const QRect& display : follower->displays) planes.push_back({display, Away::hidden});
        buildLayer(follower_, planes, 0, follower->stamp);
    }

    void show(Layer& layer, QPoint pointer) {
        if (layer.planes.empty())
            return;
        const auto under =
            std::find_if(layer.planes.begin(), layer.planes.end(),
                         [&](const Plane& p) { return p.w.frame.contains(pointer); });
        if (under == layer.planes.end()) {
            ++*layer.idle;
            return;
        }
        bool changed = false;
        for (Plane& plane : layer.planes) {
            const bool isUnder = &plane == &*under;
            const QPoint local = pointer - plane.w.frame.topLeft();
            const QRect stamp = layer.stampBox.translated(local);
            const QRect box = isUnder || layer.spills
                                  ? stamp.intersected(QRect(QPoint(0, 0), plane.w.frame.size()))
                                  : QRect();
            const bool mapped =
                !box.isEmpty() || (layer.background != 0 && (isUnder || plane.away == Away::whole));
            if (box == plane.stamped && mapped == plane.w.mapped)
                continue;
            changed = true;
            // What the stamp leaves: where it stays, the copy below overwrites it anyway.
            if (!plane.stamped.isEmpty())
                fill(layer, plane, QRegion(plane.stamped).subtracted(box));
            if (!box.isEmpty())
                xcb_copy_area(s_.c, layer.stamp, plane.w.pixmap, layer.gc,
                              std::int16_t(box.x() - stamp.x()), std::int16_t(box.y() - stamp.y()),
                              std::int16_t(box.x()), std::int16_t(box.y()),
                              std::uint16_t(box.width()), std::uint16_t(box.height()));
            // One box round both when that adds little: each box is a damage report the
            // compositing manager handles on its own.
            const QRect both = plane.stamped.united(box);
            const auto area = [](const QRect& r) { return std::int64_t(r.width()) * r.height(); };
            if (area(both) * 2 <= (area(plane.stamped) + area(box)) * 3) {
                repaint(plane.w, both);
            } else {
                repaint(plane.w, plane.stamped);
                repaint(plane.w, box);
            }
            plane.stamped = box;
            setMapped(plane.w, mapped);
        }
        ++*(changed ? layer.frames : layer.idle);
    }

    // ---- the ripples ----

    void buildRipples(std::optional<Ripples> ripples) {
        for (Ripple& ripple : ripples_) destroy(ripple.w);
        ripples_.clear();
        for (auto* frames : {&leftFrames_, &rightFrames_}) {
            for (const xcb_pixmap_t pixmap : *frames) xcb_free_pixmap(s_.c, pixmap);
            frames->clear();
        }
        if (!ripples || ripples->left.empty())
            return;
        rippleOffset_ = ripples->offset;
        rippleSize_ = ripples->left.front().size();
        frameInterval_ = std::max(ripples->frameInterval, std::chrono::milliseconds(1));
        for (const QImage& frame : ripples->left)
            leftFrames_.push_back(upload(frame.size() == rippleSize_ ? frame : QImage()));
        for (const QImage& frame : ripples->right.empty() ? ripples->left : ripples->right)
            rightFrames_.push_back(upload(frame.size() == rippleSize_ ? frame : QImage()));
    }

    void startRipple(QPoint pointer, bool right) {
        if (leftFrames_.empty())
            return;
        auto slot = std::find_if(ripples_.begin(), ripples_.end(),
                                 [](const Ripple& r) { return !r.playing; });
        if (slot == ripples_.end()) {
            if (ripples_.size() < kMaximumRipples) {
                Ripple fresh;
                fresh.w = makeWindow(QRect(QPoint(0, 0), rippleSize_), XCB_NONE);
                ripples_.push_back(fresh);
                slot = ripples_.end() - 1;
            } else {
                slot = std::min_element(
                    ripples_.begin(), ripples_.end(),
                    [](const Ripple& a, const Ripple& b) { return a.start < b.start; });
            }
        }
        Ripple& ripple = *slot;
        const QPoint at = pointer + rippleOffset_;
        const std::uint32_t xy[] = {std::uint32_t(at.x()), std::uint32_t(at.y())};
        xcb_configure_window(s_.c, ripple.w.window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, xy);
        ripple.frames = right ? &rightFrames_ : &leftFrames_;
        ripple.start = Clock::now();
        ripple.shown = ripple.frames->size();  // nothing shown yet
        ripple.playing = true;
        ++rippleCount_;
        // Drawn by animate() in the same step, then by the clock.
        restack_ = true;
    }

    void animate(Clock::time_point now) {
        for (Ripple& ripple : ripples_) {
            if (!ripple.playing)
                continue;
            const auto frame = static_cast<std::size_t>((now - ripple.start) / frameInterval_);
            if (frame >= ripple.frames->size()) {
                ripple.playing = false;
                setMapped(ripple.w, false);
                continue;
            }
            if (frame == ripple.shown)
                continue;
            ripple.shown = frame;
            const xcb_pixmap_t pixmap = (*ripple.frames)[frame];
            xcb_change_window_attributes(s_.c, ripple.w.window, XCB_CW_BACK_PIXMAP, &pixmap);
            if (ripple.w.mapped)
                xcb_clear_area(s_.c, 0, ripple.w.window, 0, 0, 0, 0);
            setMapped(ripple.w, true);
        }
    }

    // Until the next ripple frame is due; forever when none plays.
    int timeoutMs() const {
        std::optional<Clock::time_point> next;
        if (moved_)
            next = lastUpdate_ + updateInterval_;
        for (const Ripple& ripple : ripples_) {
            if (!ripple.playing)
                continue;
            const auto due = ripple.start + frameInterval_ * static_cast<long>(ripple.shown + 1);
            next = next ? std::min(*next, due) : due;
        }
        if (!next)
            return -1;
        const auto wait =
            std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count();
        return static_cast<int>(std::clamp<long long>(wait, 0, 1000));
    }

    Setup s_;
    const int wake_;
    std::thread thread_;

    mutable std::mutex mutex_;
    Pending pending_;
    bool stop_ = false;
    std::string failure_;

    std::atomic<std::uint64_t> dimFrames_{0}, dimIdle_{0}, followerFrames_{0}, followerIdle_{0},
        rippleCount_{0};

    // The thread's own.
    bool watching_ = false;
    bool moved_ = false;
    bool forced_ = false;
    Clock::time_point lastUpdate_{};
    Clock::duration updateInterval_ = std::chrono::milliseconds(16);
    bool restack_ = false;
    std::vector<bool> presses_;  // true for the right button
    Layer dim_;
    Layer follower_;
    std::vector<Ripple> ripples_;
    std::vector<xcb_pixmap_t> leftFrames_, rightFrames_;
    QPoint rippleOffset_;
    QSize rippleSize_;
    Clock::duration frameInterval_ = std::chrono::milliseconds(16);
};

}  // namespace

std::unique_ptr<PointerStage> createPointerStage() {
    if (!x11::qtConnection())
        return nullptr;
    auto setup = connect();
    if (!setup) {
        std::cerr << "draw: pointer aids are off: " << setup.error() << "\n";
        return nullptr;
    }
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        std::cerr << "draw: pointer aids are off: " << std::strerror(errno) << "\n";
        xcb_disconnect(setup->c);
        return nullptr;
    }
    return std::make_unique<X11PointerStage>(*setup, wake);
}

}  // namespace scrawlet::platform
