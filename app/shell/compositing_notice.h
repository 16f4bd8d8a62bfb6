// The small window that says why the overlays are not on screen: no compositing manager runs,
// and without one they would cover the desktop in black. It offers to quit; the run closes it
// as soon as a manager appears. Closing it by hand only hides it. Main thread only.
#pragma once

#include <QWidget>
#include <functional>

namespace scrawlet::shell {

class CompositingNotice : public QWidget {
  public:
    static constexpr const char* kTitle = "Scrawlet is waiting for a compositing manager";

    explicit CompositingNotice(std::function<void()> quit);

    // Shows the notice centred on the primary screen without taking the keyboard focus.
    void present();
};

}  // namespace scrawlet::shell
