#include "app/ink/ink_canvas.h"

#include "core/auto_erase.h"
#include "core/beautify.h"

namespace scrawlet::ink {

using core::ContentPoint;
using core::ContentRect;
using core::SelectionTarget;

namespace {

// Drops a trailing UTF-8 character, continuation bytes and all.
void removeLastCharacter(std::string& text) {
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.back());
        text.pop_back();
        if ((byte & 0xC0) != 0x80) {
            return;
        }
    }
}

}  // namespace

InkCanvas::InkCanvas(const SceneCapacities& capacities, const core::StrokeStyle& style)
    : scene_(capacities.pointCapacity, capacities.strokeCapacity, capacities.minimumSeparation),
      textScene_(capacities.textCapacity),
      history_(kHistoryCapacity),
      style_(style) {}

void InkCanvas::setTool(core::Tool tool, double now) {
    const auto kind = core::shapeKind(tool);
    if (kind != shapeKind_) {
        shapeKind_ = kind;
        if (liveShape_) {
            liveShape_.reset();
            requestFrame();
        }
    }
    tool_ = tool;
    if (tool != core::Tool::text && session_) {
        finishTextSession(now);
    }
    if (tool != core::Tool::select) {
        clearSelection();
    }
}

void InkCanvas::pointerDown(ContentPoint p, PointerModifiers modifiers, int clickCount,
                            double now) {
    switch (tool_) {
        case core::Tool::select:
            if (clickCount >= 2) {
                if (const auto text = textScene_.hitTest(p, kSelectionSlop, measuredBounds())) {
                    reedit(*text);
                    return;
                }
            }
            selectAt(p);
            return;
        case core::Tool::text:
            if (!session_) {
                beginTextSession(p, "", style_);
            }
            return;
        case core::Tool::eraser:
            // Offered in the tool set but not built yet: it leaves the canvas as it is.
            return;
        default:
            inkHandler(Phase::down, p, modifiers, now);
    }
}

void InkCanvas::pointerDrag(ContentPoint p, PointerModifiers modifiers) {
    if (tool_ == core::Tool::select) {
        if (moveAnchor_) {
            moveDelta_ = {p.x - moveAnchor_->x, p.y - moveAnchor_->y};
            notify(&Listener::selectionChanged);
        }
        return;
    }
    if (tool_ != core::Tool::text && tool_ != core::Tool::eraser) {
        inkHandler(Phase::drag, p, modifiers, 0);
    }
}

void InkCanvas::pointerUp(ContentPoint p, PointerModifiers modifiers, double now) {
    if (tool_ == core::Tool::select) {
        commitMove();
        return;
    }
    if (tool_ == core::Tool::text || tool_ == core::Tool::eraser) {
        return;
    }
    inkHandler(Phase::up, p, modifiers, now);
    beautifyLastStroke();
}

void InkCanvas::inkHandler(Phase phase, ContentPoint p, PointerModifiers modifiers, double now) {
    if (!isLive_) {
        return;
    }
    switch (phase) {
        case Phase::down:
            liveBirth_ = now;
            if (!shapeKind_) {
                if (scene_.begin(p, style_, liveBirth_)) {
                    ++strokeCount_;
                }
            } else {
                liveShape_ =
                    core::LiveShape{*shapeKind_, p, p, style_, modifiers.shift, modifiers.alt};
                ++strokeCount_;
            }
            break;
        case Phase::drag:
            if (!shapeKind_) {
                scene_.extend(p);
            } else if (liveShape_) {
                liveShape_->current = p;
                liveShape_->constrain = modifiers.shift;
                liveShape_->fromCentre = modifiers.alt;
            }
            ++draggedEventCount_;
            break;
        case Phase::up:
            if (!shapeKind_) {
                scene_.extend(p);
                scene_.end();
                record();
            } else if (liveShape_) {
                liveShape_->current = p;
                const int n = core::ShapeGeometry::expand(*liveShape_, commitPoints_);
                if (n >= 2 && scene_.begin(commitPoints_[0], liveShape_->style, liveBirth_)) {
                    for (int i = 1; i < n; ++i) {
                        scene_.extend(commitPoints_[static_cast<std::size_t>(i)]);
                    }
                    scene_.end();
                }
                record();
                liveShape_.reset();
            }
            break;
    }
    ++eventCount_;
    notify(&Listener::frameRequested);
}

