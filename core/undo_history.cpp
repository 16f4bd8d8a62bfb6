#include "core/undo_history.h"

#include <cassert>

namespace scrawlet::core {

UndoHistory::UndoHistory(int capacity) : capacity_(capacity) {
    assert(capacity >= 2);
    states_.reserve(static_cast<std::size_t>(capacity));
    states_.push_back({});
}

std::optional<UndoHistory::State> UndoHistory::record(int spans, int points, int texts) {
    std::optional<State> discardedAt;
    if (canRedo()) {
        discardedAt = current();
        states_.resize(static_cast<std::size_t>(cursor_ + 1));
    }
    if (stateCount() == capacity_) {
        // Shifting at most `capacity` small records; a ring would save little and cost clarity.
        states_.erase(states_.begin());
        ++droppedStateCount_;
    }
    states_.push_back({spans, points, texts});
    cursor_ = stateCount() - 1;
    return discardedAt;
}

std::optional<UndoHistory::State> UndoHistory::undo() {
    if (cursor_ < 1) {
        return std::nullopt;
    }
    --cursor_;
    return current();
}

std::optional<UndoHistory::State> UndoHistory::redo() {
    if (cursor_ + 1 >= stateCount()) {
        return std::nullopt;
    }
    ++cursor_;
    return current();
}

void UndoHistory::reset() {
    states_.clear();
    states_.push_back({});
    cursor_ = 0;
    droppedStateCount_ = 0;
}

}  // namespace scrawlet::core
