// The drawing surface of one display: a transparent window that hosts the ink canvas and shows
// it as a retained layer with the overlays (text labels, caret, selection outline, marquee,
// hint, registration marks) on top.
//
// Pointer events become content points through the display transform and go to the canvas;
// every motion reaches it (Qt's merging of motion events is turned off). Edits owe a frame,
// drawn right after the queued input is handled; only what changed is drawn and presented,
// on the CPU (`PresentPath::software`) or on the window's OpenGL 3.3 back buffer, as chosen once
// per run. A view that is not exposed owes nothing until it is exposed again. A text session
// grabs the keyboard on this window without taking the focus from the user's application.
// `create` returns nothing when the chosen renderer cannot be made. Main thread only.
#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWindow>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "app/gl/frame_panel.h"
#include "app/ink/ink_canvas.h"
#include "app/ink/ink_layer.h"
#include "app/ink/ink_overlay.h"
#include "app/platform/gl_presenter.h"
#include "app/platform/pixel_presenter.h"
#include "core/chord.h"
#include "core/fiducials.h"

class QBackingStore;

namespace scrawlet::ink {

class GlInkTarget;
class PixelInkTarget;

class InkView : public gl::FramePanel, private InkCanvas::Listener {
    Q_OBJECT

  public:
    struct Options {
        core::DisplayTransform transform{{0, 0}, 1, 1};
        core::StrokeStyle style;
        SceneCapacities capacities;
        core::Tool tool = core::Tool::pen;
        platform::PresentPath presentPath = platform::PresentPath::software;
        // Set before the native window exists: some flags cannot change afterwards.
        Qt::WindowFlags flags = Qt::Window;
    };

    static std::unique_ptr<InkView> create(QScreen* screen, const QRect& geometry,
                                           const Options& options);
    ~InkView() override;

    InkCanvas& canvas() { return canvas_; }
    const InkCanvas& canvas() const { return canvas_; }
    const StrokeInstanceBuilder& instances() const { return layer_.builder(); }
    const InkLayer& layer() const { return layer_; }
    const QImage& overlayImage() const { return overlay_.image(); }

    void setTool(core::Tool tool);
    void setStyle(const core::StrokeStyle& style) { canvas_.setStyle(style); }
    void setTimeToLive(std::optional<double> seconds);
    void setCursorEnabled(bool enabled);
    void refreshCursor() { applyCursor(); }
    // Over the control panel the cursor is the arrow whatever the tool.
    void setPointerOverControlPanel(std::function<bool()> test) {
        overControlPanel_ = std::move(test);
    }
    // The global rectangle of a window above this view that the hint must leave visible.
    void setHintKeepClear(std::function<std::optional<QRect>()> area) {
        hintKeepClear_ = std::move(area);
    }
    void setOnTypingChord(std::function<bool(const core::Chord&)> handler) {
        onTypingChord_ = std::move(handler);
    }

    // Region selection for captures: a drag reports its rectangle in view points.
    // Entering shows `hint` until the selection ends.
    void setSelectingCaptureRegion(bool selecting, const QString& hint = {});
    bool isSelectingCaptureRegion() const { return selectingRegion_; }
    void setOnRegionSelected(std::function<void(const QRectF&)> handler) {
        onRegionSelected_ = std::move(handler);
    }

    void reanchor(const core::DisplayTransform& transform);
    const core::DisplayTransform& transform() const { return transform_; }
    // Registration marks, kept in place across re-anchoring.
    void installFiducials();
    const std::vector<core::fiducials::Mark>& fiducials() const { return fiducials_; }
    // Hints are shown only on a visible view.
    void showHint(const QString& text, bool sticky);
    void hideHint();
    void prewarm();
    void stop();

    bool undo() { return canvas_.undo(); }
    bool redo() { return canvas_.redo(); }

    // Runs after each present with the monotonic time then and the canvas's event count, so
    // that latency measurements can pair frames with the input they show.
    void setOnFrameSwapped(std::function<void(double, std::uint64_t)> handler) {
        onFrameSwapped_ = std::move(handler);
    }

  protected:
    bool event(QEvent* event) override;
    bool renderFrame(double time) override;
    bool isAnimating(double time) const override;
    void invalidate() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    InkView(QScreen* screen, const Options& options);
    bool initialiseGraphics();

    // InkCanvas::Listener
    void frameRequested() override;
    void textItemsChanged() override;
    void selectionChanged() override;
    void textSessionChanged() override;
    bool captureKeyboard() override;
    void releaseKeyboard() override;

    void overlaysChanged();
    PixelRect pixelBounds() const;
    void presentPixels(const PixelBuffer& frame, std::span<const PixelRect> rects);
    core::ContentPoint contentPoint(const QPointF& position) const;
    core::ContentRect measureText(int index, const core::TextSpan& span) const;
    void applyCursor();
    // The hint's opacity at `time`: fading in after `showHint`, out after `hideHint`.
    double hintOpacity(double time) const;
    OverlayDecorations decorations(double time) const;

    InkCanvas canvas_;
    core::DisplayTransform transform_;
    InkLayer layer_;
    InkOverlay overlay_;
    QTimer hintTimer_;
    QTimer caretBlinkTimer_;
    bool caretBarShown_ = true;

    std::unique_ptr<GlInkTarget> glTarget_;
    std::unique_ptr<PixelInkTarget> pixelTarget_;
    std::unique_ptr<QBackingStore> backingStore_;
    std::unique_ptr<platform::PixelPresenter> pixelPresenter_;
    bool overlaysDirty_ = true;
    double overlayLaidOutAt_ = -1e300;

    QString hintText_;
    double hintShownAt_ = 0;
    std::optional<double> hintHidingSince_;
    bool selectingRegion_ = false;
    std::optional<QPointF> regionOrigin_;
    QRectF regionRect_;
    bool cursorEnabled_ = true;
    bool pointerInside_ = false;
    std::optional<Qt::CursorShape> appliedCursor_;
    std::function<bool()> overControlPanel_;
    std::function<bool(const core::Chord&)> onTypingChord_;
    std::function<std::optional<QRect>()> hintKeepClear_;
    std::function<void(const QRectF&)> onRegionSelected_;
    std::function<void(double, std::uint64_t)> onFrameSwapped_;
    bool leftButtonDown_ = false;
    std::vector<core::fiducials::Mark> fiducials_;
};

}  // namespace scrawlet::ink