bool InkCanvas::beautifyLastStroke() {
    if (!beautify_.enabled || tool_ != core::Tool::pen) {
        return false;
    }
    const int old = scene_.visibleSpanCount() - 1;
    if (!scene_.isVisible(old) || scene_.span(old).count < core::Beautify::minimumPoints) {
        return false;
    }
    const core::StrokeSpan span = scene_.span(old);
    const auto shape = scene_.withPoints([&](std::span<const ContentPoint> points) {
        return core::Beautify::classify(points.subspan(static_cast<std::size_t>(span.start),
                                                       static_cast<std::size_t>(span.count)),
                                        beautify_.toleranceFraction);
    });
    if (!shape) {
        return false;
    }
    // Into the shape scratch, so the stroke path allocates nothing.
    const int n = shape->path(kBeautifiedCircleSegments, commitPoints_);
    if (n < 2 || !scene_.begin(commitPoints_[0], span.style, span.birth)) {
        return false;
    }
    for (int i = 1; i < n; ++i) {
        scene_.extend(commitPoints_[static_cast<std::size_t>(i)]);
    }
    scene_.end();
    scene_.supersede(old, scene_.spanCount() - 1);
    // A second state: one undo shows the raw stroke again, a second removes it.
    record();
    requestFrame();
    return true;
}

void InkCanvas::selectAt(ContentPoint p) {
    if (const auto stroke = scene_.hitTest(p, kSelectionSlop)) {
        selection_ = SelectionTarget::stroke(*stroke);
    } else if (const auto text = textScene_.hitTest(p, kSelectionSlop, measuredBounds())) {
        selection_ = SelectionTarget::text(*text);
    } else {
        selection_.reset();
    }
    if (selection_) {
        moveAnchor_ = p;
        moveDelta_ = {0, 0};
    } else {
        moveAnchor_.reset();
    }
    notify(&Listener::selectionChanged);
}

std::function<ContentRect(const core::TextSpan&)> InkCanvas::measuredBounds() const {
    // Items are contiguous, so an item's address gives its index (and so its label).
    return [this](const core::TextSpan& span) {
        return textBounds(static_cast<int>(&span - &textScene_.span(0)));
    };
}

ContentRect InkCanvas::textBounds(int index) const {
    const core::TextSpan& span = textScene_.span(index);
    return measure_ ? measure_(index, span) : core::TextScene::approximateBounds(span);
}

std::optional<ContentRect> InkCanvas::selectionOutline() const {
    if (!selection_) {
        return std::nullopt;
    }
    std::optional<ContentRect> box;
    if (selection_->kind == SelectionTarget::Kind::stroke) {
        box = scene_.bounds(selection_->index);
    } else if (textScene_.isVisible(selection_->index)) {
        box = textBounds(selection_->index);
    }
    if (box) {
        box->x += moveDelta_.x;
        box->y += moveDelta_.y;
    }
    return box;
}

