// Reports when the user switches to another workspace (virtual desktop).
//
// Only window managers that publish the current workspace on the root window are seen; with
// none the signal never fires. Repeated announcements of the same workspace are swallowed.
// Main thread only.
#pragma once

#include <QObject>
#include <cstdint>

namespace scrawlet::platform {

class WorkspaceWatcher : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

  signals:
    // `index` counts from 0, as the window manager numbers its workspaces.
    void activeWorkspaceChanged(std::uint32_t index);
};

}  // namespace scrawlet::platform
