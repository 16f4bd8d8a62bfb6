#include "app/shell/screenshots.h"

#include <QBuffer>
#include <QClipboard>
#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QDrag>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStandardPaths>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QWidgetAction>
#include <filesystem>

#include "app/aids/aid_window.h"
#include "app/ink/ink_view.h"
#include "app/log/frontmost_log.h"
#include "app/platform/atomic_file.h"
#include "app/platform/monotonic_clock.h"
#include "app/platform/platform_services.h"
#include "app/shell/draw_config.h"
#include "app/shell/ink_surfaces.h"
#include "app/shell/status_menu.h"

namespace scrawlet::shell {
namespace {

using Failure = core::ScreenshotFailure;

// Long enough for a view to present itself without the marquee and the hint, or a flash to
// go, and for the compositing manager to show that, before the screen is read.
constexpr int kSettleMs = 50;
constexpr int kRecheckMs = 50;
// Qt's PNG quality: higher is faster and larger. 1920x1080 of desktop and ink encodes in well
// under the 250 ms a screenshot may take at this level, a few percent larger than the default.
constexpr int kPngQuality = 90;
constexpr double kFlashSeconds = 0.18;

void recordLine(const std::string& line) {
    log::FrontmostLog::shared().recordLine(line);
}

// A white sheet over the captured rectangle fading in to 0.75 and out again.
class FlashWindow : public aids::AidWindow {
  public:
    explicit FlashWindow(const QRect& global) {
        setGeometry(global);
        clock_.setInterval(16);
        connect(&clock_, &QTimer::timeout, this, [this] {
            if (elapsed() >= kFlashSeconds) {
                clock_.stop();
                hide();
                deleteLater();
                return;
            }
            update();
        });
    }
    void start(platform::WindowPlacer* placer, const platform::WindowPlacement& placement) {
        if (placer) {
            (void)placer->place(*this, placement);
        }
        startedAt_ = platform::monotonicSeconds();
        clock_.start();
        show();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        // Key values 0, 0.75, 0 at key times 0, 0.15, 1.
        const double t = std::clamp(elapsed() / kFlashSeconds, 0.0, 1.0);
        const double alpha = t < 0.15 ? 0.75 * t / 0.15 : 0.75 * (1 - t) / 0.85;
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(QRect(QPoint(0, 0), size()), QColor::fromRgbF(1, 1, 1, float(alpha)));
    }

  private:
    double elapsed() const { return platform::monotonicSeconds() - startedAt_; }
    QTimer clock_;
    double startedAt_ = 0;
};

// One capture in the history menu: "HH:mm:ss  name"; a click opens the file, a drag of more
// than 4 points takes it out as a file.
class HistoryItem : public QWidget {
  public:
    HistoryItem(const core::CaptureHistory::Entry& entry, QMenu& menu)
        : path_(QString::fromStdString(entry.path)), menu_(menu) {
        setFixedSize(280, 20);
        setMouseTracking(true);
        const QDateTime at = QDateTime::fromSecsSinceEpoch(
            std::chrono::duration_cast<std::chrono::seconds>(entry.capturedAt.time_since_epoch())
                .count());
        const QString text = at.toString(QStringLiteral("HH:mm:ss")) + QStringLiteral("  ") +
                             QFileInfo(path_).fileName();
        text_ = fontMetrics().elidedText(text, Qt::ElideMiddle, 254);
    }

  protected:
    void enterEvent(QEnterEvent*) override {
        inside_ = true;
        update();
    }
    void leaveEvent(QEvent*) override {
        inside_ = false;
        update();
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        if (inside_) {
            painter.fillRect(rect(), palette().color(QPalette::Highlight));
        }
        painter.setPen(palette().color(inside_ ? QPalette::HighlightedText : QPalette::Text));
        painter.drawText(QRect(18, 2, 254, 16), Qt::AlignLeft | Qt::AlignVCenter, text_);
    }
    void mousePressEvent(QMouseEvent* event) override {
        pressedAt_ = event->position();
        dragging_ = false;
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (dragging_ || !(event->buttons() & Qt::LeftButton)) {
            return;
        }
        const QPointF moved = event->position() - pressedAt_;
        if (std::hypot(moved.x(), moved.y()) <= 4.0) {
            return;
        }
        dragging_ = true;
        menu_.close();
        auto* drag = new QDrag(this);
        auto* file = new QMimeData;
        file->setUrls({QUrl::fromLocalFile(path_)});
        drag->setMimeData(file);
        drag->setPixmap(QIcon::fromTheme(QStringLiteral("image-x-generic")).pixmap(32, 32));
        drag->exec(Qt::CopyAction);
    }
    void mouseReleaseEvent(QMouseEvent*) override {
        if (dragging_) {
            return;
        }
        menu_.close();
        QDesktopServices::openUrl(QUrl::fromLocalFile(path_));
    }

