#include "app/ink/ink_view.h"

#include <QBackingStore>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <array>
#include <cmath>

#include "app/ink/gl_ink_target.h"
#include "app/ink/pixel_ink_target.h"
#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"
#include "app/shortcuts/key_chord.h"

namespace scrawlet::ink {
namespace {

constexpr double kTransientHintSeconds = 1.4;
constexpr double kHintFadeInSeconds = 0.12;
constexpr double kHintFadeOutSeconds = 0.18;
constexpr int kCaretBlinkMilliseconds = 500;

// Births and fade times are kept relative to this, taken when the first view is made.
double processEpoch() {
    static const double epoch = platform::monotonicSeconds();
    return epoch;
}

PointerModifiers modifiersOf(const QInputEvent* event) {
    return {event->modifiers().testFlag(Qt::ShiftModifier),
            event->modifiers().testFlag(Qt::AltModifier)};
}

}  // namespace

std::unique_ptr<InkView> InkView::create(QScreen* screen, const QRect& geometry,
                                         const Options& options) {
    std::unique_ptr<InkView> view(new InkView(screen, options));
    view->setFlags(options.flags);
    view->setGeometry(geometry);
    if (!view->initialiseGraphics()) {
        return nullptr;
    }
    return view;
}

InkView::InkView(QScreen* screen, const Options& options)
    : gl::FramePanel(screen, options.presentPath),
      canvas_(options.capacities, options.style),
      transform_(options.transform),
      layer_(options.capacities.pointCapacity + options.capacities.strokeCapacity,
             options.capacities.strokeCapacity) {
    // Merged motions would lose the points of a stroke between them.
    QGuiApplication::setAttribute(Qt::AA_CompressHighFrequencyEvents, false);
    QGuiApplication::setAttribute(Qt::AA_CompressTabletEvents, false);
    layer_.builder().setEpoch(processEpoch());
    canvas_.setListener(this);
    canvas_.setTextMeasure(
        [this](int index, const core::TextSpan& span) { return measureText(index, span); });
    canvas_.setTool(options.tool, 0);
    hintTimer_.setSingleShot(true);
    hintTimer_.setTimerType(Qt::PreciseTimer);
    connect(&hintTimer_, &QTimer::timeout, this, [this] { hideHint(); });
    caretBlinkTimer_.setInterval(kCaretBlinkMilliseconds);
    connect(&caretBlinkTimer_, &QTimer::timeout, this, [this] {
        caretBarShown_ = !caretBarShown_;
        overlaysChanged();
    });
}

InkView::~InkView() = default;

bool InkView::initialiseGraphics() {
    QWindow::create();
    if (presentPath() == platform::PresentPath::software) {
        // Straight to the window where its visual allows; Qt's backing store otherwise.
        pixelPresenter_ = platform::createPixelPresenter(*this);
        backingStore_ = std::make_unique<QBackingStore>(this);
        pixelTarget_ = std::make_unique<PixelInkTarget>(
            [this](const PixelBuffer& frame, std::span<const PixelRect> rects) {
                presentPixels(frame, rects);
            });
        return true;
    }
    glTarget_ = GlInkTarget::create(*this, layer_.builder().instanceCapacity(), presentPath());
    return glTarget_ != nullptr;
}

core::ContentPoint InkView::contentPoint(const QPointF& position) const {
    return transform_.contentPoint(core::ViewportPoint{position.x(), position.y()});
}

PixelRect InkView::pixelBounds() const {
    const qreal ratio = devicePixelRatio();
    return {0, 0, static_cast<int>(width() * ratio), static_cast<int>(height() * ratio)};
}

void InkView::setTool(core::Tool tool) {
    canvas_.setTool(tool, now());
    applyCursor();
}

void InkView::setTimeToLive(std::optional<double> seconds) {
    canvas_.setTimeToLive(seconds);
    // Ink and labels older than the new time to live go at once, wherever they are.
    layer_.invalidate();
    overlaysChanged();
}

void InkView::setCursorEnabled(bool enabled) {
    cursorEnabled_ = enabled;
    applyCursor();
}

void InkView::setSelectingCaptureRegion(bool selecting, const QString& hint) {
    const bool was = selectingRegion_;
    selectingRegion_ = selecting;
    if (selecting && !hint.isEmpty()) {
        showHint(hint, true);
    }
    if (!selecting) {
        regionOrigin_.reset();
        regionRect_ = {};
        // At once, not faded: the screenshot that follows must not catch it.
        if (was) {
            hintTimer_.stop();
            hintText_.clear();
            hintHidingSince_.reset();
        }
    }
    overlaysChanged();
    applyCursor();
}

void InkView::reanchor(const core::DisplayTransform& transform) {
    transform_ = transform;
    if (!fiducials_.empty()) {
        installFiducials();
    }
    overlaysChanged();
}

void InkView::installFiducials() {
    fiducials_ = core::fiducials::marks(transform_, width(), height());
    overlaysChanged();
}

void InkView::showHint(const QString& text, bool sticky) {
    if (!isVisible()) {
        return;
    }
    hintText_ = text;
    hintShownAt_ = now();
    hintHidingSince_.reset();
    if (sticky) {
        hintTimer_.stop();
    } else {
        hintTimer_.start(static_cast<int>(kTransientHintSeconds * 1000));
    }
    overlaysChanged();
}

void InkView::hideHint() {
    hintTimer_.stop();
    if (!hintText_.isEmpty() && !hintHidingSince_) {
        hintHidingSince_ = now();
        overlaysChanged();
    }
}

double InkView::hintOpacity(double time) const {
    if (hintHidingSince_) {
        return std::clamp(1.0 - (time - *hintHidingSince_) / kHintFadeOutSeconds, 0.0, 1.0);
    }
    return std::clamp((time - hintShownAt_) / kHintFadeInSeconds, 0.0, 1.0);
}

OverlayDecorations InkView::decorations(double time) const {
    OverlayDecorations result;
    result.hintText = hintText_;
    result.hintOpacity = hintText_.isEmpty() ? 1.0 : hintOpacity(time);
    result.caretBarShown = caretBarShown_;
    if (regionOrigin_)
        result.marquee = regionRect_;
    result.fiducials = fiducials_;
    if (!hintText_.isEmpty() && hintKeepClear_) {
        if (const auto area = hintKeepClear_()) {
            result.hintKeepClear = QRectF(area->translated(-geometry().topLeft()));
        }
    }
    result.now = time;
    return result;
}

void InkView::prewarm() {
    canvas_.prewarm(transform_.origin());
    layer_.builder().sync(canvas_.scene(), transform_);
    layer_.reset();
}

void InkView::stop() {
    canvas_.stop();
    stopFrames();
    caretBlinkTimer_.stop();
}

void InkView::frameRequested() {
    requestFrame();
}

void InkView::textItemsChanged() {
    overlaysChanged();
}
void InkView::selectionChanged() {
    overlaysChanged();
}
void InkView::textSessionChanged() {
    // The bar shows solid after each keystroke and blinks only while a session is open.
    caretBarShown_ = true;
    if (canvas_.textSession()) {
        caretBlinkTimer_.start();
    } else {
        caretBlinkTimer_.stop();
    }
    overlaysChanged();
}

bool InkView::captureKeyboard() {
    return setKeyboardGrabEnabled(true);
}
void InkView::releaseKeyboard() {
    setKeyboardGrabEnabled(false);
}

void InkView::overlaysChanged() {
    overlaysDirty_ = true;
    frameRequested();
}

bool InkView::isAnimating(double time) const {
    return canvas_.isFading(time);
}

void InkView::invalidate() {
    layer_.invalidate();
    overlaysDirty_ = true;
}

bool InkView::renderFrame(double time) {
    if (pixelPresenter_ && !pixelPresenter_->isReady()) {
        return false;  // the server is behind: this frame merges into the next
    }
    // While the hint fades, its opacity changes every frame and the bubble with it.
    const bool hintFading = !hintText_.isEmpty() && (hintHidingSince_ || hintOpacity(time) < 1.0);
    if (hintHidingSince_ && hintOpacity(time) <= 0) {
        hintText_.clear();
        hintHidingSince_.reset();
    }
    if (overlaysDirty_ || hintFading || canvas_.textOpacityChanges(overlayLaidOutAt_, time)) {
        const OverlayDecorations decorated = decorations(time);
        if (overlay_.update(canvas_, transform_, size(), devicePixelRatio(), decorated)) {
            overlay_.repaint(canvas_, transform_, decorated);
        }
        overlaysDirty_ = false;
        overlayLaidOutAt_ = time;
    }
    bool drawn = false;
    const InkLayer::Frame frame{canvas_,       transform_,        time,
                                pixelBounds(), overlay_.damage(), overlay_.itemRects()};
    if (glTarget_) {
        glTarget_->uploadOverlay(overlay_.image(), overlay_.damage());
        drawn = layer_.render(*glTarget_, frame);
    } else {
        pixelTarget_->setOverlay(overlay_.pixels());
        drawn = layer_.render(*pixelTarget_, frame);
    }
    overlay_.clearDamage();
    if (!drawn) {
        // The overlay's damage is gone with this frame: the retry draws everything.
        layer_.invalidate();
    }
    if (drawn && onFrameSwapped_) {
        onFrameSwapped_(now(), canvas_.eventCount());
    }
    if (hintFading || layer_.hasPendingRepaint()) {
        frameRequested();
    }
    return drawn;
}

void InkView::presentPixels(const PixelBuffer& frame, std::span<const PixelRect> rects) {
    if (pixelPresenter_) {
        pixelPresenter_->present(frame.pixels, frame.stride, frame.width, frame.height,
                                 PresentRects(rects).rects());
        return;
    }
    const qreal ratio = devicePixelRatio();
    if (backingStore_->size() != size()) {
        backingStore_->resize(size());
    }
    // The store clears what it is told will be painted, so exactly that is copied.
    QRegion region;
    for (const PixelRect& rect : rects) {
        const QRect points(QPoint(static_cast<int>(std::floor(rect.x / ratio)),
                                  static_cast<int>(std::floor(rect.y / ratio))),
                           QPoint(static_cast<int>(std::ceil(rect.right() / ratio)) - 1,
                                  static_cast<int>(std::ceil(rect.bottom() / ratio)) - 1));
        region += points & QRect(QPoint(0, 0), size());
    }
    backingStore_->beginPaint(region);
    QPaintDevice* device = backingStore_->paintDevice();
    auto* image =
        device && device->devType() == QInternal::Image ? static_cast<QImage*>(device) : nullptr;
    const auto pixelsOf = [ratio](const QRect& points) {
        return PixelRect::enclosing(points.x() * ratio, points.y() * ratio,
                                    (points.x() + points.width()) * ratio,
                                    (points.y() + points.height()) * ratio);
    };
    if (image && image->format() == QImage::Format_ARGB32_Premultiplied) {
        const PixelBuffer store{reinterpret_cast<std::uint32_t*>(image->bits()),
                                static_cast<int>(image->bytesPerLine() / 4), image->width(),
                                image->height()};
        for (const QRect& points : region) copyPixels(store, frame, pixelsOf(points));
    } else if (device) {
        // A store without alpha (no compositing visual): let QPainter convert.
        const QImage source(reinterpret_cast<const uchar*>(frame.pixels), frame.width, frame.height,
                            frame.stride * 4, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(device);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        for (const QRect& points : region) {
            const PixelRect r = pixelsOf(points);
            painter.drawImage(QRectF(points), source, QRect(r.x, r.y, r.width, r.height));
        }
    }
    backingStore_->endPaint();
    backingStore_->flush(region);
}

core::ContentRect InkView::measureText(int index, const core::TextSpan& span) const {
    (void)index;
    const QFont font = textFont(span.style, 1.0);
    const QSizeF size = labelSize(QString::fromStdString(span.text), font);
    const double lineHeight = QFontMetricsF(font).lineSpacing();
    return {span.position.x, span.position.y - lineHeight, size.width(), size.height()};
}

bool InkView::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::Enter:
            pointerInside_ = true;
            applyCursor();
            break;
        case QEvent::Leave:
            pointerInside_ = false;
            applyCursor();
            break;
        default:
            break;
    }
    return QWindow::event(event);
}

