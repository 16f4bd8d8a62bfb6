// A window an aid shows through Qt: translucent, frameless, never focused, without a taskbar
// entry and letting every pointer event through. Main thread only.
#pragma once

#include <QRasterWindow>
#include <chrono>

namespace scrawlet::aids {

class AidWindow : public QRasterWindow {
  public:
    AidWindow();
};

// Makes any window an aid's: the flags above, and an alpha channel when `translucent`.
void prepareAidWindow(QWindow& window, bool translucent = true);

// One refresh of `screen`, or of the primary display without one; 60 Hz when it does not say.
std::chrono::duration<double> refreshInterval(const QScreen* screen = nullptr);
// The same in whole milliseconds, at least one, for timers.
std::chrono::milliseconds refreshMilliseconds(const QScreen* screen = nullptr);

}  // namespace scrawlet::aids