  private:
    QString path_;
    QMenu& menu_;
    QString text_;
    QPointF pressedAt_;
    bool dragging_ = false;
    bool inside_ = false;
};

// The display's rectangle in device pixels: Qt keeps a screen's top-left corner in device
// pixels and scales only its size.
QRect devicePixels(const QScreen& screen) {
    const QRect g = screen.geometry();
    return {g.topLeft(), (QSizeF(g.size()) * screen.devicePixelRatio()).toSize()};
}

std::expected<std::filesystem::path, Failure> resolvedFolder(const std::string& folder) {
    std::filesystem::path path;
    if (folder.empty()) {
        const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
        path = std::filesystem::path(
                   (pictures.isEmpty() ? QDir::homePath() : pictures).toStdString()) /
               "Scrawlet";
    } else if (folder == "~" || folder.starts_with("~/")) {
        path = QDir::homePath().toStdString() + folder.substr(1);
    } else {
        path = folder;
    }
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        return std::unexpected(
            Failure{Failure::Kind::writeFailed, path.string() + ": " + error.message()});
    }
    return path;
}

}  // namespace

struct Screenshots::Job {
    QRect screen;
    std::optional<core::PixelRect> crop;
    QPointer<ink::InkView> view;
    QRectF flashRect;  // in the view
    std::string folder;
    double startedAt = 0;
    std::optional<Failure> failure;
    QByteArray png;
    int width = 0;
    int height = 0;
    std::string path;
};

Screenshots::Screenshots(const DrawConfig& config, InkSurfaces& surfaces, StatusMenu& menu,
                         platform::WindowPlacer* placer, Host host)
    : config_(config), surfaces_(surfaces), menu_(menu), placer_(placer), host_(std::move(host)) {
    menu_.setSection([this](QMenu& m) { addSection(m); });
}

Screenshots::~Screenshots() {
    menu_.setSection({});
}

std::string Screenshots::folder() const {
    return config_.settingsWithOverrides(config_.currentSettings()).capture.destinationFolder;
}

ink::Outcome Screenshots::takeScreenshot() {
    ink::InkView* view = surfaces_.viewUnderPointer();
    if (!view) {
        return ink::Outcome::nothingToDo("no display to capture");
    }
    return start(view, std::nullopt, std::nullopt);
}

ink::Outcome Screenshots::toggleRegionCapture() {
    bool cancelled = false;
    for (ink::InkView* view : surfaces_.views()) {
        if (view->isSelectingCaptureRegion()) {
            view->setOnRegionSelected({});
            view->setSelectingCaptureRegion(false);
            cancelled = true;
        }
    }
    if (cancelled) {
        return ink::Outcome::handled();
    }
    ink::InkView* view = surfaces_.viewUnderPointer();
    if (!view) {
        return ink::Outcome::nothingToDo("no display to capture");
    }
    QPointer<ink::InkView> target(view);
    // The view drops the handler once it has answered.
    view->setOnRegionSelected([this, target](const QRectF& rect) {
        if (!target) {
            return;
        }
        const auto pixels = core::pixelRectForViewRect(rect.x(), rect.y(), rect.width(),
                                                       rect.height(), target->devicePixelRatio());
        if (!pixels) {
            recordLine(core::screenshotEmptyRegionRecord());
            return;
        }
        ++pending_;
        QTimer::singleShot(kSettleMs, this, [this, target, pixels, rect] {
            --pending_;
            if (target) {
                start(target, pixels, rect);
            }
        });
    });
    const QString binding = host_.keyLabel ? host_.keyLabel(core::ActionID::captureRegion) : "";
    view->setSelectingCaptureRegion(true, binding.isEmpty()
                                              ? QStringLiteral("Drag to select a region")
                                              : QStringLiteral("Drag to select a region  ·  ") +
                                                    binding + QStringLiteral(" to cancel"));
    return ink::Outcome::handled();
}

ink::Outcome Screenshots::start(ink::InkView* view, std::optional<core::PixelRect> crop,
                                std::optional<QRectF> viewRect) {
    auto job = std::make_shared<Job>();
    job->crop = crop;
    job->view = view;
    job->flashRect = viewRect.value_or(QRectF(QPointF(0, 0), QSizeF(view->size())));
    job->folder = folder();
    job->startedAt = platform::monotonicSeconds();
    // Opened at the first screenshot: a run that takes none pays nothing for them.
    if (!opened_) {
        opened_ = true;
        reader_ = platform::createScreenReader();
        sound_ = platform::createSoundPlayer();
    }
    if (!reader_) {
        job->failure = Failure{Failure::Kind::unsupportedOS, {}};
    } else if (const QScreen* screen = view->screen()) {
        job->screen = devicePixels(*screen);
    } else {
        job->failure = Failure{Failure::Kind::displayNotFound, {}};
    }
    ++pending_;
    if (job->failure) {
        complete(job);
        return ink::Outcome::handled();
    }
    // A flash still fading from the last screenshot would whiten this one.
    bool flashing = false;
    for (const QPointer<QWindow>& window : flashes_) {
        if (window) {
            window->hide();
            window->deleteLater();
            flashing = true;
        }
    }
    flashes_.clear();
    if (flashing) {
        QTimer::singleShot(kSettleMs, this, [this, job] { read(job); });
    } else {
        read(job);
    }
    return ink::Outcome::handled();
}

