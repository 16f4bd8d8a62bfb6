#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/render.h>
#include <xcb/screensaver.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <QHash>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

#include "app/platform/platform_services.h"
#include "app/platform/sleep_watcher.h"
#include "app/platform/x11/xcb_support.h"
#include "core/zoom_geometry.h"

namespace scrawlet::platform {
namespace {

using Clock = std::chrono::steady_clock;

const xcb_query_extension_reply_t* damageExtension(xcb_connection_t* c) {
    const auto* data = xcb_get_extension_data(c, &xcb_damage_id);
    if (!data || !data->present)
        return nullptr;
    std::free(xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    return data;
}

// Frames handed out at once before the oldest segment must be read into again; a consumer
// that keeps more than this many alive makes the service allocate more.
constexpr std::size_t kSegmentsPerStream = 3;

double nowSeconds() {
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

// A shared-memory segment the server writes a frame into; frames are QImages over it, and it
// is written again only once every QImage of the last frame has gone.
struct Segment {
    x11::SharedSegment shared;
    std::atomic<bool> inUse{false};
};

class X11CaptureService;

class X11Stream final : public CaptureService::Stream {
  public:
    X11Stream(X11CaptureService& service, CaptureService::StreamConfig config,
              CaptureService::StreamEvents events)
        : service_(service), config_(config), events_(std::move(events)) {}
    void stop(std::function<void()> done) override;

    X11CaptureService& service_;
    CaptureService::StreamConfig config_;
    CaptureService::StreamEvents events_;
    bool running = false;
    Clock::time_point due;
};

// Captures by compositing every viewable top-level window but ours over the wallpaper into a
// pixmap of the region watched, with XRender on the server, and reading it back through shared
// memory. Windows are redirected (automatic mode, beside any compositing manager's own), so
// each one's pixels are its own pixmap's, never the screen's, which holds our overlays.
class X11CaptureService final : public CaptureService {
  public:
    X11CaptureService(xcb_connection_t* c, const xcb_screen_t& screen, int wake)
        : c_(c),
          root_(screen.root),
          rootVisual_(screen.root_visual),
          argbVisual_(x11::argbVisual(screen)),
          pid_(std::uint32_t(::getpid())),
          randr_(xcb_get_extension_data(c, &xcb_randr_id)),
          screenSaver_(xcb_get_extension_data(c, &xcb_screensaver_id)),
          damage_(damageExtension(c)),
          xiOpcode_(x11::rawInputOpcode(c).value_or(0)),
          wakeFd_(wake) {
        const auto atoms = x11::internAtoms(
            c_, {"_NET_WM_PID", "_XROOTPMAP_ID", "ESETROOT_PMAP_ID", "_NET_WM_CM_S0"});
        pidAtom_ = atoms[0];
        wallpaperAtoms_ = {atoms[1], atoms[2]};
        cmAtom_ = atoms[3];
        loadFormats();
        xcb_composite_redirect_subwindows(c_, root_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                                   XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(c_, root_, XCB_CW_EVENT_MASK, &mask);
        // A monitor defined or deleted changes neither the screen's size nor its outputs; the
        // server tells version-1.5 clients with a screen change.
        if (randr_ && randr_->present)
            std::free(
                xcb_randr_query_version_reply(c_, xcb_randr_query_version(c_, 1, 5), nullptr));
        xcb_randr_select_input(c_, root_,
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
        // The end of screen blanking counts as the displays waking.
        if (screenSaver_ && screenSaver_->present)
            xcb_screensaver_select_input(c_, root_, XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
        xcb_flush(c_);
        thread_ = std::thread([this] { run(); });
        // The end of a suspend counts as the displays waking too.
        sleep_ = std::make_unique<SleepWatcher>([this] {
            SystemEvents events;
            {
                std::lock_guard lock(mutex_);
                events = systemEvents_;
            }
            if (events.screensWoke)
                events.screensWoke();
        });
    }

    ~X11CaptureService() override {
        sleep_.reset();
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        signal();
        thread_.join();
        ::close(wakeFd_);
        for (const auto& segment : segments_) x11::detachSharedSegment(c_, segment->shared);
        xcb_disconnect(c_);
    }

    void requestContent(ContentDone done) override {
        Content content;
        for (const auto& monitor : monitorsFromAnyThread())
            content.displays.push_back({monitor.id, monitor.rect.width(), monitor.rect.height()});
        // Our windows are known by their process id from the moment they exist.
        content.ownApplicationListed = true;
        done(std::move(content), std::nullopt);
    }

    std::optional<std::pair<int, int>> displayPixelSize(std::uint32_t displayID) override {
        for (const auto& monitor : monitorsFromAnyThread())
            if (monitor.id == displayID)
                return std::pair{monitor.rect.width(), monitor.rect.height()};
        return std::nullopt;
    }

    std::expected<std::shared_ptr<Stream>, std::string> createStream(const StreamConfig& config,
                                                                     StreamEvents events) override {
        return std::make_shared<X11Stream>(*this, config, std::move(events));
    }

    void startStream(const std::shared_ptr<Stream>& stream,
                     std::function<void(std::optional<std::string>)> done) override {
        auto own = std::static_pointer_cast<X11Stream>(stream);
        {
            std::lock_guard lock(mutex_);
            own->running = true;
            own->due = Clock::now();
            changed_.insert(own->config_.displayID);
            streams_.push_back(own);
        }
        signal();
        done(std::nullopt);
    }

    void setRegion(std::uint32_t displayID, std::optional<QRect> region) override {
        {
            std::lock_guard lock(mutex_);
            if (region && !region->isEmpty()) {
                if (regions_[displayID] != *region)
                    captureSoon(displayID);
                regions_[displayID] = *region;
            } else {
                regions_.erase(displayID);
            }
        }
        signal();
    }

    void setProjection(std::uint32_t displayID, std::optional<Projection> projection) override {
        {
            std::lock_guard lock(mutex_);
            const auto found = projections_.find(displayID);
            if (projection && !projection->windowSize.isEmpty() &&
                (projection->followLevel || !projection->source.isEmpty())) {
                if (found == projections_.end() || !(found->second == *projection))
                    captureSoon(displayID);
                projections_[displayID] = std::move(*projection);
            } else if (found != projections_.end()) {
                projections_.erase(found);
            }
        }
        signal();
    }

    bool watchPointer(std::function<void(QPoint)> moved) override {
        if (!xiOpcode_)
            return false;
        {
            std::lock_guard lock(mutex_);
            pointerMoved_ = std::move(moved);
        }
        signal();
        return true;
    }

    bool followsPointer() const override { return xiOpcode_ && argbVisual_; }

    void watchSystemEvents(SystemEvents events) override {
        std::lock_guard lock(mutex_);
        systemEvents_ = std::move(events);
    }
    void unwatchSystemEvents() override {
        std::lock_guard lock(mutex_);
        systemEvents_ = {};
    }

    void remove(X11Stream& stream) {
        std::lock_guard lock(mutex_);
        stream.running = false;
        std::erase_if(streams_, [&](const auto& s) { return s.get() == &stream; });
    }

  private:
    // What a consumer watches moved: it waits for the new frame, so it is captured at once.
    void captureSoon(std::uint32_t displayID) {
        changed_.insert(displayID);
        for (const auto& stream : streams_)
            if (stream->config_.displayID == displayID)
                stream->due = Clock::now();
    }

    void signal() const {
        const std::uint64_t one = 1;
        (void)!::write(wakeFd_, &one, sizeof one);
    }

    struct Monitor {
        std::uint32_t id = 0;
        QRect rect;
    };
    struct Window {
        xcb_window_t id = XCB_NONE;
        QRect rect;  // outer, in root coordinates
        bool argb = false;
        bool shaped = false;
        bool ours = false;
        xcb_render_pictformat_t format = 0;
    };
    struct Named {
        xcb_pixmap_t pixmap = XCB_NONE;
        xcb_render_picture_t picture = XCB_NONE;
        QSize size;
    };

    // The capture thread may sleep on events this thread read with its reply: it looks again.
    std::vector<Monitor> monitorsFromAnyThread() {
        auto result = monitors();
        signal();
        return result;
    }

    std::vector<Monitor> monitors() {
        std::vector<Monitor> result;
        const x11::Owned<xcb_randr_get_monitors_reply_t> reply(
            xcb_randr_get_monitors_reply(c_, xcb_randr_get_monitors(c_, root_, 1), nullptr));
        if (!reply)
            return result;
        for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
             xcb_randr_monitor_info_next(&it)) {
            result.push_back(
                {it.data->name, QRect(it.data->x, it.data->y, it.data->width, it.data->height)});
        }
        return result;
    }

    void loadFormats() {
        const x11::Owned<xcb_render_query_pict_formats_reply_t> reply(
            xcb_render_query_pict_formats_reply(c_, xcb_render_query_pict_formats(c_), nullptr));
        if (!reply)
            return;
        for (auto formats = xcb_render_query_pict_formats_formats_iterator(reply.get());
             formats.rem; xcb_render_pictforminfo_next(&formats)) {
            const auto& f = *formats.data;
            if (f.type == XCB_RENDER_PICT_TYPE_DIRECT && f.depth == 32 &&
                f.direct.alpha_mask == 0xff && f.direct.alpha_shift == 24 &&
                f.direct.red_shift == 16 && f.direct.green_shift == 8 && f.direct.blue_shift == 0)
                argbFormat_ = f.id;
            if (f.type == XCB_RENDER_PICT_TYPE_DIRECT && f.depth == 8 &&
                f.direct.alpha_mask == 0xff && f.direct.red_mask == 0)
                alphaFormat_ = f.id;
        }
        for (auto screens = xcb_render_query_pict_formats_screens_iterator(reply.get());
             screens.rem; xcb_render_pictscreen_next(&screens)) {
            for (auto depths = xcb_render_pictscreen_depths_iterator(screens.data); depths.rem;
                 xcb_render_pictdepth_next(&depths)) {
                for (auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data); visuals.rem;
                     xcb_render_pictvisual_next(&visuals)) {
                    visualFormats_[visuals.data->visual] = {visuals.data->format,
                                                            depths.data->depth};
                }
            }
        }
    }

    // ---- the capture thread ----

    // Raw motion reaches this connection only while someone follows the pointer.
    void followPointer(bool on) {
        if (on == followingPointer_)
            return;
        followingPointer_ = on;
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t bits;
        } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                    on ? std::uint32_t(XCB_INPUT_XI_EVENT_MASK_RAW_MOTION) : 0u};
        xcb_input_xi_select_events(c_, root_, 1, &selection.head);
        xcb_flush(c_);
    }

    void run() {
        std::unique_lock lock(mutex_);
        while (!stop_) {
            const bool follow = following();
            if (xiOpcode_)
                followPointer(pointerMoved_ || follow);
            if (!follow)
                pointer_.reset();
            // Pointers report up to a thousand moves a second: where the pointer is, is asked
            // at most once a frame, the first move after a pause at once. Raw motion comes only
            // once the pointer moves: a lens turned on under a still pointer asks at once.
            std::optional<Clock::time_point> askAt;
            if (follow || pointerMoved_) {
                const auto now = Clock::now();
                const auto interval = frameInterval();
                if ((follow && !pointer_) || (pointerStale_ && now - lastAsked_ >= interval)) {
                    pointerStale_ = false;
                    lastAsked_ = now;
                    if (const auto at = x11::queryPointer(c_, root_)) {
                        if (follow) {
                            pointer_ = *at;
                            for (const auto& [id, projection] : projections_)
                                if (projection.followLevel)
                                    changed_.insert(id);
                        }
                        if (auto moved = pointerMoved_) {
                            lock.unlock();
                            moved(*at);
                            lock.lock();
                            continue;
                        }
                    }
                } else if (pointerStale_) {
                    askAt = lastAsked_ + interval;
                }
            } else {
                pointerStale_ = false;
            }
            tidyFollowers();
            const auto watched = nextDue();
            const auto now = Clock::now();
            if (!watched || watched->stream->due > now) {
                // Nothing watched: no frames and no timer, only the window system's events.
                std::optional<Clock::time_point> wake;
                if (watched)
                    wake = watched->stream->due;
                if (askAt && (!wake || *askAt < *wake))
                    wake = askAt;
                const int timeout =
                    wake
                        ? int(std::max<std::int64_t>(
                              0, std::chrono::ceil<std::chrono::milliseconds>(*wake - now).count()))
                        : -1;
                lock.unlock();
                waitForEvents(timeout);
                lock.lock();
                continue;
            }
            const Due due = *watched;
            const auto interval = std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>(1.0 / std::max(1, due.stream->config_.fps)));
            due.stream->due = std::max(due.stream->due + interval, now);
            auto events = due.stream->events_;
            const std::uint32_t displayID = due.stream->config_.displayID;
            changed_.erase(displayID);
            composedAreas_[displayID] = due.composed;
            lock.unlock();
            handleEvents();
            std::optional<Moving> moving;
            if (!due.place.isEmpty()) {
                Follower& f = followers_[displayID];
                show(f, due.display);
                moving = Moving{due.place.topLeft() - due.display.topLeft(), f.box};
            }
            Sample sample;
            sample.presentation = nowSeconds();
            compose(due.composed, due.stream->config_.excludeOwnWindows);
            sample.status = 0;
            if (due.read) {
                if (auto image = read(due.read->translated(-due.composed.topLeft()))) {
                    sample.image = std::move(*image);
                    sample.contentRect = QRectF(QPointF(0, 0), QSizeF(sample.image.size()));
                    sample.region = due.read->translated(-due.origin);
                } else {
                    sample.status = 2;
                }
            }
            if (due.projection)
                sample.projected = project(*due.projection, due.composed, due.origin, moving);
            if (moving && sample.projected)
                followers_[displayID].box = QRect(moving->at, due.place.size());
            xcb_flush(c_);
            if (events.sample)
                events.sample(*due.stream, sample);
            lock.lock();
        }
    }

    void waitForEvents(int timeoutMs) {
        // Events read with a reply sit in xcb's queue, where poll does not see them.
        if (handleEvents())
            return;
        pollfd fds[2] = {{xcb_get_file_descriptor(c_), POLLIN, 0}, {wakeFd_, POLLIN, 0}};
        if (::poll(fds, 2, timeoutMs) > 0 && (fds[1].revents & POLLIN)) {
            std::uint64_t count = 0;
            (void)!::read(wakeFd_, &count, sizeof count);
        }
        handleEvents();
    }

    // The running stream whose frame is due first, with what of its display is watched.
    struct Due {
        std::shared_ptr<X11Stream> stream;
        QRect composed;             // in root coordinates
        std::optional<QRect> read;  // in root coordinates, within `composed`
        std::optional<Projection> projection;
        QPoint origin;  // the display's top-left corner
        // Where a projection that follows the pointer goes, and its display, in root
        // coordinates.
        QRect place;
        QRect display;
    };
    std::optional<Due> nextDue() {
        std::optional<Due> next;
        const auto all = monitorsCached();
        std::unordered_set<xcb_window_t> projected;
        for (const auto& [id, projection] : projections_) projected.insert(projection.window);
        for (const auto& [id, follower] : followers_) projected.insert(follower.window);
        for (auto it = outputs_.begin(); it != outputs_.end();) {
            if (projected.contains(it->first)) {
                ++it;
            } else {
                release(it->second);
                it = outputs_.erase(it);
            }
        }
        for (const auto& stream : streams_) {
            const auto region = regions_.find(stream->config_.displayID);
            const auto projection = projections_.find(stream->config_.displayID);
            // Frames that are only drawn into a projection are taken when what they show
            // changed; readers get them at the stream's rate.
            const bool projecting = projection != projections_.end() &&
                                    (!damage_ || changed_.contains(stream->config_.displayID));
            if (!stream->running || (region == regions_.end() && !projecting))
                continue;
            const auto monitor = std::find_if(all.begin(), all.end(), [&](const Monitor& m) {
                return m.id == stream->config_.displayID;
            });
            if (monitor == all.end())
                continue;
            Due due{stream, {},           std::nullopt, std::nullopt, monitor->rect.topLeft(),
                    {},     monitor->rect};
            std::optional<Projection> shown;
            if (projecting)
                shown = projection->second;
            if (shown && shown->followLevel) {
                // Shown only on the display under the pointer.
                if (pointer_ && monitor->rect.contains(*pointer_)) {
                    followAt(*shown, due.place, *pointer_, monitor->rect);
                    shown->window = follower(stream->config_.displayID).window;
                } else {
                    shown.reset();
                }
            }
            if (region == regions_.end() && !shown)
                continue;
            if (region != regions_.end()) {
                const QRect global =
                    region->second.translated(due.origin).intersected(monitor->rect);
                if (!global.isEmpty())
                    due.read = global;
                due.composed = global;
            }
            if (shown) {
                due.projection = shown;
                // Linear filtering reads a pixel beyond the source's edges. The size stays
                // the same as the source moves, so the frame's pixmap is made again only at
                // the display's edges.
                const QRectF& source = shown->source;
                const QRect around(int(std::floor(source.x())) - 1, int(std::floor(source.y())) - 1,
                                   int(std::ceil(source.width())) + 3,
                                   int(std::ceil(source.height())) + 3);
                due.composed |= around.translated(due.origin).intersected(monitor->rect);
            }
            if (due.composed.isEmpty())
                continue;
            if (!next || stream->due < next->stream->due)
                next = std::move(due);
        }
        return next;
    }

    std::vector<Monitor> monitorsCached() {
        if (monitorsDirty_) {
            monitors_ = monitors();
            monitorsDirty_ = false;
        }
        return monitors_;
    }

    // Whether there was any event.
    bool handleEvents() {
        bool any = false;
        bool displaysChanged = false;
        bool screensWoke = false;
        bool everything = false;   // what every display shows may have changed
        std::vector<QRect> areas;  // what changed, in root coordinates
        std::vector<xcb_window_t> mapped;
        bool pointerMoved = false;
        bool rootConfigured = false;
        while (x11::Owned<xcb_generic_event_t> event{xcb_poll_for_event(c_)}) {
            any = true;
            const std::uint8_t type = event->response_type & 0x7f;
            if (type == XCB_GE_GENERIC) {
                const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
                pointerMoved |=
                    generic->extension == xiOpcode_ && generic->event_type == XCB_INPUT_RAW_MOTION;
                continue;
            }
            if (damage_ && type == damage_->first_event + XCB_DAMAGE_NOTIFY) {
                const auto* notify =
                    reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
                xcb_damage_subtract(c_, notify->damage, XCB_NONE, XCB_NONE);
                if (!(excludingOwn_ && ownWindows_.contains(notify->drawable)))
                    areas.emplace_back(notify->geometry.x + notify->area.x,
                                       notify->geometry.y + notify->area.y, notify->area.width,
                                       notify->area.height);
                continue;
            }
            if (type == XCB_MAP_NOTIFY) {
                // A projection's window has pixels only once mapped; what was drawn before
                // is lost.
                const auto* notify = reinterpret_cast<const xcb_map_notify_event_t*>(event.get());
                const xcb_window_t window = notify->window;
                restack_ |= !notify->override_redirect;
                if (const auto output = outputs_.find(window);
                    output != outputs_.end() && !isFollower(window)) {
                    output->second.cleared = false;
                    mapped.push_back(window);
                }
            }
            if (type == XCB_CONFIGURE_NOTIFY)
                restack_ |= !reinterpret_cast<const xcb_configure_notify_event_t*>(event.get())
                                 ->override_redirect;
            if (type == XCB_CONFIGURE_NOTIFY || type == XCB_MAP_NOTIFY ||
                type == XCB_UNMAP_NOTIFY) {
                // Our own windows come and go and move (a lens follows the pointer); while
                // they are left out, that changes nothing in what is captured.
                const xcb_window_t window =
                    type == XCB_CONFIGURE_NOTIFY
                        ? reinterpret_cast<const xcb_configure_notify_event_t*>(event.get())->window
                    : type == XCB_MAP_NOTIFY
                        ? reinterpret_cast<const xcb_map_notify_event_t*>(event.get())->window
                        : reinterpret_cast<const xcb_unmap_notify_event_t*>(event.get())->window;
                // Monitors defined or deleted come with no RandR event, only with the screen
                // resized after them.
                if (window == root_)
                    rootConfigured = true;
                else if (!(excludingOwn_ && ownWindows_.contains(window)))
                    windowsDirty_ = everything = true;
            } else if (type == XCB_DESTROY_NOTIFY || type == XCB_CREATE_NOTIFY ||
                       type == XCB_REPARENT_NOTIFY || type == XCB_CIRCULATE_NOTIFY) {
                windowsDirty_ = everything = true;
            } else if (type == XCB_PROPERTY_NOTIFY) {
                const xcb_atom_t atom =
                    reinterpret_cast<const xcb_property_notify_event_t*>(event.get())->atom;
                if (atom == wallpaperAtoms_[0] || atom == wallpaperAtoms_[1])
                    wallpaperDirty_ = everything = true;
            } else if (randr_ && randr_->present &&
                       (type == randr_->first_event + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                        type == randr_->first_event + XCB_RANDR_NOTIFY)) {
                displaysChanged = true;
            } else if (screenSaver_ && screenSaver_->present &&
                       type == screenSaver_->first_event + XCB_SCREENSAVER_NOTIFY) {
                const auto* notify =
                    reinterpret_cast<const xcb_screensaver_notify_event_t*>(event.get());
                screensWoke |= notify->state == XCB_SCREENSAVER_STATE_OFF;
            }
        }
        if (rootConfigured && !displaysChanged) {
            const auto now = monitors();
            displaysChanged = now.size() != monitors_.size() ||
                              !std::equal(now.begin(), now.end(), monitors_.begin(),
                                          [](const Monitor& a, const Monitor& b) {
                                              return a.id == b.id && a.rect == b.rect;
                                          });
        }
        pointerStale_ |= pointerMoved;
        if (everything || displaysChanged || screensWoke || !areas.empty() || !mapped.empty()) {
            std::lock_guard lock(mutex_);
            for (const auto& [id, area] : composedAreas_) {
                const bool touched = std::any_of(
                    areas.begin(), areas.end(), [&](const QRect& r) { return r.intersects(area); });
                if (everything || displaysChanged || screensWoke || touched)
                    changed_.insert(id);
            }
            for (const auto& [id, projection] : projections_)
                if (std::find(mapped.begin(), mapped.end(), projection.window) != mapped.end())
                    changed_.insert(id);
        }
        if (!displaysChanged && !screensWoke)
            return any;
        monitorsDirty_ |= displaysChanged;
        SystemEvents events;
        {
            std::lock_guard lock(mutex_);
            events = systemEvents_;
        }
        if (displaysChanged && events.displaysChanged)
            events.displaysChanged();
        if (screensWoke && events.screensWoke)
            events.screensWoke();
        return any;
    }

    // ---- projections that follow the pointer ----

    // A clear window over the display in which the projection is drawn where the pointer is:
    // nothing moves, so no window's move is reported to every client watching the screen's
    // windows, and only the box left and the box entered change.
    struct Follower {
        xcb_window_t window = XCB_NONE;
        QRect plane;  // in root coordinates
        QRect box;    // where the projection was last drawn, in the plane
        bool mapped = false;
    };
    struct Moving {
        QPoint at;       // where the projection goes in its window
        QRect previous;  // where it was; empty for nowhere
    };

    // The shortest frame interval of the running streams.
    Clock::duration frameInterval() const {
        int fps = 60;
        for (const auto& stream : streams_) fps = std::max(fps, stream->config_.fps);
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1.0 / fps));
    }

