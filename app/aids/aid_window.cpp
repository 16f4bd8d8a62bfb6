#include "app/aids/aid_window.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSurfaceFormat>
#include <QVariant>
#include <algorithm>

namespace scrawlet::aids {

AidWindow::AidWindow() {
    prepareAidWindow(*this);
}

void prepareAidWindow(QWindow& window, bool translucent) {
    window.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                    Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput);
    // A zero user time on mapping keeps the focus with the user's application.
    window.setProperty("_q_showWithoutActivating", true);
    if (translucent) {
        QSurfaceFormat format = window.requestedFormat();
        format.setAlphaBufferSize(8);
        window.setFormat(format);
    }
}

std::chrono::duration<double> refreshInterval(const QScreen* screen) {
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    const double hz = screen ? screen->refreshRate() : 0;
    return std::chrono::duration<double>(hz >= 1 ? 1.0 / hz : 1.0 / 60);
}

std::chrono::milliseconds refreshMilliseconds(const QScreen* screen) {
    return std::max(std::chrono::milliseconds(1),
                    std::chrono::round<std::chrono::milliseconds>(refreshInterval(screen)));
}

}  // namespace scrawlet::aids