void InkView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        canvas_.hardClear();
        layer_.reset();
        frameRequested();
        return;
    }
    if (event->button() != Qt::LeftButton) {
        return;
    }
    leftButtonDown_ = true;
    if (selectingRegion_) {
        regionOrigin_ = event->position();
        regionRect_ = QRectF(event->position(), QSizeF(0, 0));
        overlaysChanged();
        return;
    }
    canvas_.pointerDown(contentPoint(event->position()), modifiersOf(event), 1, now());
}

// Qt delivers the second press of a double click and then this event: the press already
// began a stroke, so only the select tool, which re-edits text on a double click, hears it.
void InkView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || selectingRegion_ ||
        canvas_.tool() != core::Tool::select) {
        return;
    }
    leftButtonDown_ = true;
    canvas_.pointerDown(contentPoint(event->position()), modifiersOf(event), 2, now());
}

void InkView::mouseMoveEvent(QMouseEvent* event) {
    // Motion proves the pointer is inside even when no enter event came first.
    if (!pointerInside_) {
        pointerInside_ = true;
        applyCursor();
    }
    if (!leftButtonDown_) {
        return;
    }
    if (selectingRegion_) {
        if (regionOrigin_) {
            regionRect_ = QRectF(*regionOrigin_, event->position()).normalized();
            overlaysChanged();
        }
        return;
    }
    canvas_.pointerDrag(contentPoint(event->position()), modifiersOf(event));
}