    bool following() const {
        return std::any_of(projections_.begin(), projections_.end(),
                           [](const auto& entry) { return bool(entry.second.followLevel); });
    }

    bool isFollower(xcb_window_t window) const {
        return std::any_of(followers_.begin(), followers_.end(),
                           [&](const auto& entry) { return entry.second.window == window; });
    }

    Follower& follower(std::uint32_t displayID) {
        Follower& f = followers_[displayID];
        if (f.window == XCB_NONE) {
            if (kit_.visual == 0)
                kit_ = x11::aidWindowKit(c_, root_, argbVisual_);
            f.window = x11::createAidWindow(c_, root_, kit_, QRect(0, 0, 1, 1), XCB_NONE);
        }
        return f;
    }

    // The window round the pointer, kept on the display, and what it shows: the lens's own
    // geometry, in pixels.
    static void followAt(Projection& p, QRect& frame, QPoint pointer, const QRect& display) {
        const double size = p.windowSize.width();
        const core::AidPoint at{double(pointer.x()), double(pointer.y())};
        const core::AidRect on{double(display.x()), double(display.y()), double(display.width()),
                               double(display.height())};
        const core::AidRect r = core::lensFrame(at, on, size);
        frame = QRect(int(std::floor(r.x)), int(std::floor(r.y)), p.windowSize.width(),
                      p.windowSize.height());
        const core::ZoomSource source =
            core::lensSource(at, on, size, *p.followLevel, on.width, on.height);
        p.source = QRectF(source.x * on.width, source.y * on.height, source.width * on.width,
                          source.height * on.height);
    }

