#include "core/text_scene.h"

#include <algorithm>
#include <cassert>

namespace scrawlet::core {
namespace {

// Characters, not bytes: a UTF-8 continuation byte does not start a character.
int characterCount(std::string_view line) {
    return static_cast<int>(std::count_if(line.begin(), line.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace

TextScene::TextScene(int capacity) : capacity_(capacity) {
    assert(capacity >= 1);
    items_.reserve(static_cast<std::size_t>(capacity));
}

const TextSpan& TextScene::span(int index) const {
    assert(0 <= index && index < count());
    return items_[static_cast<std::size_t>(index)];
}

bool TextScene::append(TextSpan span) {
    if (visibleCount_ < count()) {
        items_.resize(static_cast<std::size_t>(visibleCount_));
        const int remaining = count();
        for (TextSpan& item : items_) {
            if (item.supersededBy >= remaining) {
                item.supersededBy = -1;
            }
        }
    }
    if (count() >= capacity_) {
        ++droppedCount_;
        return false;
    }
    items_.push_back(std::move(span));
    visibleCount_ = count();
    return true;
}

std::optional<int> TextScene::appendTombstone() {
    if (!append(TextSpan({0, 0}, "", StrokeStyle::empty(), 0))) {
        return std::nullopt;
    }
    return count() - 1;
}

void TextScene::supersede(int spanAt, int with) {
    assert(0 <= spanAt && spanAt < with && with < count());
    items_[static_cast<std::size_t>(spanAt)].supersededBy = with;
}

void TextScene::setVisible(int visible) {
    assert(0 <= visible && visible <= count());
    visibleCount_ = visible;
}

void TextScene::clear() {
    items_.clear();
    visibleCount_ = 0;
}

bool TextScene::isVisible(int index) const {
    if (index < 0 || index >= visibleCount_) {
        return false;
    }
    return !isHidden(items_[static_cast<std::size_t>(index)]);
}

std::optional<int> TextScene::hitTest(
    ContentPoint point, double slop,
    const std::function<ContentRect(const TextSpan&)>& measure) const {
    for (int i = visibleCount_ - 1; i >= 0; --i) {
        const TextSpan& item = items_[static_cast<std::size_t>(i)];
        if (item.text.empty() || isHidden(item)) {
            continue;
        }
        const ContentRect r = measure(item);
        const ContentRect grown{r.x - slop, r.y - slop, r.width + 2 * slop, r.height + 2 * slop};
        if (grown.contains(point)) {
            return i;
        }
    }
    return std::nullopt;
}

ContentRect TextScene::approximateBounds(const TextSpan& span) {
    const double fontSize = span.style.textFontSizePoints();
    const double lineHeight = fontSize * 1.2;
    int lineCount = 0;
    int longest = 0;
    std::string_view rest = span.text;
    while (true) {
        const auto feed = rest.find('\n');
        longest = std::max(longest, characterCount(rest.substr(0, feed)));
        ++lineCount;
        if (feed == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(feed + 1);
    }
    return {span.position.x, span.position.y - (lineCount - 1) * lineHeight,
            fontSize * longest * 0.5, lineHeight * lineCount};
}

}  // namespace scrawlet::core