void Screenshots::read(const std::shared_ptr<Job>& job) {
    QPointer<Screenshots> self(this);
    // Read, cut and encode off the main thread; the clipboard is the main thread's, then the
    // file is written off it again.
    QThreadPool::globalInstance()->start([job, self, reader = reader_] {
        auto image = reader->read(job->screen);
        if (!image) {
            job->failure = Failure{Failure::Kind::captureFailed, image.error()};
        } else if (const auto cut = core::cropRect(image->width(), image->height(), job->crop);
                   !cut) {
            job->failure = cut.error();
        } else {
            const QImage kept =
                job->crop ? image->copy(cut->x, cut->y, cut->width, cut->height) : *image;
            QBuffer buffer(&job->png);
            if (!buffer.open(QIODevice::WriteOnly) || !kept.save(&buffer, "PNG", kPngQuality)) {
                job->failure = Failure{Failure::Kind::encodingFailed, {}};
            }
            job->width = kept.width();
            job->height = kept.height();
        }
        QMetaObject::invokeMethod(qApp, [job, self] {
            if (!self) {
                return;
            }
            if (job->failure) {
                self->complete(job);
                return;
            }
            auto* data = new QMimeData;
            data->setData(QStringLiteral("image/png"), job->png);
            QGuiApplication::clipboard()->setMimeData(data);
            QThreadPool::globalInstance()->start([job, self] {
                const bool region = job->crop.has_value();
                if (auto folder = resolvedFolder(job->folder); !folder) {
                    job->failure = folder.error();
                } else {
                    const auto path =
                        *folder / core::screenshotFileName(region, std::chrono::system_clock::now(),
                                                           core::nextScreenshotSequence());
                    platform::AtomicWriteOptions options;
                    options.permissions = 0666;
                    options.applyUmask = true;
                    if (auto written = platform::writeFileAtomically(
                            path, std::string_view(job->png.constData(), size_t(job->png.size())),
                            options);
                        !written) {
                        job->failure = Failure{Failure::Kind::writeFailed, written.error()};
                    }
                    job->path = path.string();
                }
                QMetaObject::invokeMethod(qApp, [job, self] {
                    if (self) {
                        self->complete(job);
                    }
                });
            });
        });
    });
}

void Screenshots::complete(const std::shared_ptr<Job>& job) {
    --pending_;
    const double durationMs = (platform::monotonicSeconds() - job->startedAt) * 1000;
    if (job->failure) {
        recordLine(core::screenshotFailureRecord(job->failure->description(), durationMs));
        return;
    }
    if (sound_) {
        sound_->play("screen-capture");
    }
    if (job->view) {
        flash(*job->view, job->flashRect);
    }
    record({job->path, std::chrono::system_clock::now(), job->width, job->height});
    recordLine(core::screenshotSuccessRecord(job->path, job->width, job->height, durationMs));
}

void Screenshots::flash(ink::InkView& view, const QRectF& rect) {
    const QRect global = rect.toAlignedRect().translated(view.geometry().topLeft());
    auto* window = new FlashWindow(global);
    window->start(placer_, overlayPlacement(config_, true));
    std::erase_if(flashes_, [](const QPointer<QWindow>& w) { return !w; });
    flashes_.emplace_back(window);
}

void Screenshots::record(const core::CaptureHistory::Entry& entry) {
    if (!history_) {
        const int limit =
            config_.settingsWithOverrides(config_.currentSettings()).capture.historyCount;
        history_ = std::make_unique<core::CaptureHistory>(limit, [this] {
            menu_.rebuild();
            recordLine(core::captureHistoryRecord(*history_));
        });
    }
    history_->add(entry);
    if (config_.captureHistoryDragTest) {
        // What a drag out of the menu would hand over.
        auto* data = new QMimeData;
        data->setUrls({QUrl::fromLocalFile(QString::fromStdString(entry.path))});
        QGuiApplication::clipboard()->setMimeData(data);
        recordLine(core::captureHistoryDragRecord(entry.path));
    }
}

void Screenshots::addSection(QMenu& menu) {
    menu.addAction(QStringLiteral("Recent Captures"))->setEnabled(false);
    if (!history_ || history_->entries().empty()) {
        menu.addAction(QStringLiteral("No captures yet"))->setEnabled(false);
        return;
    }
    for (const auto& entry : history_->entries()) {
        auto* item = new QWidgetAction(&menu);
        item->setDefaultWidget(new HistoryItem(entry, menu));
        menu.addAction(item);
    }
    connect(menu.addAction(QStringLiteral("Clear Capture History")), &QAction::triggered, this,
            [this] {
                if (history_) {
                    history_->clear();
                }
            });
}

void Screenshots::runTrials(std::int64_t count) {
    if (count <= 0) {
        host_.finish("captureHistoryTrials");
        return;
    }
    (void)takeScreenshot();
    const auto next = [this, count](const auto& again) -> void {
        if (pending_ > 0) {
            QTimer::singleShot(kRecheckMs, this, [again] { again(again); });
            return;
        }
        runTrials(count - 1);
    };
    next(next);
}

}  // namespace scrawlet::shell