    // Mapped, over the whole display, before anything is drawn into it: a window has pixels
    // only once mapped. Both go with the frame's drawing, so a compositing manager repaints
    // once.
    void show(Follower& f, const QRect& display) {
        if (f.plane != display) {
            const std::uint32_t values[] = {std::uint32_t(display.x()), std::uint32_t(display.y()),
                                            std::uint32_t(display.width()),
                                            std::uint32_t(display.height())};
            xcb_configure_window(c_, f.window,
                                 XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y |
                                     XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                                 values);
            f.plane = display;
            // A resized window is cleared to its background.
            f.box = {};
        }
        if (!f.mapped) {
            xcb_map_window(c_, f.window);
            f.mapped = true;
            f.box = {};
        }
    }

    // Followers whose projection went are destroyed, those off the pointer's display hidden,
    // and those shown kept above windows that map or restack.
    void tidyFollowers() {
        if (followers_.empty())
            return;
        const auto all = monitorsCached();
        for (auto it = followers_.begin(); it != followers_.end();) {
            Follower& f = it->second;
            const auto projection = projections_.find(it->first);
            if (projection == projections_.end() || !projection->second.followLevel) {
                if (const auto output = outputs_.find(f.window); output != outputs_.end()) {
                    release(output->second);
                    outputs_.erase(output);
                }
                xcb_destroy_window(c_, f.window);
                it = followers_.erase(it);
                restack_ = true;
                continue;
            }
            const auto monitor = std::find_if(all.begin(), all.end(),
                                              [&](const Monitor& m) { return m.id == it->first; });
            if (f.mapped &&
                (!pointer_ || monitor == all.end() || !monitor->rect.contains(*pointer_))) {
                xcb_unmap_window(c_, f.window);
                f.mapped = false;
                f.box = {};
                restack_ = true;
            }
            ++it;
        }
        if (!restack_)
            return;
        restack_ = false;
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        for (const auto& [id, f] : followers_)
            if (f.mapped)
                xcb_configure_window(c_, f.window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_flush(c_);
    }

    bool compositing() {
        const x11::Owned<xcb_get_selection_owner_reply_t> owner(
            xcb_get_selection_owner_reply(c_, xcb_get_selection_owner(c_, cmAtom_), nullptr));
        return owner && owner->owner != XCB_NONE;
    }

    // Every viewable top-level, bottom first, ours marked.
    void refreshWindows() {
        windowsDirty_ = false;
        for (auto& [id, named] : named_) release(named);
        named_.clear();
        windows_.clear();
        ownWindows_.clear();
        composited_ = compositing();
        const x11::Owned<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c_, xcb_query_tree(c_, root_), nullptr));
        if (!tree)
            return;
        const auto* children = xcb_query_tree_children(tree.get());
        const int count = xcb_query_tree_children_length(tree.get());
        std::vector<xcb_get_window_attributes_cookie_t> attributes;
        std::vector<xcb_get_geometry_cookie_t> geometries;
        std::vector<xcb_query_tree_cookie_t> subtrees;
        for (int i = 0; i < count; ++i) {
            attributes.push_back(xcb_get_window_attributes(c_, children[i]));
            geometries.push_back(xcb_get_geometry(c_, children[i]));
            subtrees.push_back(xcb_query_tree(c_, children[i]));
        }
        for (int i = 0; i < count; ++i) {
            const x11::Owned<xcb_get_window_attributes_reply_t> a(
                xcb_get_window_attributes_reply(c_, attributes[std::size_t(i)], nullptr));
            const x11::Owned<xcb_get_geometry_reply_t> g(
                xcb_get_geometry_reply(c_, geometries[std::size_t(i)], nullptr));
            const x11::Owned<xcb_query_tree_reply_t> sub(
                xcb_query_tree_reply(c_, subtrees[std::size_t(i)], nullptr));
            if (!a || !g || a->map_state != XCB_MAP_STATE_VIEWABLE ||
                a->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
                continue;
            std::vector<xcb_window_t> family{children[i]};
            if (sub) {
                const auto* inner = xcb_query_tree_children(sub.get());
                family.insert(family.end(), inner,
                              inner + xcb_query_tree_children_length(sub.get()));
            }
            const bool own = ours(family);
            if (own)
                ownWindows_.insert(children[i]);
            const auto format = visualFormats_.find(a->visual);
            if (format == visualFormats_.end())
                continue;
            const int border = g->border_width;
            Window w{children[i],
                     QRect(g->x, g->y, g->width + 2 * border, g->height + 2 * border),
                     format->second.second == 32,
                     false,
                     own,
                     format->second.first};
            const x11::Owned<xcb_shape_query_extents_reply_t> shape(xcb_shape_query_extents_reply(
                c_, xcb_shape_query_extents(c_, children[i]), nullptr));
            w.shaped = shape && shape->bounding_shaped;
            windows_.push_back(w);
        }
        watchDamage();
    }

