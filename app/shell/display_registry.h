// The displays of the run and the features that show something on each of them.
//
// A display is known by its monitor name for as long as the run lasts: one that goes away is
// kept as absent and gets its features back when it returns. Qt reports one change as several
// signals, so the registry reconciles once per event-loop turn: absent displays are detached,
// present ones re-anchored, new ones attached, in that order and, for each display, feature by
// feature in the order the features were added. Main thread only.
#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

#include "app/platform/display_feature.h"

class QScreen;

namespace scrawlet::shell {

using Display = platform::Display;
using DisplayFeature = platform::DisplayFeature;

class DisplayRegistry : public QObject {
    Q_OBJECT

  public:
    // A feature added after `start` is attached to every known display at once.
    void addFeature(DisplayFeature& feature);
    // Attaches every current screen; false when one of them was refused.
    bool start();
    // Runs after each reconciliation with the number of screens there are.
    void setOnReconciled(std::function<void(std::size_t)> handler) {
        onReconciled_ = std::move(handler);
    }

    const std::vector<Display>& displays() const { return displays_; }
    static QScreen* screenNamed(const std::string& name);

  private:
    bool attach(Display& display);
    void reconcileSoon();
    void reconcile();
    void follow(QScreen* screen);

    std::vector<DisplayFeature*> features_;
    std::vector<Display> displays_;
    std::function<void(std::size_t)> onReconciled_;
    bool started_ = false;
    bool reconcileScheduled_ = false;
};

}  // namespace scrawlet::shell