void InkView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    leftButtonDown_ = false;
    if (selectingRegion_) {
        // Taken out first: a selection is answered once, and the handler may set another.
        if (auto selected = std::exchange(onRegionSelected_, {}); regionOrigin_ && selected) {
            selected(QRectF(*regionOrigin_, event->position()).normalized());
        }
        setSelectingCaptureRegion(false);
        return;
    }
    canvas_.pointerUp(contentPoint(event->position()), modifiersOf(event), now());
}

void InkView::keyPressEvent(QKeyEvent* event) {
    if (!canvas_.textSession()) {
        QWindow::keyPressEvent(event);
        return;
    }
    const auto modifiers = event->modifiers();
    if (modifiers.testFlag(Qt::ControlModifier) || modifiers.testFlag(Qt::MetaModifier)) {
        if (const auto chord = shortcuts::chordFromQtKey(event->key(), modifiers);
            chord && onTypingChord_ && onTypingChord_(*chord)) {
            return;
        }
        event->ignore();
        return;
    }
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            canvas_.typeKey({TextKey::Kind::lineFeed, {}}, now());
            break;
        case Qt::Key_Backspace:
            canvas_.typeKey({TextKey::Kind::backspace, {}}, now());
            break;
        case Qt::Key_Escape:
            canvas_.typeKey({TextKey::Kind::escape, {}}, now());
            break;
        default:
            canvas_.typeKey({TextKey::Kind::characters, event->text().toStdString()}, now());
    }
}

