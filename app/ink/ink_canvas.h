// The editing logic of one display's drawing surface, free of any window system.
//
// It owns the display's stroke scene, text scene and undo history and turns pointer gestures
// (already converted to content points) and text keys into edits: freehand strokes, live shapes
// committed as strokes, beautification, selection and move, delete, clear, undo and redo, and
// text entry with re-editing. The view that hosts it draws, lays out labels and captures the
// keyboard; it hears about changes through `Listener`. Nothing on the stroke path allocates.
// Main thread only.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/live_shape.h"
#include "core/settings.h"
#include "core/shape_geometry.h"
#include "core/stroke_scene.h"
#include "core/text_scene.h"
#include "core/tool.h"
#include "core/undo_history.h"

namespace scrawlet::ink {

struct SceneCapacities {
    int pointCapacity = 65536;
    int strokeCapacity = 1024;
    double minimumSeparation = 0;
    int textCapacity = 512;
};

struct PointerModifiers {
    bool shift = false;  // constrain shapes
    bool alt = false;    // draw shapes from their centre
};

// A key typed into an open text session, already stripped of platform detail.
struct TextKey {
    enum class Kind { lineFeed, backspace, escape, characters };
    Kind kind = Kind::characters;
    std::string characters;  // UTF-8, for `characters`
};

class InkCanvas {
  public:
    static constexpr double kSelectionSlop = 6.0;
    static constexpr int kHistoryCapacity = 512;
    static constexpr int kBeautifiedCircleSegments = 64;

    class Listener {
      public:
        virtual ~Listener() = default;
        // Something changed that the next frame must show.
        virtual void frameRequested() {}
        // Text items were added or changed visibility: labels need syncing.
        virtual void textItemsChanged() {}
        virtual void selectionChanged() {}
        // The open text session started, changed its text, or ended.
        virtual void textSessionChanged() {}
        // Text entry needs the keyboard; false means no session.
        virtual bool captureKeyboard() { return true; }
        virtual void releaseKeyboard() {}
    };

    struct TextSession {
        std::string buffer;
        core::ContentPoint origin;
        core::StrokeStyle style;
        std::optional<int> reeditingIndex;
    };

    InkCanvas(const SceneCapacities& capacities, const core::StrokeStyle& style);

    void setListener(Listener* listener) { listener_ = listener; }
    // Laid-out bounds of a text item in content units; without it, an estimate is used.
    void setTextMeasure(std::function<core::ContentRect(int, const core::TextSpan&)> measure) {
        measure_ = std::move(measure);
    }

    // Tool and style changes from the tool controller.
    // Leaving the text tool commits the text being typed, born at `now`.
    void setTool(core::Tool tool, double now);
    core::Tool tool() const { return tool_; }
    void setStyle(const core::StrokeStyle& style) { style_ = style; }
    const core::StrokeStyle& style() const { return style_; }
    void setBeautify(const core::BeautifySettings& beautify) { beautify_ = beautify; }
    void setTimeToLive(std::optional<double> seconds) { timeToLiveSeconds_ = seconds; }
    std::optional<double> timeToLive() const { return timeToLiveSeconds_; }

    // Pointer input in content coordinates; `now` is the monotonic time in seconds.
    void pointerDown(core::ContentPoint p, PointerModifiers modifiers, int clickCount, double now);
    void pointerDrag(core::ContentPoint p, PointerModifiers modifiers);
    void pointerUp(core::ContentPoint p, PointerModifiers modifiers, double now);
    // The right button's hard clear: everything goes and cannot be undone.
    void hardClear();

    bool commitMove();
    bool deleteSelection();
    bool clearAll();
    bool undo();
    bool redo();
    void apply(const core::UndoHistory::State& state);

    // Text entry.
    bool beginTextSession(core::ContentPoint at, std::string seed, const core::StrokeStyle& style,
                          std::optional<int> reeditingIndex = std::nullopt);
    // Returns whether the key was consumed (every key is, while a session is open).
    bool typeKey(const TextKey& key, double now);
    void finishTextSession(double now);
    void discardTextSession();
    const std::optional<TextSession>& textSession() const { return session_; }

    // Stops input for good (the display went away or the run ends).
    void stop();
    bool isLive() const { return isLive_; }
    // Runs the stroke path once with nothing kept, so the first real stroke finds warm code.
    void prewarm(core::ContentPoint at);

    // Whether ink or text may still be fading at `now` (frames must keep coming).
    bool isFading(double now) const;
    // A text item's opacity at `now` under auto-erase: 1, then down to 0 at its time to live.
    double textOpacity(int index, double now) const;
    // Whether the opacity of a visible text item differs between `then` and `now`.
    bool textOpacityChanges(double then, double now) const;

    const core::StrokeScene& scene() const { return scene_; }
    const core::TextScene& textScene() const { return textScene_; }
    const core::UndoHistory& history() const { return history_; }
    const std::optional<core::LiveShape>& liveShape() const { return liveShape_; }
    double liveBirth() const { return liveBirth_; }
    const std::optional<core::SelectionTarget>& selection() const { return selection_; }
    // The selected item's box moved by the pending drag, for the dashed outline.
    std::optional<core::ContentRect> selectionOutline() const;
    core::ContentRect textBounds(int index) const;

    std::uint64_t eventCount() const { return eventCount_; }
    std::uint64_t draggedEventCount() const { return draggedEventCount_; }
    std::uint64_t strokeCount() const { return strokeCount_; }

  private:
    enum class Phase { down, drag, up };
    void inkHandler(Phase phase, core::ContentPoint p, PointerModifiers modifiers, double now);
    void selectAt(core::ContentPoint p);
    void reedit(int index);
    std::function<core::ContentRect(const core::TextSpan&)> measuredBounds() const;
    bool beautifyLastStroke();
    void record();
    void clearSelection();
    void requestFrame();
    template <class Method>
    void notify(Method method) {
        if (listener_) {
            (listener_->*method)();
        }
    }

    core::StrokeScene scene_;
    core::TextScene textScene_;
    core::UndoHistory history_;
    core::StrokeStyle style_;
    core::Tool tool_ = core::Tool::pen;
    std::optional<core::ShapeKind> shapeKind_;
    core::BeautifySettings beautify_;
    std::optional<double> timeToLiveSeconds_;
    std::optional<core::LiveShape> liveShape_;
    double liveBirth_ = 0;
    std::array<core::ContentPoint, core::ShapeGeometry::maximumPointCount> commitPoints_{};
    std::optional<core::SelectionTarget> selection_;
    std::optional<core::ContentPoint> moveAnchor_;
    core::ContentPoint moveDelta_;
    std::optional<TextSession> session_;
    bool isLive_ = true;
    std::uint64_t eventCount_ = 0;
    std::uint64_t draggedEventCount_ = 0;
    std::uint64_t strokeCount_ = 0;
    Listener* listener_ = nullptr;
    std::function<core::ContentRect(int, const core::TextSpan&)> measure_;
};

}  // namespace scrawlet::ink
