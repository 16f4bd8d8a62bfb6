// Follows whether a compositing manager runs. Without one the server ignores the alpha of
// translucent windows, so an overlay would hide the desktop behind an opaque sheet.
//
// The state is known from construction; the signal fires on each change, also when the
// manager goes away. Main thread only.
#pragma once

#include <QObject>

namespace scrawlet::platform {

class CompositingWatcher : public QObject {
    Q_OBJECT

  public:
    using QObject::QObject;

    virtual bool running() const = 0;

  signals:
    void runningChanged(bool running);
};

}  // namespace scrawlet::platform