void InkView::applyCursor() {
    if (!cursorEnabled_ || !pointerInside_) {
        return;
    }
    Qt::CursorShape shape = Qt::ArrowCursor;
    const char* name = "arrow";
    if (overControlPanel_ && overControlPanel_()) {
        shape = Qt::ArrowCursor;
    } else if (selectingRegion_) {
        shape = Qt::CrossCursor;
        name = "crosshair";
    } else {
        switch (core::cursor(canvas_.tool())) {
            case core::ToolCursor::crosshair:
                shape = Qt::CrossCursor;
                name = "crosshair";
                break;
            case core::ToolCursor::iBeam:
                shape = Qt::IBeamCursor;
                name = "iBeam";
                break;
            case core::ToolCursor::arrow:
                break;
        }
    }
    if (appliedCursor_ == shape) {
        return;
    }
    appliedCursor_ = shape;
    setCursor(shape);
    log::FrontmostLog::shared().record("cursorChanged", std::nullopt,
                                       std::string("cursor=") + name +
                                           " tool=" + std::string(core::rawValue(canvas_.tool())) +
                                           " enabled=" + (cursorEnabled_ ? "true" : "false") +
                                           " inside=" + (pointerInside_ ? "true" : "false"));
}

}  // namespace scrawlet::ink
