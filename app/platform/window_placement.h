// Where overlay and aid windows sit among other windows: stacking level, presence on every
// workspace, absence from taskbars and pagers, and whether pointer input passes through them.
//
// `place` creates the native window if needed and keeps the placement with the window: it is
// applied again each time the window is shown or its native window is recreated, since window
// managers drop a withdrawn window's state. Levels are the window-level token numbers:
// 1000 and above bypass the window manager and are raised again whenever a managed window maps
// or restacks; 3 to 999 ask the window manager to keep the window above others; lower levels
// are normal. Crossing the 1000 boundary takes effect the next time the window is shown, as
// window managers only look at that when a window maps. A window that yields to panels takes
// no pointer input over the areas the window manager reserves for the desktop's panels and
// docks, so that those stay usable under it; the areas are followed as panels come, move or
// go and as the window moves. Main thread only.
#pragma once

#include <QWindow>
#include <expected>
#include <string>

namespace scrawlet::platform {

inline constexpr long long kBypassWindowManagerLevel = 1000;
inline constexpr long long kAboveLevel = 3;

// `flags` with the stacking flags of `level`; `place` applies them, and a window whose native
// window must not be recreated (one with its own GL surface) takes them at construction.
Qt::WindowFlags flagsForLevel(Qt::WindowFlags flags, long long level);

struct WindowPlacement {
    long long level = 0;
    bool joinsAllSpaces = false;  // sticky on every workspace
    bool skipsTaskbar = true;     // no taskbar or pager entry
    bool transparentForInput = false;
    bool yieldsToPanels = false;
};

class WindowPlacer {
  public:
    virtual ~WindowPlacer() = default;

    virtual std::expected<void, std::string> place(QWindow& window,
                                                   const WindowPlacement& placement) = 0;
    // Switches input transparency of a placed window at run time, shown or not.
    virtual std::expected<void, std::string> setTransparentForInput(QWindow& window,
                                                                    bool transparent) = 0;
};

}  // namespace scrawlet::platform
