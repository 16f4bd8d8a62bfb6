// The screen areas the desktop's panels and docks reserve, kept current.
//
// A panel declares its area on its own window (`_NET_WM_STRUT_PARTIAL`, or the older
// `_NET_WM_STRUT`); the windows looked at are the root's children and the window manager's
// client list, so docks are found with or without a (reparenting) window manager. Only when no
// viewable window declares one does the window manager's `_NET_WORKAREA` for the current
// workspace stand in: on several monitors it is one box for all of them and leaves out more
// than the panels. Panels appearing, moving or leaving, the root's size changing and a new
// work area all lead to one new reading per event-loop turn; `onChange` runs when the areas
// differ from the last reading. This application's own windows never count. Main thread only.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <functional>
#include <set>
#include <vector>

#include "app/platform/x11/strut_geometry.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform::x11 {

class PanelAreas final : private QAbstractNativeEventFilter {
  public:
    explicit PanelAreas(const XConnection& x);
    ~PanelAreas() override;
    PanelAreas(const PanelAreas&) = delete;
    PanelAreas& operator=(const PanelAreas&) = delete;

    // In root coordinates.
    const std::vector<ScreenBox>& areas() const { return areas_; }
    void setOnChange(std::function<void()> handler) { onChange_ = std::move(handler); }

  private:
    struct Atoms {
        xcb_atom_t strut, strutPartial, workArea, clientList, currentDesktop;
    };

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override;
    void scheduleReading();
    void read();
    std::vector<xcb_window_t> candidates();
    std::vector<ScreenBox> workAreaGaps(const ScreenBox& root);
    bool isOwn(xcb_window_t window) const;

    XConnection x_;
    Atoms atoms_{};
    std::uint32_t ownBase_ = 0;
    std::uint32_t ownMask_ = 0;
    std::vector<ScreenBox> areas_;
    // Windows whose strut counted at the last reading: their leaving changes the areas.
    std::set<xcb_window_t> declaring_;
    // Windows whose property changes this client already hears.
    std::set<xcb_window_t> watched_;
    std::function<void()> onChange_;
    bool scheduled_ = false;
    // Cancels a reading still queued when this goes.
    QObject context_;
};

}  // namespace scrawlet::platform::x11
