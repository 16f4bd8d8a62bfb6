// Bounded undo and redo over the scenes' visible counts.
//
// Because the scenes only append and hide, a past drawing is fully described by how many spans,
// points and text items were visible. The history keeps such triples with a cursor; the caller
// applies a returned state to both scenes. Storage is reserved at construction; recording at
// capacity drops the oldest state.
#pragma once

#include <optional>
#include <vector>

namespace scrawlet::core {

class UndoHistory {
  public:
    struct State {
        int spans = 0;
        int points = 0;
        int texts = 0;
        bool operator==(const State&) const = default;
    };

    explicit UndoHistory(int capacity);

    const State& current() const { return states_[static_cast<std::size_t>(cursor_)]; }
    bool canUndo() const { return cursor_ > 0; }
    bool canRedo() const { return cursor_ + 1 < stateCount(); }
    int redoableCount() const { return stateCount() - cursor_ - 1; }
    int cursor() const { return cursor_; }
    int capacity() const { return capacity_; }
    int stateCount() const { return static_cast<int>(states_.size()); }
    int droppedStateCount() const { return droppedStateCount_; }

    // Returns the state that was current when a redo future was thrown away.
    std::optional<State> record(int spans, int points, int texts);
    std::optional<State> undo();
    std::optional<State> redo();
    void reset();

    bool operator==(const UndoHistory&) const = default;

  private:
    std::vector<State> states_;
    int cursor_ = 0;
    int capacity_;
    int droppedStateCount_ = 0;
};

}  // namespace scrawlet::core
