#include "app/shell/draw_capture.h"

#include <iostream>

#include "app/platform/platform_services.h"
#include "app/shell/draw_config.h"
#include "core/capture_probe.h"

namespace scrawlet::shell {

std::unique_ptr<DrawCapture> DrawCapture::startIfAsked(const DrawConfig& config,
                                                       const std::vector<std::uint32_t>& displays,
                                                       std::optional<QRect> panelPixels,
                                                       QObject* context) {
    if (!config.capture) {
        return nullptr;
    }
    auto draw = create(context);
    if (!draw) {
        return nullptr;
    }
    draw->panelPixels_ = panelPixels;
    draw->dumpPath_ = config.captureDumpPath.value_or("");
    draw->capture_->excludeOurWindows = !config.captureSelfTest;
    // The self-test watches whole displays.
    for (const std::uint32_t id : displays) {
        if (const auto size = draw->service_->displayPixelSize(id)) {
            draw->service_->setRegion(id, QRect(0, 0, size->first, size->second));
        }
    }
    draw->capture_->start(displays, 60);
    std::cerr << "draw: capture starting on " << displays.size()
              << " display(s), excluding this application"
              << (config.captureSelfTest ? " [SELFTEST: exclusion OFF]" : "") << "\n";
    return draw;
}

std::unique_ptr<DrawCapture> DrawCapture::startForMagnifiers(
    const std::vector<std::uint32_t>& displays, QObject* context) {
    auto draw = create(context);
    if (draw) {
        draw->capture_->start(displays, 60);
    }
    return draw;
}

std::unique_ptr<DrawCapture> DrawCapture::create(QObject* context) {
    std::string why;
    auto service = platform::createCaptureService(&why);
    if (!service) {
        std::cerr << "draw: capture cannot start: " << why << "\n";
        return nullptr;
    }
    std::unique_ptr<DrawCapture> draw(new DrawCapture(std::move(service), context));
    DrawCapture* observer = draw.get();
    draw->capture_->onFrame = [observer](const capture::DisplayCapture::Frame& frame) {
        observer->observe(frame);
    };
    return draw;
}

DrawCapture::DrawCapture(std::unique_ptr<platform::CaptureService> service, QObject* context)
    : service_(std::move(service)),
      capture_(std::make_unique<capture::DisplayCapture>(*service_, capture::Loop::qt(context))) {}

void DrawCapture::project(std::uint32_t displayID,
                          std::optional<platform::CaptureService::Projection> projection) {
    service_->setProjection(displayID, std::move(projection));
}

bool DrawCapture::watchPointer(const void* watcher, std::function<void(QPoint)> moved) {
    bool any = false;
    {
        std::lock_guard lock(pointerLock_);
        if (moved) {
            pointerWatchers_[watcher] = std::move(moved);
        } else {
            pointerWatchers_.erase(watcher);
        }
        any = !pointerWatchers_.empty();
    }
    if (!any) {
        return service_->watchPointer({});
    }
    return service_->watchPointer([this](QPoint pointer) {
        std::lock_guard lock(pointerLock_);
        for (const auto& [who, onMove] : pointerWatchers_) {
            onMove(pointer);
        }
    });
}

void DrawCapture::addObserver(std::function<void(const capture::DisplayCapture::Frame&)> observer) {
    std::lock_guard lock(observersLock_);
    observers_.push_back(std::move(observer));
}

DrawCapture::~DrawCapture() {
    capture_->stop({});
    capture_.reset();
    service_.reset();
}

void DrawCapture::observe(const capture::DisplayCapture::Frame& frame) {
    {
        std::lock_guard lock(observersLock_);
        for (const auto& observer : observers_) {
            observer(frame);
        }
    }
    if (frame.image.isNull()) {
        return;
    }
    if (!dumpPath_.empty() && !dumped_.exchange(true)) {
        // A failed dump is silent: the self-test's count is the result that matters.
        (void)frame.image.save(QString::fromStdString(dumpPath_), "PNG");
    }
    if (!panelPixels_) {
        return;
    }
    const QImage& image = frame.image;
    const core::PixelRect within{panelPixels_->x(), panelPixels_->y(), panelPixels_->width(),
                                 panelPixels_->height()};
    if (image.depth() == 32 &&
        core::containsMagenta(image.constBits(), image.width(), image.height(),
                              static_cast<int>(image.bytesPerLine()), within)) {
        ++selfCaptured_;
    }
}

CaptureTotals DrawCapture::totals() const {
    const auto counters = capture_->counters();
    return {counters.frames, selfCaptured_.load(), counters.rebuilds};
}

}  // namespace scrawlet::shell
