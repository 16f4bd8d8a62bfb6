// The about window: icon, name, version and build, who makes Scrawlet and the project's web
// address, which opens in the browser. Built once and kept; closing hides it. Main thread only.
#pragma once

#include <QWidget>
#include <string>

namespace scrawlet::settings {

class AboutWindowController : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kWidthPoints = 320;
    static constexpr int kHeightPoints = 280;
    static constexpr int kIconPoints = 96;

    AboutWindowController();

    // "Version 0.1.0 (1a2b3c4d5e)".
    static std::string versionLine();
    // "Built by the Scrawlet contributors".
    static std::string makerLine();
    // Whether the icon is the bundled picture rather than the drawn placeholder.
    bool iconFromBundle() const { return iconFromBundle_; }

  private:
    bool iconFromBundle_ = false;
};

}  // namespace scrawlet::settings
