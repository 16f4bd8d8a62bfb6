#include "app/ink/ink_overlay.h"

#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <algorithm>
#include <cmath>
#include <functional>

#include "app/ink/ink_canvas.h"
#include "app/ink/overlay_layout.h"

namespace scrawlet::ink {
namespace {

constexpr double kHintFontPixels = 15;
constexpr double kHintCornerRadius = 9;
constexpr double kHintBackgroundAlpha = 0.82;
constexpr double kHintBackgroundGrey = 0.08;
constexpr double kCaretBoxAlpha = 0.85;
constexpr double kCaretBoxDashOn = 4;
constexpr double kCaretBoxDashOff = 3;
constexpr double kCaretBoxCornerRadius = 3;
constexpr double kOutlineWidth = 1.5;
constexpr double kOutlineDashOn = 6;
constexpr double kOutlineDashOff = 4;
constexpr int kMarqueeFillAlpha = 30;
// Antialiased edges and pens reach a little beyond an item's frame.
constexpr double kEdgeMarginPixels = 2;
// Glyphs may overhang their advance box by a part of the font size.
constexpr double kGlyphOverhang = 0.25;

QColor textColour(const core::StrokeStyle& style) {
    const double alpha = style.colour.alpha / 255.0 * std::clamp(style.opacity, 0.0, 1.0);
    return QColor::fromRgbF(static_cast<float>(style.colour.red / 255.0),
                            static_cast<float>(style.colour.green / 255.0),
                            static_cast<float>(style.colour.blue / 255.0),
                            static_cast<float>(alpha));
}

// Opacity as the 8-bit level it is drawn with: a label repaints only when that changes.
std::size_t opacityLevel(double opacity) {
    return static_cast<std::size_t>(std::lround(std::clamp(opacity, 0.0, 1.0) * 255));
}

std::size_t combine(std::size_t seed, std::size_t value) {
    return seed ^ (value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

std::size_t styleKey(const core::StrokeStyle& style) {
    std::size_t key = std::hash<double>{}(style.widthContentUnits);
    key = combine(key, std::hash<double>{}(style.opacity));
    return combine(key, static_cast<std::size_t>(style.colour.red) << 24 |
                            static_cast<std::size_t>(style.colour.green) << 16 |
                            static_cast<std::size_t>(style.colour.blue) << 8 | style.colour.alpha);
}

QRectF labelFrame(const core::TextSpan& span, const QString& text,
                  const core::DisplayTransform& transform) {
    const QFont font = textFont(span.style, transform.zoom());
    const auto topLeft = labelTopLeft(span.position, transform, QFontMetricsF(font).lineSpacing());
    return {QPointF(topLeft.x, topLeft.y), labelSize(text, font)};
}

QFont hintFont() {
    QFont font = QGuiApplication::font();
    font.setPixelSize(static_cast<int>(kHintFontPixels));
    return font;
}

void paintLabel(QPainter& painter, const QRectF& frame, const core::TextSpan& span,
                const QString& text, double zoom, double opacity = 1) {
    const QFont font = textFont(span.style, zoom);
    const QFontMetricsF metrics(font);
    painter.setOpacity(opacity);
    painter.setFont(font);
    painter.setPen(textColour(span.style));
    double y = frame.top() + metrics.ascent();
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        painter.drawText(QPointF(frame.left(), y), line);
        y += metrics.lineSpacing();
    }
}

}  // namespace

QFont textFont(const core::StrokeStyle& style, double zoom) {
    QFont font = QGuiApplication::font();
    const double pixels = style.textFontSizePoints() * zoom;
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(std::min(pixels, 1e5)))));
    return font;
}

