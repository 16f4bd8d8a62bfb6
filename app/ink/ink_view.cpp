#include "app/ink/ink_view.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QScreen>
#include <cmath>

#include "app/ink/overlay_compositor.h"
#include "app/ink/overlay_layout.h"
#include "app/ink/stroke_renderer.h"
#include "app/log/frontmost_log.h"
#include "app/platform/monotonic_clock.h"

namespace scrawlet::ink {
namespace {

constexpr double kTransientHintSeconds = 1.4;
constexpr double kHintFadeInSeconds = 0.12;
constexpr double kHintFadeOutSeconds = 0.18;
constexpr int kCaretBlinkMilliseconds = 500;

QFont textFont(const core::StrokeStyle& style, double zoom) {
    QFont font = QGuiApplication::font();
    font.setPointSizeF(std::max(1.0, style.textFontSizePoints() * zoom));
    return font;
}

QColor textColour(const core::StrokeStyle& style) {
    const double alpha = style.colour.alpha / 255.0 * std::clamp(style.opacity, 0.0, 1.0);
    return QColor::fromRgbF(static_cast<float>(style.colour.red / 255.0),
                            static_cast<float>(style.colour.green / 255.0),
                            static_cast<float>(style.colour.blue / 255.0),
                            static_cast<float>(alpha));
}

// Size of a multi-line label laid out with `font`: lines are clipped, never wrapped.
QSizeF labelSize(const QString& text, const QFont& font) {
    const QFontMetricsF metrics(font);
    const QStringList lines = text.split(QLatin1Char('\n'));
    double width = 0;
    for (const QString& line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    return {width, metrics.lineSpacing() * static_cast<double>(lines.size())};
}

std::optional<core::ChordKey> chordKeyOf(int key) {
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        return static_cast<core::ChordKey>(static_cast<int>(core::ChordKey::a) + (key - Qt::Key_A));
    }
    if (key >= Qt::Key_0 && key <= Qt::Key_9) {
        return core::named<core::ChordKey>(
            std::string(1, static_cast<char>('0' + key - Qt::Key_0)));
    }
    switch (key) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return core::ChordKey::return_;
        case Qt::Key_Backspace:
            return core::ChordKey::delete_;
        default:
            return std::nullopt;
    }
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
    : QWindow(screen),
      canvas_(options.capacities, options.style),
      transform_(options.transform),
      instanceStorage_(static_cast<std::size_t>(options.capacities.pointCapacity +
                                                options.capacities.strokeCapacity)),
      builder_(instanceStorage_.data(), static_cast<int>(instanceStorage_.size()),
               options.capacities.strokeCapacity),
      scheduler_(1.0 / std::max(1.0, screen ? screen->refreshRate() : 60.0)) {
    clock_.start();
    setSurfaceType(QSurface::OpenGLSurface);
    QSurfaceFormat format;
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setAlphaBufferSize(8);
    format.setSwapInterval(1);
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    setFormat(format);
    canvas_.setListener(this);
    canvas_.setTextMeasure(
        [this](int index, const core::TextSpan& span) { return measureText(index, span); });
    canvas_.setTool(options.tool, 0);
    tickTimer_.setSingleShot(true);
    tickTimer_.setTimerType(Qt::PreciseTimer);
    connect(&tickTimer_, &QTimer::timeout, this, [this] { tick(); });
    hintTimer_.setSingleShot(true);
    connect(&hintTimer_, &QTimer::timeout, this, [this] { hideHint(); });
    caretBlinkTimer_.setInterval(kCaretBlinkMilliseconds);
    connect(&caretBlinkTimer_, &QTimer::timeout, this, [this] {
        caretBarShown_ = !caretBarShown_;
        overlaysChanged();
    });
}

InkView::~InkView() {
    if (context_ && context_->makeCurrent(this)) {
        renderer_.reset();
        compositor_.reset();
        context_->doneCurrent();
    }
}

bool InkView::initialiseGraphics() {
    QWindow::create();
    context_ = new QOpenGLContext(this);
    context_->setFormat(requestedFormat());
    if (!context_->create() || context_->format().version() < qMakePair(3, 3) ||
        !context_->makeCurrent(this)) {
        return false;
    }
    renderer_ = StrokeRenderer::create(builder_.instanceCapacity());
    compositor_ = OverlayCompositor::create();
    context_->doneCurrent();
    return renderer_ && compositor_;
}

double InkView::now() const {
    return platform::monotonicSeconds();
}

core::ContentPoint InkView::contentPoint(const QPointF& position) const {
    return transform_.contentPoint(core::ViewportPoint{position.x(), position.y()});
}

void InkView::setTool(core::Tool tool) {
    canvas_.setTool(tool, now());
    applyCursor();
}

void InkView::setTimeToLive(std::optional<double> seconds) {
    canvas_.setTimeToLive(seconds);
    frameRequested();
}

void InkView::setCursorEnabled(bool enabled) {
    cursorEnabled_ = enabled;
    applyCursor();
}

void InkView::setSelectingCaptureRegion(bool selecting) {
    selectingRegion_ = selecting;
    if (!selecting) {
        regionOrigin_.reset();
        regionRect_ = {};
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

void InkView::prewarm() {
    canvas_.prewarm(transform_.origin());
    builder_.sync(canvas_.scene(), transform_);
    builder_.reset();
    uploadedInstances_ = 0;
}

void InkView::stop() {
    canvas_.stop();
    tickTimer_.stop();
}

void InkView::frameRequested() {
    scheduler_.requestFrame();
    scheduleTick();
}

void InkView::textItemsChanged() {
    overlaysChanged();
}
void InkView::selectionChanged() {
    overlaysChanged();
}
void InkView::textSessionChanged() {
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

void InkView::scheduleTick() {
    if (!scheduler_.isRunning() || !canvas_.isLive()) {
        return;
    }
    const double wait = scheduler_.nextTickTime() - now();
    const int milliseconds = wait <= 0 ? 0 : static_cast<int>(std::ceil(wait * 1000));
    if (!tickTimer_.isActive() || tickTimer_.remainingTime() > milliseconds) {
        tickTimer_.start(milliseconds);
    }
}

void InkView::tick() {
    const double time = now();
    if (scheduler_.tick(time, canvas_.isFading(time)) == FrameScheduler::TickOutcome::draw) {
        render();
    }
    scheduleTick();
}

void InkView::drawIfDue() {
    if (scheduler_.hasPendingInput() && scheduler_.nextTickTime() <= now()) {
        tickTimer_.stop();
        tick();
    }
}

void InkView::render() {
    const double time = now();
    if (!isExposed() || !context_->makeCurrent(this)) {
        scheduler_.frameFinished(time, false);
        return;
    }
    const auto rebuilds = builder_.rebuildCount();
    builder_.setLiveBirth(canvas_.liveBirth());
    builder_.sync(canvas_.scene(), transform_);
    builder_.syncLive(canvas_.liveShape(), transform_);
    // A rebuild rewrites from the start; otherwise only what was appended is new.
    if (builder_.rebuildCount() != rebuilds) {
        uploadedInstances_ = 0;
    }
    const qreal ratio = devicePixelRatio();
    const QSize pixels(static_cast<int>(width() * ratio), static_cast<int>(height() * ratio));
    // While the hint fades, its opacity changes every frame and the overlay with it.
    const double opacity = hintText_.isEmpty() ? 1.0 : hintOpacity(time);
    const bool hintFading = !hintText_.isEmpty() && (hintHidingSince_ || opacity < 1.0);
    if (hintHidingSince_ && opacity <= 0) {
        hintText_.clear();
        hintHidingSince_.reset();
    }
    if (overlaysDirty_ || hintFading) {
        // Nothing to show costs nothing: a full-screen quad is most of an empty frame's time.
        compositor_->upload(rasteriseOverlays(opacity) ? overlayImage_ : QImage());
        overlaysDirty_ = false;
    }
    renderer_->draw(builder_.instances(), uploadedInstances_, builder_.runs(),
                    builder_.liveInstanceCount(), builder_.liveBlend(),
                    FadeUniform::at(time, canvas_.timeToLive()), pixels);
    uploadedInstances_ = builder_.instanceCount();
    compositor_->draw();
    context_->swapBuffers(this);
    scheduler_.frameFinished(time, true);
    if (onFrameSwapped_) {
        onFrameSwapped_(now(), canvas_.eventCount());
    }
    if (hintFading) {
        frameRequested();
    }
}

core::ContentRect InkView::measureText(int index, const core::TextSpan& span) const {
    (void)index;
    const QFont font = textFont(span.style, 1.0);
    const QSizeF size = labelSize(QString::fromStdString(span.text), font);
    const double lineHeight = QFontMetricsF(font).lineSpacing();
    return {span.position.x, span.position.y - lineHeight, size.width(), size.height()};
}

bool InkView::rasteriseOverlays(double hintOpacity) {
    const core::TextScene& texts = canvas_.textScene();
    bool anyText = false;
    for (int i = 0; i < texts.visibleCount() && !anyText; ++i) {
        anyText = texts.isVisible(i) && !texts.span(i).text.empty();
    }
    if (!anyText && !canvas_.textSession() && !canvas_.selectionOutline() && !regionOrigin_ &&
        hintText_.isEmpty() && fiducials_.empty()) {
        return false;
    }
    const qreal ratio = devicePixelRatio();
    const QSize pixels(static_cast<int>(width() * ratio), static_cast<int>(height() * ratio));
    if (overlayImage_.size() != pixels) {
        overlayImage_ = QImage(pixels, QImage::Format_RGBA8888_Premultiplied);
    }
    overlayImage_.setDevicePixelRatio(ratio);
    overlayImage_.fill(Qt::transparent);
    QPainter painter(&overlayImage_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    if (!fiducials_.empty()) {
        const auto& rgb = core::fiducials::kRGB;
        const double half = core::fiducials::kSizePoints / 2;
        for (const auto& mark : fiducials_) {
            const core::ViewportPoint centre = transform_.viewportPoint(mark.centre);
            painter.fillRect(QRectF(centre.x - half, centre.y - half, 2 * half, 2 * half),
                             QColor(rgb[0], rgb[1], rgb[2]));
        }
    }

    const auto drawLabel = [&](const core::TextSpan& span, const QString& text) {
        const QFont font = textFont(span.style, transform_.zoom());
        const QFontMetricsF metrics(font);
        const auto topLeft = labelTopLeft(span.position, transform_, metrics.lineSpacing());
        painter.setFont(font);
        painter.setPen(textColour(span.style));
        double y = topLeft.y + metrics.ascent();
        for (const QString& line : text.split(QLatin1Char('\n'))) {
            painter.drawText(QPointF(topLeft.x, y), line);
            y += metrics.lineSpacing();
        }
        const QSizeF size = labelSize(text, font);
        return ViewRect{topLeft.x, topLeft.y, size.width(), size.height()};
    };

    const auto& session = canvas_.textSession();
    for (int i = 0; i < texts.count(); ++i) {
        const bool editing = session && session->reeditingIndex == i;
        if (texts.isVisible(i) && !editing) {
            drawLabel(texts.span(i), QString::fromStdString(texts.span(i).text));
        }
    }
    if (session) {
        const core::TextSpan live(session->origin, session->buffer, session->style, 0);
        const QString text = QString::fromStdString(session->buffer);
        const ViewRect label = drawLabel(live, text);
        const QFont font = textFont(session->style, transform_.zoom());
        const QFontMetricsF metrics(font);
        const QString lastLine = text.section(QLatin1Char('\n'), -1);
        const CaretGeometry caret =
            caretGeometry(label, metrics.horizontalAdvance(lastLine), metrics.lineSpacing());
        QColor colour = textColour(session->style);
        painter.save();
        painter.translate(caret.frame.x, caret.frame.y);
        QColor boxColour = colour;
        boxColour.setAlphaF(0.85f);
        QPen dashed(boxColour, 1);
        dashed.setDashPattern({4, 3});
        painter.setPen(dashed);
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(caret.box.x, caret.box.y, caret.box.width, caret.box.height),
                                3, 3);
        if (caretBarShown_) {
            painter.fillRect(QRectF(caret.bar.x, caret.bar.y, caret.bar.width, caret.bar.height),
                             colour);
        }
        painter.restore();
    }
    if (const auto outline = canvas_.selectionOutline()) {
        const auto topLeft = transform_.viewportPoint({outline->x, outline->y});
        QPen dashed(QGuiApplication::palette().highlight().color(), 1.5);
        dashed.setDashPattern({6 / 1.5, 4 / 1.5});
        painter.setPen(dashed);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(topLeft.x, topLeft.y, outline->width * transform_.zoom(),
                                outline->height * transform_.zoom()));
    }
    if (regionOrigin_) {
        painter.setPen(QPen(Qt::white, 1));
        painter.setBrush(QColor(255, 255, 255, 30));
        painter.drawRect(regionRect_);
    }
    if (!hintText_.isEmpty()) {
        QFont font = QGuiApplication::font();
        font.setPointSizeF(15);
        const ViewRect host{0, 0, static_cast<double>(width()), static_cast<double>(height())};
        const QRectF bounds =
            QFontMetricsF(font).boundingRect(QRectF(0, 0, hintMaximumTextWidth(host), 1e4),
                                             Qt::AlignHCenter | Qt::TextWordWrap, hintText_);
        const ViewRect bubble = hintBubble(host, bounds.width(), bounds.height());
        painter.setOpacity(hintOpacity);
        const QRectF bubbleRect(bubble.x, bubble.y, bubble.width, bubble.height);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromRgbF(0.08f, 0.08f, 0.08f, 0.82f));
        painter.drawRoundedRect(bubbleRect, 9, 9);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(bubbleRect, Qt::AlignCenter | Qt::TextWordWrap, hintText_);
    }
    return true;
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

void InkView::exposeEvent(QExposeEvent*) {
    if (isExposed()) {
        overlaysChanged();
    }
}

void InkView::resizeEvent(QResizeEvent*) {
    overlaysChanged();
}

void InkView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        canvas_.hardClear();
        builder_.reset();
        uploadedInstances_ = 0;
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
    drawIfDue();
}

void InkView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || selectingRegion_) {
        return;
    }
    leftButtonDown_ = true;
    canvas_.pointerDown(contentPoint(event->position()), modifiersOf(event), 2, now());
    drawIfDue();
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
    drawIfDue();
}

void InkView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    leftButtonDown_ = false;
    if (selectingRegion_) {
        if (regionOrigin_ && onRegionSelected_) {
            onRegionSelected_(QRectF(*regionOrigin_, event->position()).normalized());
        }
        setSelectingCaptureRegion(false);
        return;
    }
    canvas_.pointerUp(contentPoint(event->position()), modifiersOf(event), now());
    drawIfDue();
}

void InkView::keyPressEvent(QKeyEvent* event) {
    if (!canvas_.textSession()) {
        QWindow::keyPressEvent(event);
        return;
    }
    const auto modifiers = event->modifiers();
    if (modifiers.testFlag(Qt::ControlModifier) || modifiers.testFlag(Qt::MetaModifier)) {
        if (const auto key = chordKeyOf(event->key()); key && onTypingChord_) {
            core::Chord chord;
            chord.key = *key;
            if (modifiers.testFlag(Qt::ControlModifier))
                chord.modifiers |= core::Chord::Modifiers::control;
            if (modifiers.testFlag(Qt::MetaModifier))
                chord.modifiers |= core::Chord::Modifiers::command;
            if (modifiers.testFlag(Qt::ShiftModifier))
                chord.modifiers |= core::Chord::Modifiers::shift;
            if (modifiers.testFlag(Qt::AltModifier))
                chord.modifiers |= core::Chord::Modifiers::option;
            if (onTypingChord_(chord)) {
                return;
            }
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
