#include "app/capture/display_capture.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <iostream>

#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "core/number_format.h"

namespace scrawlet::capture {

using Service = platform::CaptureService;

Loop Loop::qt(QObject* context) {
    QPointer<QObject> guard(context);
    return {
        [guard](std::function<void()> work) {
            if (guard) {
                QMetaObject::invokeMethod(guard, std::move(work), Qt::QueuedConnection);
            }
        },
        [guard](double seconds, std::function<void()> work) {
            if (guard) {
                QTimer::singleShot(static_cast<int>(std::lround(seconds * 1000)), guard,
                                   std::move(work));
            }
        },
        [] { return platform::monotonicSeconds(); },
    };
}

DisplayCapture::DisplayCapture(Service& service, Loop loop)
    : service_(service),
      loop_(std::move(loop)),
      shared_(std::make_shared<Shared>()),
      alive_(std::make_shared<int>(0)) {
    shared_->now = loop_.now;
}

DisplayCapture::~DisplayCapture() {
    service_.unwatchSystemEvents();
    for (Session& s : sessions_) {
        if (s.stream) {
            s.stream->stop([] {});
        }
    }
}

void DisplayCapture::later(std::function<void()> work) {
    loop_.post([alive = std::weak_ptr<int>(alive_), work = std::move(work)] {
        if (alive.lock()) {
            work();
        }
    });
}

DisplayCapture::Session* DisplayCapture::session(std::uint32_t displayID) {
    const auto found = std::find_if(sessions_.begin(), sessions_.end(),
                                    [&](const Session& s) { return s.displayID == displayID; });
    return found == sessions_.end() ? nullptr : &*found;
}

DisplayCapture::Counters DisplayCapture::counters() const {
    std::lock_guard lock(shared_->lock);
    return shared_->counters;
}

void DisplayCapture::start(const std::vector<std::uint32_t>& displays, int fps) {
    fps_ = std::max(1, fps);
    {
        std::lock_guard lock(shared_->lock);
        shared_->onFrame = onFrame;
        shared_->onSample = onSample;
    }
    for (const std::uint32_t id : displays) {
        if (Session* old = session(id)) {
            *old = Session{id, nullptr, 0, std::nullopt, 0};
        } else {
            sessions_.push_back({id, nullptr, 0, std::nullopt, 0});
        }
        build(id);
    }
    service_.watchSystemEvents({[this] { later([this] { screensWoke(); }); },
                                [this] { later([this] { displaysChanged(); }); }});
}

void DisplayCapture::build(std::uint32_t displayID) {
    Session* s = session(displayID);
    if (!s) {
        return;
    }
    const int generation = ++s->generation;
    service_.requestContent(
        [this, alive = std::weak_ptr<int>(alive_), displayID, generation](
            std::optional<Service::Content> content, std::optional<std::string> error) {
            if (!alive.lock()) {
                return;
            }
            later([this, displayID, generation, content = std::move(content),
                   error = std::move(error)] { built(displayID, generation, content, error); });
        });
}

void DisplayCapture::built(std::uint32_t displayID, int generation,
                           const std::optional<Service::Content>& content,
                           const std::optional<std::string>& error) {
    const Session* s = session(displayID);
    if (!s || s->generation != generation) {
        return;
    }
    const Service::Display* display = nullptr;
    if (content) {
        const auto found =
            std::find_if(content->displays.begin(), content->displays.end(),
                         [&](const Service::Display& d) { return d.id == displayID; });
        display = found == content->displays.end() ? nullptr : &*found;
    }
    if (!display) {
        scheduleRetry(displayID, error.value_or("no SCDisplay"));
        return;
    }
    if (excludeOurWindows && !content->ownApplicationListed) {
        scheduleRetry(displayID, "our own windows are not in the shareable content yet");
        return;
    }
    startStream(displayID, generation, *display, content->ownApplicationListed);
}

void DisplayCapture::startStream(std::uint32_t displayID, int generation,
                                 const Service::Display& display, bool ownListed) {
    const bool excluding = excludeOurWindows && ownListed;
    {
        std::lock_guard lock(shared_->lock);
        shared_->counters.foundExclusions = excluding ? 1 : 0;
    }
    Service::StreamConfig config;
    config.displayID = displayID;
    const auto size = service_.displayPixelSize(displayID);
    config.width = size ? size->first : display.width;
    config.height = size ? size->second : display.height;
    config.fps = fps_;
    config.excludeOwnWindows = excluding;
    std::weak_ptr<Shared> shared = shared_;
    Service::StreamEvents events{
        [shared](const Service::Stream& stream, const Service::Sample& sample) {
            if (const auto s = shared.lock()) {
                sampled(*s, stream, sample);
            }
        },
        [this, alive = std::weak_ptr<int>(alive_)](const Service::Stream& stream,
                                                   const std::string& error) {
            if (!alive.lock()) {
                return;
            }
            later([this, stream = &stream, error] { streamStopped(stream, error); });
        }};
    auto created = service_.createStream(config, std::move(events));
    if (!created) {
        scheduleRetry(displayID, "addStreamOutput: " + created.error());
        return;
    }
    std::shared_ptr<Service::Stream> stream = *created;
    // Known before it starts: its first samples may come before the start's answer does.
    {
        std::lock_guard lock(shared_->lock);
        shared_->identity[stream.get()] = {displayID, generation};
    }
    service_.startStream(
        stream, [this, alive = std::weak_ptr<int>(alive_), displayID, stream, generation,
                 width = config.width, height = config.height](std::optional<std::string> error) {
            if (!alive.lock()) {
                return;
            }
            later([this, displayID, stream, generation, width, height, error] {
                if (error) {
                    {
                        std::lock_guard lock(shared_->lock);
                        shared_->identity.erase(stream.get());
                    }
                    scheduleRetry(displayID, "startCapture: " + *error);
                    return;
                }
                if (Session* s = session(displayID)) {
                    s->stream = stream;
                    s->retryingSince.reset();
                }
                {
                    std::lock_guard lock(shared_->lock);
                    shared_->counters.lastError.reset();
                    if (const auto found = shared_->identity.find(stream.get());
                        found != shared_->identity.end()) {
                        found->second.started = true;
                    }
                }
                if (onStreamStart) {
                    onStreamStart(displayID, generation, width, height);
                }
            });
        });
}

void DisplayCapture::scheduleRetry(std::uint32_t displayID, const std::string& reason) {
    Session* s = session(displayID);
    if (!s) {
        return;
    }
    {
        std::lock_guard lock(shared_->lock);
        shared_->counters.lastError = reason;
    }
    if (!recoveryEnabled) {
        return;
    }
    const double now = loop_.now();
    if (!s->retryingSince) {
        s->retryingSince = now;
    }
    if (now - *s->retryingSince < maximumRetrySeconds) {
        loop_.after(1.0, [this, alive = std::weak_ptr<int>(alive_), displayID] {
            if (alive.lock()) {
                build(displayID);
            }
        });
        return;
    }
    std::cerr << "capture: display " << displayID << " gave up after "
              << core::shortestDecimal(maximumRetrySeconds) << "s: " << reason << "\n";
}

void DisplayCapture::rebuild(std::uint32_t displayID, const std::string& why) {
    const std::string note = "display=" + std::to_string(displayID) + " why=" + why;
    if (!recoveryEnabled) {
        log::FrontmostLog::shared().record("captureRecoveryDisabled", std::nullopt, note);
        return;
    }
    Session* s = session(displayID);
    if (!s) {
        return;
    }
    if (s->rebuilds >= maximumRebuilds) {
        std::cerr << "capture: display " << displayID << " exceeded " << maximumRebuilds
                  << " rebuilds\n";
        return;
    }
    ++s->rebuilds;
    {
        // Streams still starting are replaced too.
        std::lock_guard lock(shared_->lock);
        std::erase_if(shared_->identity,
                      [&](const auto& entry) { return entry.second.displayID == displayID; });
    }
    s->stream.reset();
    {
        std::lock_guard lock(shared_->lock);
        ++shared_->counters.rebuilds;
    }
    log::FrontmostLog::shared().record("captureRebuild", std::nullopt, note);
    build(displayID);
}

void DisplayCapture::screensWoke() {
    std::vector<std::uint32_t> ids;
    for (const Session& s : sessions_) ids.push_back(s.displayID);
    for (const std::uint32_t id : ids) rebuild(id, "screensDidWake");
}

void DisplayCapture::displaysChanged() {
    std::vector<std::uint32_t> ids;
    for (const Session& s : sessions_) ids.push_back(s.displayID);
    for (const std::uint32_t id : ids) rebuild(id, "screenParameters");
}

void DisplayCapture::streamStopped(const Service::Stream* stream, const std::string& error) {
    std::optional<std::uint32_t> displayID;
    {
        std::lock_guard lock(shared_->lock);
        if (const auto found = shared_->identity.find(stream);
            found != shared_->identity.end() && found->second.started) {
            displayID = found->second.displayID;
        }
    }
    if (!displayID) {
        if (sessions_.empty()) {
            return;
        }
        displayID = sessions_.front().displayID;
    }
    const std::string reason = "didStopWithError " + error;
    {
        std::lock_guard lock(shared_->lock);
        shared_->counters.lastError = reason;
        shared_->identity.erase(stream);
    }
    rebuild(*displayID, reason);
}

void DisplayCapture::sampled(Shared& shared, const Service::Stream& stream,
                             const Service::Sample& sample) {
    const double arrival = shared.now();
    Identity identity;
    std::function<void(const Frame&)> onFrame;
    std::function<void(const Sample&)> onSample;
    {
        std::lock_guard lock(shared.lock);
        if (shared.stopRequestedAt > 0) {
            ++shared.counters.afterStop;
        }
        if (sample.status == 0) {
            ++shared.counters.frames;
        }
        const auto found = shared.identity.find(&stream);
        if (found == shared.identity.end()) {
            return;
        }
        identity = found->second;
        onFrame = shared.onFrame;
        onSample = shared.onSample;
    }
    const int width = sample.image.isNull() ? 0 : sample.image.width();
    const int height = sample.image.isNull() ? 0 : sample.image.height();
    if (onSample) {
        onSample({identity.displayID, identity.generation, arrival, sample.presentation,
                  sample.status, sample.image, width, height, sample.contentRect});
    }
    if (sample.status == 0 && (!sample.image.isNull() || sample.projected) && onFrame) {
        onFrame({identity.displayID, sample.image, QRectF(0, 0, width, height), sample.region,
                 sample.projected});
    }
}

void DisplayCapture::stop(std::function<void()> completion) {
    service_.unwatchSystemEvents();
    std::vector<std::shared_ptr<Service::Stream>> streams;
    for (Session& s : sessions_) {
        if (s.stream) {
            streams.push_back(std::move(s.stream));
        }
    }
    sessions_.clear();
    {
        std::lock_guard lock(shared_->lock);
        shared_->stopRequestedAt = loop_.now();
        shared_->identity.clear();
    }
    if (streams.empty()) {
        if (completion) {
            completion();
        }
        return;
    }
    auto outstanding = std::make_shared<std::atomic<std::size_t>>(streams.size());
    for (const auto& stream : streams) {
        stream->stop([this, alive = std::weak_ptr<int>(alive_), outstanding, completion] {
            if (--*outstanding == 0 && completion && alive.lock()) {
                later(completion);
            }
        });
    }
}

}  // namespace scrawlet::capture