bool InkCanvas::commitMove() {
    if (!selection_) {
        return false;
    }
    const ContentPoint delta = moveDelta_;
    moveDelta_ = {0, 0};
    moveAnchor_.reset();
    if (delta.x == 0 && delta.y == 0) {
        notify(&Listener::selectionChanged);
        return false;
    }
    const int old = selection_->index;
    if (selection_->kind == SelectionTarget::Kind::stroke) {
        if (!scene_.isVisible(old)) {
            return false;
        }
        const core::StrokeSpan span = scene_.span(old);
        const auto moved = [&](int k) {
            const ContentPoint q = scene_.point(span.start + k);
            return ContentPoint{q.x + delta.x, q.y + delta.y};
        };
        if (!scene_.begin(moved(0), span.style, span.birth)) {
            return false;
        }
        for (int k = 1; k < span.count; ++k) {
            scene_.extend(moved(k));
        }
        scene_.end();
        scene_.supersede(old, scene_.spanCount() - 1);
        selection_ = SelectionTarget::stroke(scene_.spanCount() - 1);
    } else {
        if (!textScene_.isVisible(old)) {
            return false;
        }
        const core::TextSpan& span = textScene_.span(old);
        core::TextSpan copy({span.position.x + delta.x, span.position.y + delta.y}, span.text,
                            span.style, span.birth);
        if (!textScene_.append(std::move(copy))) {
            return false;
        }
        textScene_.supersede(old, textScene_.count() - 1);
        selection_ = SelectionTarget::text(textScene_.count() - 1);
    }
    notify(&Listener::textItemsChanged);
    notify(&Listener::selectionChanged);
    record();
    requestFrame();
    return true;
}

bool InkCanvas::deleteSelection() {
    if (!selection_) {
        return false;
    }
    const int selected = selection_->index;
    if (selection_->kind == SelectionTarget::Kind::stroke) {
        if (!scene_.isVisible(selected)) {
            return false;
        }
        const auto tombstone = scene_.appendTombstone();
        if (!tombstone) {
            return false;
        }
        scene_.supersede(selected, *tombstone);
    } else {
        if (!textScene_.isVisible(selected)) {
            return false;
        }
        const auto tombstone = textScene_.appendTombstone();
        if (!tombstone) {
            return false;
        }
        textScene_.supersede(selected, *tombstone);
    }
    clearSelection();
    notify(&Listener::textItemsChanged);
    record();
    requestFrame();
    return true;
}

bool InkCanvas::clearAll() {
    bool anyVisible = false;
    for (int i = 0; i < scene_.visibleSpanCount() && !anyVisible; ++i) {
        anyVisible = scene_.isVisible(i) && scene_.span(i).count > 0;
    }
    for (int i = 0; i < textScene_.visibleCount() && !anyVisible; ++i) {
        anyVisible = textScene_.isVisible(i) && !textScene_.span(i).text.empty();
    }
    if (!anyVisible) {
        return false;
    }
    scene_.setVisible(0, 0);
    textScene_.setVisible(0);
    history_.record(0, 0, 0);
    notify(&Listener::textItemsChanged);
    requestFrame();
    return true;
}

void InkCanvas::hardClear() {
    discardTextSession();
    scene_.clear();
    textScene_.clear();
    history_.reset();
    clearSelection();
    liveShape_.reset();
    notify(&Listener::textItemsChanged);
    requestFrame();
}

bool InkCanvas::undo() {
    const auto state = history_.undo();
    if (state) {
        apply(*state);
    }
    return state.has_value();
}

bool InkCanvas::redo() {
    const auto state = history_.redo();
    if (state) {
        apply(*state);
    }
    return state.has_value();
}

void InkCanvas::apply(const core::UndoHistory::State& state) {
    scene_.setVisible(state.spans, state.points);
    textScene_.setVisible(state.texts);
    notify(&Listener::textItemsChanged);
    requestFrame();
}

bool InkCanvas::beginTextSession(ContentPoint at, std::string seed, const core::StrokeStyle& style,
                                 std::optional<int> reeditingIndex) {
    if (session_ || !(listener_ ? listener_->captureKeyboard() : true)) {
        return false;
    }
    session_ = TextSession{std::move(seed), at, style, reeditingIndex};
    notify(&Listener::textSessionChanged);
    return true;
}