    // One damage report per top-level window, re-armed as each arrives.
    void watchDamage() {
        if (!damage_)
            return;
        std::unordered_set<xcb_window_t> listed;
        for (const Window& w : windows_) {
            // Left out, our windows' drawing (a lens's every frame) need not wake this thread.
            if (w.ours && excludingOwn_)
                continue;
            listed.insert(w.id);
            if (damages_.contains(w.id))
                continue;
            const xcb_damage_damage_t damage = xcb_generate_id(c_);
            xcb_damage_create(c_, damage, w.id, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
            damages_[w.id] = damage;
        }
        for (auto it = damages_.begin(); it != damages_.end();) {
            if (listed.contains(it->first)) {
                ++it;
                continue;
            }
            // Gone with its window if that was destroyed; the error is ignored.
            xcb_damage_destroy(c_, it->second);
            it = damages_.erase(it);
        }
    }

    // A window is ours when it, or the client inside a window manager's frame, carries our
    // process id.
    bool ours(const std::vector<xcb_window_t>& family) {
        std::vector<xcb_get_property_cookie_t> cookies;
        for (const xcb_window_t w : family)
            cookies.push_back(x11::requestProperty(c_, w, pidAtom_, XCB_ATOM_CARDINAL, 1));
        bool found = false;
        for (const auto cookie : cookies) {
            const auto value = x11::getProperty(c_, cookie, XCB_ATOM_CARDINAL, 32);
            if (value && !x11::propertyValues<std::uint32_t>(*value).empty() &&
                x11::propertyValues<std::uint32_t>(*value).front() == pid_)
                found = true;
        }
        return found;
    }

    void release(Named& named) {
        if (named.picture != XCB_NONE)
            xcb_render_free_picture(c_, named.picture);
        if (named.pixmap != XCB_NONE)
            xcb_free_pixmap(c_, named.pixmap);
        named = {};
    }

    // The window's own pixmap as a picture; none for a window that is not redirected (a
    // compositing manager's overlay, which shows everyone's windows, ours included).
    std::optional<xcb_render_picture_t> pictureOf(const Window& w) {
        auto& named = named_[w.id];
        if (named.picture != XCB_NONE && named.size == w.rect.size())
            return named.picture;
        release(named);
        named.pixmap = xcb_generate_id(c_);
        if (!x11::check(c_, xcb_composite_name_window_pixmap_checked(c_, w.id, named.pixmap),
                        "naming a window's pixmap")) {
            named.pixmap = XCB_NONE;
            return std::nullopt;
        }
        named.picture = xcb_generate_id(c_);
        const std::uint32_t subwindows = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
        xcb_render_create_picture(c_, named.picture, named.pixmap, w.format,
                                  XCB_RENDER_CP_SUBWINDOW_MODE, &subwindows);
        named.size = w.rect.size();
        return named.picture;
    }

    void ensureTarget(QSize size) {
        if (targetSize_ == size)
            return;
        if (target_ != XCB_NONE) {
            xcb_render_free_picture(c_, targetPicture_);
            xcb_free_pixmap(c_, target_);
        }
        // With an alpha channel that everything drawn leaves opaque, so the frames' fourth byte
        // is 0xff, as an RGB32 image promises its readers.
        const bool argb = argbFormat_ != 0;
        target_ = xcb_generate_id(c_);
        xcb_create_pixmap(c_, argb ? 32 : 24, target_, root_, std::uint16_t(size.width()),
                          std::uint16_t(size.height()));
        targetPicture_ = xcb_generate_id(c_);
        // Scaled into a projection, the frame's edge pixels stretch past its edges.
        const std::uint32_t pad = XCB_RENDER_REPEAT_PAD;
        xcb_render_create_picture(c_, targetPicture_, target_,
                                  argb ? argbFormat_ : visualFormats_[rootVisual_].first,
                                  XCB_RENDER_CP_REPEAT, &pad);
        static constexpr char kBilinear[] = "bilinear";
        xcb_render_set_picture_filter(c_, targetPicture_, sizeof kBilinear - 1, kBilinear, 0,
                                      nullptr);
        targetSize_ = size;
    }

    void paintWallpaper(const QRect& region) {
        if (wallpaperDirty_) {
            wallpaperDirty_ = false;
            if (wallpaperPicture_ != XCB_NONE)
                xcb_render_free_picture(c_, wallpaperPicture_);
            wallpaperPicture_ = XCB_NONE;
            for (const xcb_atom_t atom : wallpaperAtoms_) {
                const auto value =
                    x11::getProperty(c_, x11::requestProperty(c_, root_, atom, XCB_ATOM_PIXMAP, 1),
                                     XCB_ATOM_PIXMAP, 32);
                if (!value || x11::propertyValues<xcb_pixmap_t>(*value).empty())
                    continue;
                wallpaperPicture_ = xcb_generate_id(c_);
                const std::uint32_t repeat = 1;
                if (!x11::check(
                        c_,
                        xcb_render_create_picture_checked(
                            c_, wallpaperPicture_,
                            x11::propertyValues<xcb_pixmap_t>(*value).front(),
                            visualFormats_[rootVisual_].first, XCB_RENDER_CP_REPEAT, &repeat),
                        "naming the wallpaper")) {
                    wallpaperPicture_ = XCB_NONE;
                    continue;
                }
                break;
            }
        }
        if (wallpaperPicture_ != XCB_NONE) {
            xcb_render_composite(c_, XCB_RENDER_PICT_OP_SRC, wallpaperPicture_, XCB_NONE,
                                 targetPicture_, std::int16_t(region.x()), std::int16_t(region.y()),
                                 0, 0, 0, 0, std::uint16_t(region.width()),
                                 std::uint16_t(region.height()));
            return;
        }
        const xcb_render_color_t grey{0x3000, 0x3000, 0x3000, 0xffff};
        const xcb_rectangle_t all{0, 0, std::uint16_t(region.width()),
                                  std::uint16_t(region.height())};
        xcb_render_fill_rectangles(c_, XCB_RENDER_PICT_OP_SRC, targetPicture_, grey, 1, &all);
    }

    void compose(const QRect& region, bool excludeOwn) {
        // Whether our windows' damage is watched depends on it.
        windowsDirty_ |= excludingOwn_ != excludeOwn;
        excludingOwn_ = excludeOwn;
        if (windowsDirty_)
            refreshWindows();
        ensureTarget(region.size());
        paintWallpaper(region);
        for (const Window& w : windows_) {
            const QRect overlap = w.rect.intersected(region);
            if (overlap.isEmpty() || (w.ours && excludeOwn))
                continue;
            const auto picture = pictureOf(w);
            if (!picture)
                continue;
            xcb_xfixes_region_t clip = XCB_NONE;
            if (w.shaped) {
                clip = xcb_generate_id(c_);
                xcb_xfixes_create_region_from_window(c_, clip, w.id, XCB_SHAPE_SK_BOUNDING);
                xcb_xfixes_set_picture_clip_region(c_, targetPicture_, clip,
                                                   std::int16_t(w.rect.x() - region.x()),
                                                   std::int16_t(w.rect.y() - region.y()));
            }
            const std::uint8_t op =
                w.argb && composited_ ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC;
            xcb_render_composite(
                c_, op, *picture, XCB_NONE, targetPicture_, std::int16_t(overlap.x() - w.rect.x()),
                std::int16_t(overlap.y() - w.rect.y()), 0, 0,
                std::int16_t(overlap.x() - region.x()), std::int16_t(overlap.y() - region.y()),
                std::uint16_t(overlap.width()), std::uint16_t(overlap.height()));
            if (clip != XCB_NONE) {
                xcb_xfixes_set_picture_clip_region(c_, targetPicture_, XCB_NONE, 0, 0);
                xcb_xfixes_destroy_region(c_, clip);
            }
        }
    }

    // ---- projections ----

    struct Output {
        xcb_render_picture_t window = XCB_NONE;
        QSize size;
        qint64 maskKey = 0, decorationKey = 0;
        Named mask, decoration;
        // Where the frame shows unmasked and undecorated, and the edge where the mask or the
        // decoration apply; what lies outside both is cleared once and stays clear.
        xcb_xfixes_region_t inside = XCB_NONE, edge = XCB_NONE, shown = XCB_NONE;
        bool cleared = false;
    };

    void release(Output& output) {
        // The window's picture went with the window if that is gone; the error is ignored.
        if (output.window != XCB_NONE)
            xcb_render_free_picture(c_, output.window);
        release(output.mask);
        release(output.decoration);
        releaseRegions(output);
        output = {};
    }

    void releaseRegions(Output& output) {
        for (xcb_xfixes_region_t* region : {&output.inside, &output.edge, &output.shown}) {
            if (*region != XCB_NONE)
                xcb_xfixes_destroy_region(c_, *region);
            *region = XCB_NONE;
        }
    }

    // Splits the window into bands of rows, each with one rectangle where every pixel shows
    // the frame as it is and rectangles either side where mask or decoration apply. Few
    // rectangles keep the scaling's per-rectangle cost low; the edge grows a little for it.
    void divide(Output& out, const QImage& mask, const QImage& decoration) {
        releaseRegions(out);
        out.cleared = false;
        if (mask.isNull())
            return;
        const int w = mask.width();
        const int h = mask.height();
        const QImage deco = decoration.size() == mask.size()
                                ? decoration.convertToFormat(QImage::Format_ARGB32_Premultiplied)
                                : QImage();
        const auto shows = [&](int x, int y) {
            return mask.constScanLine(y)[x] != 0 ||
                   (!deco.isNull() &&
                    qAlpha(reinterpret_cast<const QRgb*>(deco.constScanLine(y))[x]));
        };
        const auto plain = [&](int x, int y) {
            return mask.constScanLine(y)[x] == 0xff &&
                   (deco.isNull() ||
                    !qAlpha(reinterpret_cast<const QRgb*>(deco.constScanLine(y))[x]));
        };
        std::vector<xcb_rectangle_t> inside, edge;
        const auto add = [](std::vector<xcb_rectangle_t>& to, int x0, int x1, int y0, int y1) {
            if (x1 > x0)
                to.push_back({std::int16_t(x0), std::int16_t(y0), std::uint16_t(x1 - x0),
                              std::uint16_t(y1 - y0)});
        };
        constexpr int kBands = 32;
        const int rows = std::max(1, (h + kBands - 1) / kBands);
        for (int y0 = 0; y0 < h; y0 += rows) {
            const int y1 = std::min(h, y0 + rows);
            int left = w, right = 0, inLeft = 0, inRight = w;
            for (int y = y0; y < y1; ++y) {
                int a = 0;
                while (a < w && !shows(a, y)) ++a;
                int b = w;
                while (b > a && !shows(b - 1, y)) --b;
                left = std::min(left, a);
                right = std::max(right, b);
                // The plain run through the middle column.
                int l = w / 2, r = w / 2;
                if (plain(w / 2, y)) {
                    while (l > 0 && plain(l - 1, y)) --l;
                    while (r < w && plain(r, y)) ++r;
                }
                inLeft = std::max(inLeft, l);
                inRight = std::min(inRight, r);
            }
            if (inRight <= inLeft) {
                add(edge, left, right, y0, y1);
                continue;
            }
            add(inside, inLeft, inRight, y0, y1);
            add(edge, left, inLeft, y0, y1);
            add(edge, inRight, right, y0, y1);
        }
        out.inside = xcb_generate_id(c_);
        xcb_xfixes_create_region(c_, out.inside, std::uint32_t(inside.size()), inside.data());
        out.edge = xcb_generate_id(c_);
        xcb_xfixes_create_region(c_, out.edge, std::uint32_t(edge.size()), edge.data());
        out.shown = xcb_generate_id(c_);
        xcb_xfixes_create_region(c_, out.shown, 0, nullptr);
        xcb_xfixes_union_region(c_, out.inside, out.edge, out.shown);
    }

    Named uploaded(const QImage& image) {
        Named named;
        if (image.isNull())
            return named;
        const bool alpha = image.depth() == 8;
        named.pixmap = x11::uploadPixmap(c_, root_, image);
        named.picture = xcb_generate_id(c_);
        xcb_render_create_picture(c_, named.picture, named.pixmap,
                                  alpha ? alphaFormat_ : argbFormat_, 0, nullptr);
        named.size = image.size();
        return named;
    }

    // Draws the composed frame, scaled, into the projection's window.
    bool project(const Projection& p, const QRect& composed, QPoint origin,
                 const std::optional<Moving>& moving) {
        Output& out = outputs_[p.window];
        if (out.window == XCB_NONE) {
            const x11::Owned<xcb_get_window_attributes_reply_t> attributes(
                xcb_get_window_attributes_reply(c_, xcb_get_window_attributes(c_, p.window),
                                                nullptr));
            const auto format =
                attributes ? visualFormats_.find(attributes->visual) : visualFormats_.end();
            if (format == visualFormats_.end())
                return false;
            out.window = xcb_generate_id(c_);
            xcb_render_create_picture(c_, out.window, p.window, format->second.first, 0, nullptr);
        }
        const auto refresh = [&](const QImage& image, qint64& key, Named& named) {
            if (key == image.cacheKey())
                return false;
            release(named);
            named = uploaded(image);
            key = image.cacheKey();
            return true;
        };
        const bool newMask = refresh(p.mask, out.maskKey, out.mask);
        const bool newDecoration = refresh(p.decoration, out.decorationKey, out.decoration);
        // A resized window's pixels are new.
        const bool reshaped = newMask || newDecoration || out.size != p.windowSize;
        if (reshaped)
            divide(out, p.mask, p.decoration);
        out.size = p.windowSize;
        const auto fixed = [](double v) { return xcb_render_fixed_t(std::lround(v * 65536.0)); };
        // Maps the window's pixels to the composed frame's.
        const xcb_render_transform_t toSource{fixed(p.source.width() / p.windowSize.width()),
                                              0,
                                              fixed(p.source.x() + origin.x() - composed.x()),
                                              0,
                                              fixed(p.source.height() / p.windowSize.height()),
                                              fixed(p.source.y() + origin.y() - composed.y()),
                                              0,
                                              0,
                                              fixed(1)};
        xcb_render_set_picture_transform(c_, targetPicture_, toSource);
        const auto w = std::uint16_t(p.windowSize.width());
        const auto h = std::uint16_t(p.windowSize.height());
        const QPoint at = moving ? moving->at : QPoint();
        const auto draw = [&](std::uint8_t op, xcb_render_picture_t source,
                              xcb_render_picture_t mask, xcb_xfixes_region_t clip) {
            xcb_xfixes_set_picture_clip_region(c_, out.window, clip, std::int16_t(at.x()),
                                               std::int16_t(at.y()));
            xcb_render_composite(c_, op, source, mask, out.window, 0, 0, 0, 0, std::int16_t(at.x()),
                                 std::int16_t(at.y()), w, h);
        };
        if (out.inside == XCB_NONE) {
            draw(XCB_RENDER_PICT_OP_SRC, targetPicture_, out.mask.picture, XCB_NONE);
            if (out.decoration.picture != XCB_NONE)
                draw(XCB_RENDER_PICT_OP_OVER, out.decoration.picture, XCB_NONE, XCB_NONE);
        } else {
            if (moving) {
                clearBehind(out, at, moving->previous, reshaped);
            } else if (!out.cleared) {
                const xcb_rectangle_t all{0, 0, w, h};
                xcb_xfixes_set_picture_clip_region(c_, out.window, XCB_NONE, 0, 0);
                xcb_render_fill_rectangles(c_, XCB_RENDER_PICT_OP_CLEAR, out.window, {}, 1, &all);
                out.cleared = true;
            }
            // Masking while filtering takes pixman's slow path: the frame is scaled unmasked
            // and the edge masked in place after.
            draw(XCB_RENDER_PICT_OP_SRC, targetPicture_, XCB_NONE, out.shown);
            draw(XCB_RENDER_PICT_OP_IN_REVERSE, out.mask.picture, XCB_NONE, out.edge);
            if (out.decoration.picture != XCB_NONE)
                draw(XCB_RENDER_PICT_OP_OVER, out.decoration.picture, XCB_NONE, out.edge);
            xcb_xfixes_set_picture_clip_region(c_, out.window, XCB_NONE, 0, 0);
        }
        const xcb_render_transform_t identity{fixed(1), 0, 0, 0, fixed(1), 0, 0, 0, fixed(1)};
        xcb_render_set_picture_transform(c_, targetPicture_, identity);
        return true;
    }

    // Clears what the projection showed where it was and will not show now; the corners
    // round it are clear already. A new shape clears the whole old box.
    void clearBehind(const Output& out, QPoint at, const QRect& previous, bool reshaped) {
        if (previous.isEmpty())
            return;
        const xcb_rectangle_t box{std::int16_t(previous.x()), std::int16_t(previous.y()),
                                  std::uint16_t(previous.width()),
                                  std::uint16_t(previous.height())};
        const xcb_xfixes_region_t clear = xcb_generate_id(c_);
        xcb_xfixes_create_region(c_, clear, 1, &box);
        if (!reshaped) {
            xcb_xfixes_copy_region(c_, out.shown, clear);
            xcb_xfixes_translate_region(c_, clear, box.x, box.y);
        }
        const xcb_xfixes_region_t shown = xcb_generate_id(c_);
        xcb_xfixes_create_region(c_, shown, 0, nullptr);
        xcb_xfixes_copy_region(c_, out.shown, shown);
        xcb_xfixes_translate_region(c_, shown, std::int16_t(at.x()), std::int16_t(at.y()));
        xcb_xfixes_subtract_region(c_, clear, shown, clear);
        xcb_xfixes_set_picture_clip_region(c_, out.window, clear, 0, 0);
        xcb_render_fill_rectangles(c_, XCB_RENDER_PICT_OP_CLEAR, out.window, {}, 1, &box);
        xcb_xfixes_destroy_region(c_, shown);
        xcb_xfixes_destroy_region(c_, clear);
    }

    Segment* freeSegment(std::size_t bytes) {
        for (auto& segment : segments_) {
            bool expected = false;
            if (segment->shared.bytes >= bytes &&
                segment->inUse.compare_exchange_strong(expected, true))
                return segment.get();
        }
        if (segments_.size() >= kSegmentsPerStream * 4)
            return nullptr;
        auto attached = x11::attachSharedSegment(c_, bytes);
        if (!attached)
            return nullptr;
        auto segment = std::make_unique<Segment>();
        segment->shared = *attached;
        segment->inUse = true;
        segments_.push_back(std::move(segment));
        return segments_.back().get();
    }

    // Part of the composed frame, through shared memory.
    std::optional<QImage> read(const QRect& part) {
        const QSize size = part.size();
        const std::size_t bytes = std::size_t(size.width()) * std::size_t(size.height()) * 4;
        Segment* segment = freeSegment(bytes);
        if (!segment)
            return std::nullopt;
        const x11::Owned<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
            c_,
            xcb_shm_get_image(c_, target_, std::int16_t(part.x()), std::int16_t(part.y()),
                              std::uint16_t(size.width()), std::uint16_t(size.height()), ~0u,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, segment->shared.id, 0),
            nullptr));
        if (!reply) {
            segment->inUse = false;
            return std::nullopt;
        }
        // The image borrows the segment; the segment is free again when the last copy of the
        // image goes.
        return QImage(
            segment->shared.address, size.width(), size.height(), size.width() * 4,
            QImage::Format_RGB32, [](void* s) { static_cast<Segment*>(s)->inUse = false; },
            segment);
    }

    xcb_connection_t* c_;
    xcb_window_t root_;
    xcb_visualid_t rootVisual_;
    xcb_visualid_t argbVisual_;  // 0 when the server has none
    std::uint32_t pid_;
    const xcb_query_extension_reply_t* randr_;
    const xcb_query_extension_reply_t* screenSaver_;
    const xcb_query_extension_reply_t* damage_;  // none without DAMAGE: projections then
                                                 // are drawn at the stream's rate
    std::unordered_map<xcb_window_t, xcb_damage_damage_t> damages_;
    const std::uint8_t xiOpcode_;  // 0 without XInput 2.1
    const int wakeFd_;
    xcb_atom_t pidAtom_ = XCB_NONE, cmAtom_ = XCB_NONE;
    std::array<xcb_atom_t, 2> wallpaperAtoms_{};
    std::unordered_map<xcb_visualid_t, std::pair<xcb_render_pictformat_t, std::uint8_t>>
        visualFormats_;
    xcb_render_pictformat_t argbFormat_ = 0;
    xcb_render_pictformat_t alphaFormat_ = 0;

    std::mutex mutex_;
    bool stop_ = false;
    std::vector<std::shared_ptr<X11Stream>> streams_;
    std::unordered_map<std::uint32_t, QRect> regions_;
    std::unordered_map<std::uint32_t, Projection> projections_;
    // Displays whose projection shows something that changed since it was last drawn, and
    // the part of each display last composed, in root coordinates.
    std::unordered_set<std::uint32_t> changed_;
    std::unordered_map<std::uint32_t, QRect> composedAreas_;
    std::function<void(QPoint)> pointerMoved_;
    // Where the pointer was last seen while a projection follows it.
    std::optional<QPoint> pointer_;
    std::unordered_map<std::uint32_t, Follower> followers_;
    bool restack_ = false;
    SystemEvents systemEvents_;
    std::thread thread_;
    std::unique_ptr<SleepWatcher> sleep_;

    // The capture thread's own.
    bool windowsDirty_ = true;
    bool followingPointer_ = false;
    bool pointerStale_ = false;  // moved since last asked
    Clock::time_point lastAsked_;
    bool excludingOwn_ = true;
    std::unordered_set<xcb_window_t> ownWindows_;
    bool wallpaperDirty_ = true;
    bool monitorsDirty_ = true;
    bool composited_ = false;
    std::vector<Monitor> monitors_;
    std::vector<Window> windows_;
    std::unordered_map<xcb_window_t, Named> named_;
    std::unordered_map<xcb_window_t, Output> outputs_;
    x11::AidWindowKit kit_;
    xcb_pixmap_t target_ = XCB_NONE;
    xcb_render_picture_t targetPicture_ = XCB_NONE;
    QSize targetSize_;
    xcb_render_picture_t wallpaperPicture_ = XCB_NONE;
    std::vector<std::unique_ptr<Segment>> segments_;
};