QSizeF labelSize(const QString& text, const QFont& font) {
    const QFontMetricsF metrics(font);
    const QStringList lines = text.split(QLatin1Char('\n'));
    double width = 0;
    for (const QString& line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    return {width, metrics.lineSpacing() * static_cast<double>(lines.size())};
}

PixelBuffer InkOverlay::pixels() {
    if (image_.isNull())
        return {};
    return {reinterpret_cast<std::uint32_t*>(image_.bits()),
            static_cast<int>(image_.bytesPerLine() / 4), image_.width(), image_.height()};
}

void InkOverlay::layOut(const InkCanvas& canvas, const core::DisplayTransform& transform,
                        const OverlayDecorations& decorations, std::vector<Item>& items) const {
    items.clear();
    const auto add = [&](Kind kind, int index, const QRectF& frame, std::size_t key,
                         double margin) {
        const PixelRect reach =
            PixelRect::enclosing(frame.left() * ratio_ - margin, frame.top() * ratio_ - margin,
                                 frame.right() * ratio_ + margin, frame.bottom() * ratio_ + margin);
        items.push_back({kind, index, frame, reach, key});
    };
    const double half = core::fiducials::kSizePoints / 2;
    for (std::size_t i = 0; i < decorations.fiducials.size(); ++i) {
        const core::ViewportPoint centre = transform.viewportPoint(decorations.fiducials[i].centre);
        add(Kind::fiducial, static_cast<int>(i),
            QRectF(centre.x - half, centre.y - half, 2 * half, 2 * half), 0, kEdgeMarginPixels);
    }
    const core::TextScene& texts = canvas.textScene();
    const auto& session = canvas.textSession();
    for (int i = 0; i < texts.count(); ++i) {
        const core::TextSpan& span = texts.span(i);
        const bool editing = session && session->reeditingIndex == i;
        const auto level = opacityLevel(canvas.textOpacity(i, decorations.now));
        // A label that has faded out is gone, like the strokes drawn with it.
        if (!texts.isVisible(i) || editing || span.text.empty() || level == 0)
            continue;
        const QString text = QString::fromStdString(span.text);
        const double pixels = span.style.textFontSizePoints() * transform.zoom() * ratio_;
        add(Kind::label, i, labelFrame(span, text, transform),
            combine(combine(std::hash<QString>{}(text), styleKey(span.style)), level),
            kEdgeMarginPixels + kGlyphOverhang * pixels);
    }
    if (session) {
        const core::TextSpan live(session->origin, session->buffer, session->style, 0);
        const QString text = QString::fromStdString(session->buffer);
        const QRectF label = labelFrame(live, text, transform);
        const QFont font = textFont(session->style, transform.zoom());
        const QFontMetricsF metrics(font);
        const CaretGeometry caret = caretGeometry(
            {label.x(), label.y(), label.width(), label.height()},
            metrics.horizontalAdvance(text.section(QLatin1Char('\n'), -1)), metrics.lineSpacing());
        const QRectF frame(caret.frame.x, caret.frame.y, caret.frame.width, caret.frame.height);
        const double pixels = session->style.textFontSizePoints() * transform.zoom() * ratio_;
        add(Kind::session, -1, frame.united(label),
            combine(std::hash<QString>{}(text), styleKey(session->style)),
            kEdgeMarginPixels + kGlyphOverhang * pixels);
        add(Kind::caretBar, -1,
            QRectF(caret.frame.x + caret.bar.x, caret.frame.y + caret.bar.y, caret.bar.width,
                   caret.bar.height),
            combine(decorations.caretBarShown ? 1 : 0, styleKey(session->style)),
            kEdgeMarginPixels);
    }
    if (const auto outline = canvas.selectionOutline()) {
        const auto topLeft = transform.viewportPoint({outline->x, outline->y});
        add(Kind::outline, -1,
            QRectF(topLeft.x, topLeft.y, outline->width * transform.zoom(),
                   outline->height * transform.zoom()),
            0, kEdgeMarginPixels + kOutlineWidth);
    }
    if (decorations.marquee) {
        add(Kind::marquee, -1, *decorations.marquee, 0, kEdgeMarginPixels);
    }
    if (!decorations.hintText.isEmpty()) {
        const ViewRect host{0, 0, static_cast<double>(size_.width()),
                            static_cast<double>(size_.height())};
        const QRectF bounds =
            QFontMetricsF(hintFont())
                .boundingRect(QRectF(0, 0, hintMaximumTextWidth(host), 1e4),
                              Qt::AlignHCenter | Qt::TextWordWrap, decorations.hintText);
        std::optional<ViewRect> keepClear;
        if (const auto& area = decorations.hintKeepClear) {
            keepClear = ViewRect{area->x(), area->y(), area->width(), area->height()};
        }
        const ViewRect bubble = hintBubble(host, bounds.width(), bounds.height(), keepClear);
        const auto level = opacityLevel(decorations.hintOpacity);
        add(Kind::hint, -1, QRectF(bubble.x, bubble.y, bubble.width, bubble.height),
            combine(std::hash<QString>{}(decorations.hintText), level), kEdgeMarginPixels);
    }
}

bool InkOverlay::update(const InkCanvas& canvas, const core::DisplayTransform& transform,
                        QSize size, qreal ratio, const OverlayDecorations& decorations) {
    const QSize pixels(static_cast<int>(size.width() * ratio),
                       static_cast<int>(size.height() * ratio));
    if (image_.size() != pixels || ratio != ratio_) {
        image_ = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        image_.fill(Qt::transparent);
        ratio_ = ratio;
        size_ = size;
        invalidate();
    }
    damage_.setBounds({0, 0, pixels.width(), pixels.height()});
    layOut(canvas, transform, decorations, next_);
    if (invalid_) {
        damage_.addAll();
        invalid_ = false;
    } else {
        // What went or changed, and what came or changed.
        for (const Item& item : items_) {
            if (std::find(next_.begin(), next_.end(), item) == next_.end())
                damage_.add(item.reach);
        }
        for (const Item& item : next_) {
            if (std::find(items_.begin(), items_.end(), item) == items_.end())
                damage_.add(item.reach);
        }
    }
    std::swap(items_, next_);
    itemRects_.clear();
    for (const Item& item : items_) itemRects_.push_back(item.reach);
    return !damage_.isEmpty();
}

void InkOverlay::repaint(const InkCanvas& canvas, const core::DisplayTransform& transform,
                         const OverlayDecorations& decorations) {
    if (damage_.isEmpty() || image_.isNull())
        return;
    image_.setDevicePixelRatio(ratio_);
    QPainter painter(&image_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    for (const PixelRect& rect : damage_.rects()) {
        const QRectF clip(rect.x / ratio_, rect.y / ratio_, rect.width / ratio_,
                          rect.height / ratio_);
        painter.setClipRect(clip);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(clip, Qt::transparent);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        for (const Item& item : items_) {
            if (item.reach.intersects(rect)) {
                painter.save();
                paintItem(painter, item, canvas, transform, decorations);
                painter.restore();
            }
        }
    }
}

void InkOverlay::paintItem(QPainter& painter, const Item& item, const InkCanvas& canvas,
                           const core::DisplayTransform& transform,
                           const OverlayDecorations& decorations) const {
    switch (item.kind) {
        case Kind::fiducial: {
            const auto& rgb = core::fiducials::kRGB;
            painter.fillRect(item.frame, QColor(rgb[0], rgb[1], rgb[2]));
            break;
        }
        case Kind::label: {
            const core::TextSpan& span = canvas.textScene().span(item.index);
            paintLabel(painter, item.frame, span, QString::fromStdString(span.text),
                       transform.zoom(), canvas.textOpacity(item.index, decorations.now));
            break;
        }
        case Kind::session: {
            const auto& session = canvas.textSession();
            if (!session)
                break;
            const core::TextSpan live(session->origin, session->buffer, session->style, 0);
            const QString text = QString::fromStdString(session->buffer);
            const QRectF label = labelFrame(live, text, transform);
            paintLabel(painter, label, live, text, transform.zoom());
            const QFont font = textFont(session->style, transform.zoom());
            const QFontMetricsF metrics(font);
            const CaretGeometry caret =
                caretGeometry({label.x(), label.y(), label.width(), label.height()},
                              metrics.horizontalAdvance(text.section(QLatin1Char('\n'), -1)),
                              metrics.lineSpacing());
            QColor boxColour = textColour(session->style);
            boxColour.setAlphaF(static_cast<float>(kCaretBoxAlpha));
            QPen dashed(boxColour, 1);
            dashed.setDashPattern({kCaretBoxDashOn, kCaretBoxDashOff});
            painter.setPen(dashed);
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(QRectF(caret.frame.x + caret.box.x, caret.frame.y + caret.box.y,
                                           caret.box.width, caret.box.height),
                                    kCaretBoxCornerRadius, kCaretBoxCornerRadius);
            break;
        }
        case Kind::caretBar:
            if (decorations.caretBarShown && canvas.textSession()) {
                painter.fillRect(item.frame, textColour(canvas.textSession()->style));
            }
            break;
        case Kind::outline: {
            QPen dashed(QGuiApplication::palette().highlight().color(), kOutlineWidth);
            dashed.setDashPattern(
                {kOutlineDashOn / kOutlineWidth, kOutlineDashOff / kOutlineWidth});
            painter.setPen(dashed);
            painter.setBrush(Qt::NoBrush);
            painter.drawRect(item.frame);
            break;
        }
        case Kind::marquee:
            painter.setPen(QPen(Qt::white, 1));
            painter.setBrush(QColor(255, 255, 255, kMarqueeFillAlpha));
            painter.drawRect(item.frame);
            break;
        case Kind::hint: {
            painter.setOpacity(decorations.hintOpacity);
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor::fromRgbF(
                static_cast<float>(kHintBackgroundGrey), static_cast<float>(kHintBackgroundGrey),
                static_cast<float>(kHintBackgroundGrey), static_cast<float>(kHintBackgroundAlpha)));
            painter.drawRoundedRect(item.frame, kHintCornerRadius, kHintCornerRadius);
            painter.setFont(hintFont());
            painter.setPen(Qt::white);
            painter.drawText(item.frame, Qt::AlignCenter | Qt::TextWordWrap, decorations.hintText);
            break;
        }
    }
}

}  // namespace scrawlet::ink
