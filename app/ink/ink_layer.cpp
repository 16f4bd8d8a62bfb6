#include "app/ink/ink_layer.h"

#include <chrono>
#include <cmath>

#include "app/ink/ink_canvas.h"
#include "core/auto_erase.h"

namespace scrawlet::ink {

InkLayer::InkLayer(int instanceCapacity, int strokeCapacity)
    : storage_(static_cast<std::size_t>(instanceCapacity)),
      builder_(storage_.data(), instanceCapacity, strokeCapacity) {}

void InkLayer::reset() {
    builder_.reset();
    presentedInstances_ = 0;
    needsEverything_ = true;
}

void InkLayer::addFadingDamage(const InkCanvas& canvas, const core::DisplayTransform& transform,
                               double then, double now, Damage& damage) {
    const auto ttl = canvas.timeToLive();
    if (!ttl || !(*ttl > 0))
        return;
    const double hold = *ttl - core::AutoErase::fadeWindow(*ttl);
    const core::StrokeScene& scene = canvas.scene();
    for (int i = 0; i < scene.visibleSpanCount(); ++i) {
        const core::StrokeSpan& span = scene.span(i);
        // Its factor moves only while its age is between the hold and the end.
        if (span.count == 0 || !(now > span.birth + hold) || !(then < span.birth + *ttl) ||
            !scene.isVisible(i)) {
            continue;
        }
        const auto box = scene.bounds(i);
        if (!box)
            continue;
        const core::ScreenPixel topLeft = transform.screenPixel({box->x, box->y});
        const core::ScreenPixel bottomRight =
            transform.screenPixel({box->x + box->width, box->y + box->height});
        const double reach =
            transform.backingScaleFactor() * transform.zoom() * span.style.widthContentUnits * 0.5 +
            1.5;
        damage.add(PixelRect::enclosing(std::min(topLeft.x, bottomRight.x) - reach,
                                        std::min(topLeft.y, bottomRight.y) - reach,
                                        std::max(topLeft.x, bottomRight.x) + reach,
                                        std::max(topLeft.y, bottomRight.y) + reach));
    }
}

void InkLayer::drawScene(InkTarget& target, int from, int to, const FadeUniform& fade,
                         const PixelRect& clip) {
    // The stroke whose shape is open, by its first instance: its instances may come in several
    // ranges when parts of it do not reach into `clip`, and are all added before it ends.
    int openShape = -1;
    ShapePaint paint;
    const auto endShape = [&] {
        if (openShape >= 0)
            target.endShape(paint);
        openShape = -1;
    };
    const std::span<const SegmentInstance> instances = builder_.instances();
    builder_.forEachRangeIn(clip, from, to, [&](int s, int n, core::InkBlend blend) {
        const int e = s + n;
        for (int i = s; i < e;) {
            const auto [first, last] = builder_.strokeAt(i);
            const int pieceEnd = std::min(e, last);
            if (!builder_.drawsAsShape(i, fade)) {
                // Strokes drawn capsule by capsule go together in one call.
                int j = pieceEnd;
                while (j < e && !builder_.drawsAsShape(j, fade))
                    j = std::min(e, builder_.strokeAt(j).second);
                endShape();
                target.drawInstances(i, j - i, blend, fade, clip);
                i = j;
                continue;
            }
            if (openShape != first) {
                endShape();
                paint = ShapePaint::of(instances[static_cast<std::size_t>(i)], fade);
                // Faded out: nothing to draw.
                if (paint.opacity > 0) {
                    target.beginShape(builder_.reach(first, last).intersected(clip));
                    openShape = first;
                }
            }
            if (openShape == first)
                target.addToShape(i, pieceEnd - i);
            i = pieceEnd;
        }
    });
    endShape();
}

void InkLayer::drawLive(InkTarget& target, const FadeUniform& fade, const PixelRect& clip) {
    const int start = builder_.instanceCount();
    const int count = builder_.liveInstanceCount();
    if (count <= 0 || !builder_.liveReach().intersects(clip))
        return;
    const ShapePaint paint =
        ShapePaint::of(builder_.instances()[static_cast<std::size_t>(start)], fade);
    if (builder_.liveBlend() == core::InkBlend::normal && paint.opacity < 1 && count > 1) {
        target.beginShape(builder_.liveReach().intersected(clip));
        target.addToShape(start, count);
        target.endShape(paint);
        return;
    }
    target.drawInstances(start, count, builder_.liveBlend(), fade, clip);
}

void InkLayer::repaint(InkTarget& target, const PixelRect& rect, const FadeUniform& fade) {
    target.clear(rect);
    const int count = builder_.instanceCount();
    drawScene(target, builder_.coveringStart(rect, 0, count, fade), count, fade, rect);
    drawLive(target, fade, rect);
    target.drawOverlay(rect);
}

void InkLayer::repaintWithinBudget(InkTarget& target, const Damage& damage, const FadeUniform& fade,
                                   Damage& presented,
                                   std::chrono::steady_clock::time_point deadline) {
    using Clock = std::chrono::steady_clock;
    bool overBudget = Clock::now() > deadline;
    const int tile = target.repaintTileSize();
    for (const PixelRect& rect : damage.rects()) {
        const int step = tile > 0 ? tile : rect.height;
        // Whole bands only: what is left is then one rectangle below what was done, so it
        // never merges back over finished work and every frame makes progress.
        for (int y = rect.y; y < rect.bottom(); y += step) {
            const PixelRect band = PixelRect{rect.x, y, rect.width, step}.intersected(rect);
            if (overBudget) {
                pending_.add({rect.x, y, rect.width, rect.bottom() - y});
                break;
            }
            const int across = tile > 0 ? tile : band.width;
            for (int x = band.x; x < band.right(); x += across) {
                repaint(target, PixelRect{x, band.y, across, band.height}.intersected(band), fade);
            }
            presented.add(band);
            overBudget = Clock::now() > deadline;
        }
    }
}

bool InkLayer::render(InkTarget& target, const Frame& frame) {
    const std::optional<int> age = target.beginFrame(frame.bounds);
    if (!age)
        return false;
    const InkCanvas& canvas = frame.canvas;
    builder_.setLiveBirth(canvas.liveBirth());
    builder_.sync(canvas.scene(), frame.transform);
    builder_.syncLive(canvas.liveShape(), frame.transform);
    const bool rebuilt = builder_.rebuildCount() != builtRebuilds_;
    builtRebuilds_ = builder_.rebuildCount();
    const int count = builder_.instanceCount();
    const FadeUniform fade = FadeUniform::at(frame.now - builder_.epoch(), canvas.timeToLive());

    Damage damage(frame.bounds);
    // What earlier frames left undone goes on after this frame's own damage, kept apart so that
    // new damage never widens it over finished work.
    Damage carried = pending_;
    carried.setBounds(frame.bounds);
    pending_ = Damage(frame.bounds);
    bool appendOnTop = false;
    PixelRect appended;
    if (needsEverything_ || rebuilt || *age <= 0 || *age > kHistory + 1) {
        damage.addAll();
        carried.clear();
    } else {
        damage.add(lastLiveReach_);
        damage.add(builder_.liveReach());
        addFadingDamage(canvas, frame.transform, lastFrameTime_.value_or(frame.now), frame.now,
                        damage);
        for (const PixelRect& rect : frame.overlayDamage) damage.add(rect);
        for (int i = 0; i + 1 < *age; ++i) {
            for (const PixelRect& rect : history_[static_cast<std::size_t>(i)].rects()) {
                damage.add(rect);
            }
        }
        appended = builder_.reach(presentedInstances_, count).intersected(frame.bounds);
        if (!appended.isEmpty()) {
            bool underOverlay = false;
            for (const PixelRect& item : frame.overlayItems) {
                underOverlay = underOverlay || item.intersects(appended);
            }
            // New ink goes under the overlay and the live shape, so there it is repainted.
            // Over work left from earlier frames it is drawn on top now and again when that
            // area's turn comes.
            bool translucent = false;
            for (int i = presentedInstances_; i < count && !translucent; ++i) {
                translucent = builder_.drawsAsShape(i, fade);
            }
            if (underOverlay || translucent || damage.intersects(appended) || *age > 1) {
                damage.add(appended);
            } else {
                appendOnTop = true;
            }
        }
    }
    target.upload(builder_.instances(), rebuilt ? 0 : std::min(presentedInstances_, count));
    Damage presented(frame.bounds);
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                              std::chrono::duration<double>(kFrameBudgetSeconds));
    repaintWithinBudget(target, damage, fade, presented, deadline);
    if (appendOnTop) {
        drawScene(target, presentedInstances_, count, fade, appended);
    }
    repaintWithinBudget(target, carried, fade, presented, deadline);
    presented.add(appended);
    target.present(presented.rects());

    for (int i = kHistory - 1; i > 0; --i)
        history_[static_cast<std::size_t>(i)] = history_[static_cast<std::size_t>(i - 1)];
    history_[0] = presented;
    lastDamage_ = damage;
    lastPresentedArea_ = presented.area();
    presentedInstances_ = count;
    lastLiveReach_ = builder_.liveReach();
    lastFrameTime_ = frame.now;
    needsEverything_ = false;
    return true;
}

}  // namespace scrawlet::ink