void X11Stream::stop(std::function<void()> done) {
    service_.remove(*this);
    if (done)
        done();
}

}  // namespace

std::unique_ptr<CaptureService> createCaptureService(std::string* why) {
    const auto own = x11::openOwnConnection();
    if (!own) {
        if (why)
            *why = own.error();
        return nullptr;
    }
    xcb_connection_t* c = own->connection;
    const auto fail = [&](const char* reason) -> std::unique_ptr<CaptureService> {
        if (why)
            *why = reason;
        xcb_disconnect(c);
        return nullptr;
    };
    const auto present = [&](xcb_extension_t* extension) {
        const auto* data = xcb_get_extension_data(c, extension);
        return data && data->present;
    };
    if (!present(&xcb_composite_id))
        return fail("the X server lacks the Composite extension");
    if (!present(&xcb_render_id))
        return fail("the X server lacks the RENDER extension");
    if (!present(&xcb_shm_id))
        return fail("the X server lacks the MIT-SHM extension");
    if (!present(&xcb_xfixes_id) || !present(&xcb_shape_id))
        return fail("the X server lacks the XFIXES or SHAPE extension");
    std::free(xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr));
    std::free(xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr));
    std::free(xcb_render_query_version_reply(c, xcb_render_query_version(c, 0, 11), nullptr));
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0)
        return fail("no event descriptor for the capture thread");
    return std::make_unique<X11CaptureService>(c, *own->screen, wake);
}

}  // namespace scrawlet::platform
