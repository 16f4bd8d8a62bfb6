#include "app/aids/aid_window.h"

#include <QSurfaceFormat>
#include <QVariant>

namespace scrawlet::aids {

AidWindow::AidWindow() {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput);
    // A zero user time on mapping keeps the focus with the user's application.
    setProperty("_q_showWithoutActivating", true);
    QSurfaceFormat format = requestedFormat();
    format.setAlphaBufferSize(8);
    setFormat(format);
}

}  // namespace scrawlet::aids