bool InkCanvas::typeKey(const TextKey& key, double now) {
    if (!session_) {
        return false;
    }
    switch (key.kind) {
        case TextKey::Kind::lineFeed:
            session_->buffer += '\n';
            break;
        case TextKey::Kind::backspace:
            if (session_->buffer.empty()) {
                return true;
            }
            removeLastCharacter(session_->buffer);
            break;
        case TextKey::Kind::escape:
            finishTextSession(now);
            return true;
        case TextKey::Kind::characters: {
            std::string printable;
            for (const char c : key.characters) {
                const auto byte = static_cast<unsigned char>(c);
                if (byte >= 0x20 && byte != 0x7f) {
                    printable += c;
                }
            }
            if (printable.empty()) {
                return true;
            }
            session_->buffer += printable;
            break;
        }
    }
    notify(&Listener::textSessionChanged);
    return true;
}

void InkCanvas::finishTextSession(double now) {
    if (!session_) {
        return;
    }
    TextSession finished = std::move(*session_);
    session_.reset();
    if (listener_) {
        listener_->releaseKeyboard();
    }
    if (!finished.buffer.empty() &&
        textScene_.append(core::TextSpan(finished.origin, finished.buffer, finished.style, now))) {
        if (finished.reeditingIndex) {
            textScene_.supersede(*finished.reeditingIndex, textScene_.count() - 1);
        }
        record();
    }
    notify(&Listener::textSessionChanged);
    notify(&Listener::textItemsChanged);
}

void InkCanvas::discardTextSession() {
    if (!session_) {
        return;
    }
    session_.reset();
    if (listener_) {
        listener_->releaseKeyboard();
    }
    notify(&Listener::textSessionChanged);
    notify(&Listener::textItemsChanged);
}

void InkCanvas::reedit(int index) {
    if (!textScene_.isVisible(index) || session_) {
        return;
    }
    const core::TextSpan& span = textScene_.span(index);
    beginTextSession(span.position, span.text, span.style, index);
    notify(&Listener::textItemsChanged);
}

void InkCanvas::stop() {
    isLive_ = false;
    discardTextSession();
}

void InkCanvas::prewarm(ContentPoint at) {
    scene_.begin(at, style_, 0);
    scene_.extend({at.x + 1, at.y + 1});
    scene_.end();
    (void)scene_.hitTest(at, kSelectionSlop);
    scene_.clear();
}

bool InkCanvas::isFading(double now) const {
    if (!timeToLiveSeconds_) {
        return false;
    }
    if (const auto newest = scene_.newestBirth(); newest && now < *newest + *timeToLiveSeconds_) {
        return true;
    }
    for (int i = 0; i < textScene_.visibleCount(); ++i) {
        if (textScene_.isVisible(i) && now < textScene_.span(i).birth + *timeToLiveSeconds_) {
            return true;
        }
    }
    return false;
}

double InkCanvas::textOpacity(int index, double now) const {
    return core::AutoErase::alpha(now - textScene_.span(index).birth, timeToLiveSeconds_);
}

bool InkCanvas::textOpacityChanges(double then, double now) const {
    if (!timeToLiveSeconds_ || !(*timeToLiveSeconds_ > 0)) {
        return false;
    }
    const double ttl = *timeToLiveSeconds_;
    const double hold = ttl - core::AutoErase::fadeWindow(ttl);
    for (int i = 0; i < textScene_.visibleCount(); ++i) {
        const double birth = textScene_.span(i).birth;
        // As for strokes: it moves only while its age is between the hold and the end.
        if (textScene_.isVisible(i) && now > birth + hold && then < birth + ttl) {
            return true;
        }
    }
    return false;
}

void InkCanvas::record() {
    history_.record(scene_.visibleSpanCount(), scene_.visiblePointCount(),
                    textScene_.visibleCount());
}

void InkCanvas::clearSelection() {
    const bool had = selection_.has_value() || moveAnchor_.has_value();
    selection_.reset();
    moveAnchor_.reset();
    moveDelta_ = {0, 0};
    if (had) {
        notify(&Listener::selectionChanged);
    }
}

// Edits leave a shape being dragged alone: it is still under the pointer and commits on release.
void InkCanvas::requestFrame() {
    notify(&Listener::frameRequested);
}

}  // namespace scrawlet::ink
