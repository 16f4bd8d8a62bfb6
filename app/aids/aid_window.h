// A window an aid shows through Qt: translucent, frameless, never focused, without a taskbar
// entry and letting every pointer event through. Main thread only.
#pragma once

#include <QRasterWindow>

namespace scrawlet::aids {

class AidWindow : public QRasterWindow {
  public:
    AidWindow();
};

}  // namespace scrawlet::aids
