// How an OpenGL window shows what was drawn: only the changed rectangles where the driver lets
// us, the whole back buffer otherwise.
//
// `copySubBuffer` copies rectangles of a back buffer that is never swapped, so the back buffer
// always holds the last frame; `bufferAge` swaps and reports how old the new back buffer is, so
// the caller redraws what changed since; `fullSwap` swaps and keeps nothing. The path is chosen
// once per run (`probeGlPresentation`) and named in the banner. Main thread, with the window's
// context current.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/enum_traits.h"

class QOpenGLContext;
class QWindow;

namespace scrawlet::platform {

enum class PresentPath { software, copySubBuffer, bufferAge, fullSwap };

struct GlPresentation {
    bool copySubBuffer = false;
    bool bufferAge = false;
    // The GL is itself a CPU rasteriser (llvmpipe, softpipe, swrast).
    bool softwareRenderer = false;
    std::string renderer;
};
// What the display's OpenGL offers; nullopt without a 3.3 context. Needs a QGuiApplication.
std::optional<GlPresentation> probeGlPresentation();
// The best path for what is offered: drawing on the CPU beats a GL that runs on the CPU.
PresentPath choosePresentPath(const GlPresentation& offered);

struct PresentRect {
    int x, y, width, height;  // pixels, origin top left
};

class GlPresenter {
  public:
    virtual ~GlPresenter() = default;
    virtual PresentPath path() const = 0;
    // Frames since the back buffer's contents were drawn: 1 = last frame's, 0 = unknown.
    virtual int backBufferAge() = 0;
    virtual void present(std::span<const PresentRect> rects, int windowHeight) = 0;
};

// Nothing when `path` is not offered for this window.
std::unique_ptr<GlPresenter> createGlPresenter(QOpenGLContext& context, QWindow& window,
                                               PresentPath path);

}  // namespace scrawlet::platform

template <>
struct scrawlet::core::EnumTraits<scrawlet::platform::PresentPath> {
    static constexpr std::array<std::string_view, 4> names{"software", "copySubBuffer", "bufferAge",
                                                           "fullSwap"};
};
